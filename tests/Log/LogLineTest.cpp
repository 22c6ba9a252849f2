#include <algorithm>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "Log/LogLine.h"
#include "Support/FaultInjection.h"

namespace {

std::string Format(log_level eLevel, const char* pFormat, ...) {
    static char szLine[LOG_LINE_SIZE];
    va_list args;
    va_start(args, pFormat);
    const int nLen = FormatLine(szLine, eLevel, pFormat, args);
    va_end(args);
    EXPECT_EQ(szLine[nLen], '\0');
    return {szLine, static_cast<std::size_t>(nLen)};
}

}  // namespace

TEST(LogLineTest, PrefixMessageAndEnd) {
    ::setenv("TZ", "UTC0", 1);
    CFaultInjection faults;
    faults.SetTime(1709647629, 42);
    const std::string strPrefix = "[2024-03-05 14:07:09.042]";
    EXPECT_EQ(Format(LOG_LEVEL_DBG, "path [%s], n [%d]", "/a", 7),
              strPrefix + "[DBG] path [/a], n [7]\r\n");
    EXPECT_EQ(Format(LOG_LEVEL_ERR, "x"), strPrefix + "[ERR] x\r\n");
    EXPECT_EQ(Format(LOG_LEVEL_INF, "x"), strPrefix + "[INF] x\r\n");
    EXPECT_EQ(Format(static_cast<log_level>(-9), "x"), strPrefix + "[DISABLE] x\r\n");
    EXPECT_EQ(Format(static_cast<log_level>(9), "x"), strPrefix + "[DBG] x\r\n");

    const std::string strLong(20000, 'm');
    for (const std::size_t nLen : {10206u, 10207u, 20000u}) {  // those too long are cut
        const std::string strLine =
            Format(LOG_LEVEL_DBG, "%.*s", static_cast<int>(nLen), strLong.c_str());
        EXPECT_EQ(strLine.size(), std::min<std::size_t>(31 + nLen + 2, LOG_LINE_SIZE - 1));
        EXPECT_EQ(strLine.substr(strLine.size() - 3), "m\r\n");
    }
}

TEST(LogLineTest, TheKeptSecondIsRightWhenTheClockOrTheZoneMoves) {
    const char* const pZone = "CET-1CEST,M3.5.0,M10.5.0/3";
    const struct {
        int nSeconds;  // since 02:00 becomes 03:00
        const char *pZone, *pTime;
    } cases[] = {{-1, pZone, "01:59:59"},
                 {0, pZone, "03:00:00"},
                 {1, pZone, "03:00:01"},
                 {-1, pZone, "01:59:59"},
                 {1, "UTC0", "01:00:01"}};
    CFaultInjection faults;
    for (const auto& c : cases) {
        ::setenv("TZ", c.pZone, 1);
        faults.SetTime(1711846800 + c.nSeconds);
        EXPECT_EQ(Format(LOG_LEVEL_DBG, "x").substr(12, 8), c.pTime);
    }
}
