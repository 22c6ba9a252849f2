#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "Log/LogLine.h"
#include "Support/FaultInjection.h"

namespace {

__attribute__((format(printf, 2, 3))) std::string Format(log_level eLevel, const char* pFormat,
                                                         ...) {
    static char szLine[LOG_LINE_SIZE];
    va_list args;
    va_start(args, pFormat);
    const int nLen = FormatLine(szLine, eLevel, pFormat, args);
    va_end(args);
    EXPECT_GE(nLen, 0);
    EXPECT_EQ(szLine[nLen], '\0');
    return {szLine, static_cast<std::size_t>(nLen)};
}

class LogLineTest : public testing::Test {
protected:
    void SetZone(const char* pZone) { ::setenv("TZ", pZone, 1); }
    ~LogLineTest() override { ::unsetenv("TZ"); }

    CFaultInjection m_faults;
};

}  // namespace

TEST_F(LogLineTest, PrefixMessageAndEnd) {
    SetZone("UTC0");
    m_faults.SetTime(1709647629, 42);
    EXPECT_EQ(Format(LOG_LEVEL_DBG, "[wtb] path [%s], n [%d]", "/a", 7),
              "[2024-03-05 14:07:09.042][DBG] [wtb] path [/a], n [7]\r\n");
    const std::string strPrefix = "[2024-03-05 14:07:09.042]";
    EXPECT_EQ(Format(LOG_LEVEL_ERR, "x"), strPrefix + "[ERR] x\r\n");
    EXPECT_EQ(Format(LOG_LEVEL_INF, "x"), strPrefix + "[INF] x\r\n");
    EXPECT_EQ(Format(static_cast<log_level>(-9), "x"), strPrefix + "[DISABLE] x\r\n");
    EXPECT_EQ(Format(static_cast<log_level>(9), "x"), strPrefix + "[DBG] x\r\n");
}

TEST_F(LogLineTest, TheKeptSecondIsRightWhenTheClockOrTheZoneMoves) {
    SetZone("CET-1CEST,M3.5.0,M10.5.0/3");
    const std::time_t tSpring = 1711846800;  // 2024-03-31 02:00 becomes 03:00
    m_faults.SetTime(tSpring - 1, 999);
    EXPECT_EQ(Format(LOG_LEVEL_DBG, "x").substr(0, 25), "[2024-03-31 01:59:59.999]");
    m_faults.AdvanceTime(1);
    EXPECT_EQ(Format(LOG_LEVEL_DBG, "x").substr(0, 25), "[2024-03-31 03:00:00.000]");
    m_faults.AdvanceTime(1001);
    EXPECT_EQ(Format(LOG_LEVEL_DBG, "x").substr(0, 25), "[2024-03-31 03:00:01.001]");
    m_faults.AdvanceTime(-2001);
    EXPECT_EQ(Format(LOG_LEVEL_DBG, "x").substr(0, 25), "[2024-03-31 01:59:59.000]");
    SetZone("UTC0");
    m_faults.AdvanceTime(2000);
    EXPECT_EQ(Format(LOG_LEVEL_DBG, "x").substr(0, 25), "[2024-03-31 01:00:01.000]");
}

TEST_F(LogLineTest, AMessageTooLongIsCut) {
    SetZone("UTC0");
    const std::string strLong(20000, 'm');
    for (const std::size_t nLen : {10206u, 10207u, 20000u}) {
        const std::string strLine =
            Format(LOG_LEVEL_DBG, "%.*s", static_cast<int>(nLen), strLong.c_str());
        EXPECT_EQ(strLine.size(), std::min<std::size_t>(31 + nLen + 2, LOG_LINE_SIZE - 1));
        EXPECT_EQ(strLine.substr(strLine.size() - 3), "m\r\n");
    }
}
