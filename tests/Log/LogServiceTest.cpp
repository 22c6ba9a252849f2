// The log through its calls: lines, targets, a full queue, forks and ends.

#include <cstdlib>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Log/LogService.h"
#include "Support/FaultInjection.h"
#include "Support/Test.h"

namespace {

int Log(const std::string& strText, log_level eLevel = LOG_LEVEL_DBG) {
    return WriteLog(eLevel, "test", __LINE__, "%s", strText.c_str());
}

/// The messages of a log text, without prefix and line end; fails on a garbled line.
Texts Messages(const std::string& strLog) {
    constexpr std::size_t PREFIX = 31;
    Texts vMessage;
    std::istringstream lines(strLog);
    for (std::string strLine; std::getline(lines, strLine);) {
        const bool bWhole = strLine.size() > PREFIX && strLine.starts_with("[2") &&
                            strLine.compare(PREFIX - 2, 2, "] ") == 0 && strLine.back() == '\r';
        EXPECT_TRUE(bWhole) << "garbled: " << strLine.substr(0, 80);
        if (bWhole) vMessage.push_back(strLine.substr(PREFIX, strLine.size() - PREFIX - 1));
    }
    return vMessage;
}

class LogServiceTest : public testing::Test {
protected:
    LogServiceTest() { EnableFile(); }
    ~LogServiceTest() override { StopLogService(false); }

    void EnableFile() { EnableTarget(LOG_TARGET_FILE, m_dir.Path().c_str(), 0, 1); }
    /// What stands in the file when the service has ended.
    std::string Text() const {
        StopLogService(false);
        return GetFile(m_dir / "LocalStorage_1_W.log");
    }

    const CTempDir m_dir;
    CFaultInjection m_faults;
};

TEST_F(LogServiceTest, LinesTellLevelAndLocalTimeAlsoWhenTheClockOrTheZoneMoves) {
    const char* const pZone = "CET-1CEST,M3.5.0,M10.5.0/3";
    const struct {
        int nSeconds;  // since 02:00 becomes 03:00
        const char* pZone;
        log_level eLevel;
        const char* pExpected;
    } ROWS[] = {{-1, pZone, LOG_LEVEL_INF, "[2024-03-31 01:59:59.042][INF] x\r\n"},
                {0, pZone, LOG_LEVEL_ERR, "[2024-03-31 03:00:00.042][ERR] x\r\n"},
                {-1, pZone, LOG_LEVEL_INF, "[2024-03-31 01:59:59.042][INF] x\r\n"},
                {1, "UTC0", LOG_LEVEL_INF, "[2024-03-31 01:00:01.042][INF] x\r\n"}};
    AdjustLogLevel(LOG_LEVEL_INF);
    EXPECT_EQ(Log("above the threshold"), LOG_ERR_LEVEL);
    std::string strExpected;
    for (const auto& row : ROWS) {
        ::setenv("TZ", row.pZone, 1);
        m_faults.SetTime(1711846800 + row.nSeconds, 42);
        EXPECT_EQ(Log("x", row.eLevel), LOG_OK);
        strExpected += row.pExpected;
    }
    AdjustLogLevel(LOG_LEVEL_DBG);
    EXPECT_EQ(Text(), strExpected);
}

TEST_F(LogServiceTest, MessagesArePrintfsAndCutAtTheEndOfTheLine) {
    constexpr std::size_t MOST = 10240 - 31 - 3;  // without prefix, CR, LF and NUL
    const std::string strLong(20000, 'x');
    WriteLog(LOG_LEVEL_DBG, "test", 1, "plain");
    WriteLog(LOG_LEVEL_DBG, "test", 1, "%s, %s, 100%%, %d, %s", "a", "", 5, "b");
    WriteLog(LOG_LEVEL_DBG, "test", 1, "%-3s|%5.2s|", "a", "bcd");
    WriteLog(LOG_LEVEL_DBG, "test", 1, "%s%s%d", strLong.c_str(), "y", 5);
    WriteLog(LOG_LEVEL_DBG, "test", 1, "%d%s", 5, strLong.c_str());
    EXPECT_EQ(Messages(Text()),
              (Texts{"plain", "a, , 100%, 5, b", "a  |   bc|", strLong.substr(0, MOST),
                     "5" + strLong.substr(0, MOST - 1)}));
}

TEST_F(LogServiceTest, EachTargetGetsItsLinesAndTheLastTakesTheServiceWithIt) {
    testing::internal::CaptureStdout();
    EnableTarget(LOG_TARGET_CONSOLE, nullptr, 0, 0);
    Log("100 %");
    const std::string strLine = "[2024-03-05 14:07:09.042][DBG] meanwhile\r\n";
    m_faults.Before(Op::ThreadCreate, Any(), [&] {
        EXPECT_EQ(GetLogService()->PushData(strLine.data(), strLine.size()), LOG_OK);
    });
    DisableTarget(LOG_TARGET_DEBUG);  // the writer thread ends and the next one is made
    m_faults.ClearRules();
    DisableTarget(LOG_TARGET_CONSOLE);
    Log("no console");
    EXPECT_TRUE(GetLogService()->IsServerStarted());
    DisableTarget(LOG_TARGET_FILE);
    EXPECT_FALSE(GetLogService()->IsServerStarted());
    EXPECT_EQ(Messages(testing::internal::GetCapturedStdout()), (Texts{"100 %", "meanwhile"}));
    EXPECT_EQ(Messages(Text()), (Texts{"100 %", "meanwhile", "no console"}));
}

TEST_F(LogServiceTest, NoThreadIsToldAndTriedAgainAndChangesNoErrorNumber) {
    m_faults.Fail(Op::ThreadCreate, Any(), EAGAIN).Times(1);
    errno = ENOSPC;
    EXPECT_EQ(Log("x"), LOG_ERR_START);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(Log("y"), LOG_OK);
    EXPECT_EQ(Messages(Text()), Texts{"y"});
}

TEST_F(LogServiceTest, AFullQueueRefusesLinesAndLosesNoneThatItTook) {
    std::promise<void> gate;
    m_faults.Before(Op::Write, Below(m_dir.Path()), [&] { gate.get_future().wait(); }).Times(1);
    Texts vAccepted;
    std::string strText;
    const auto Next = [&] {
        return strText = std::to_string(vAccepted.size()) + std::string(1000, 'x');
    };
    while (Log(Next()) == LOG_OK) vAccepted.push_back(strText);
    EXPECT_EQ(Log(strText), LOG_ERR_FULL);
    EXPECT_GT(vAccepted.size(), 0x200000u / 1050);
    gate.set_value();
    EXPECT_EQ(Messages(Text()), vAccepted);
}

// On a slow disk; in the end more lines without a stop than the queue has places.
TEST_F(LogServiceTest, WhatManyThreadsGetAcceptedIsOutputWholeWhileTheTargetGoesOnAndOff) {
    constexpr int THREADS = 4, LINES = 17000;
    m_faults.ShortWrite(Below(m_dir.Path()), 5000);
    m_faults.Before(Op::Write, Below(m_dir.Path()), [] { std::this_thread::yield(); });
    Texts aAccepted[THREADS], aOutput[THREADS];
    std::atomic<int> nAccepted{0};
    {
        const auto vThreads = BusyThreads(THREADS, [&](int n) {
            const std::size_t nLine = aAccepted[n].size();
            const std::string strText = std::to_string(n) + ":" + std::to_string(nLine) + ":" +
                                        std::string(nLine % 500 ? nLine % 97 : 9000, 'x');
            if (Log(strText) != LOG_OK) return std::this_thread::yield();
            aAccepted[n].push_back(strText);
            ++nAccepted;
        });
        while (nAccepted < 5000) {
            DisableTarget(LOG_TARGET_FILE);
            EnableFile();
        }
        nAccepted = 0;
        while (nAccepted < THREADS * LINES) DisableTarget(LOG_TARGET_DEBUG);  // a new writer
    }
    for (const std::string& strText : Messages(Text())) {
        aOutput[std::stoi(strText)].push_back(strText);
    }
    for (int n = 0; n < THREADS; ++n) EXPECT_TRUE(aOutput[n] == aAccepted[n]);
}

/// Tries the log when it has been stopped at the end of the process: registered before the service
/// exists, it runs behind the service's own end.
void LogLate() {
    std::atexit([] { std::_Exit(Log("late") == LOG_ERR_NOT_STARTED ? 0 : 1); });
}

[[noreturn]] void LogAndExit() {
    LogLate();
    EnableTarget(LOG_TARGET_DEBUG, nullptr, 0, 0);
    Log("in time");
    std::exit(2);
}

[[noreturn]] void ForkAndExit(const std::string& strDir) {
    LogLate();
    EnableTarget(LOG_TARGET_FILE, strDir.c_str(), 0, 1);
    const auto vThreads = BusyThreads(4, [](int) { Log("x"); });
    for (int n = 0; n < 10; ++n) {
        const pid_t nChild = ::fork();
        if (nChild == 0) {
            ::alarm(20);
            std::exit(2);
        }
        int nStatus = -1;
        if (::waitpid(nChild, &nStatus, 0) != nChild || nStatus != 0) std::_Exit(3);
    }
    std::_Exit(0);
}

TEST(LogServiceExitTest, ALateLineIsRefusedAndAForkedProcessHasNoLogAndDoesNotHang) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(LogAndExit(), testing::ExitedWithCode(0), "^\\[20.* in time\r\n$");
    // The journal notes the time by itself.
    const auto LogToJournal = [] {
        struct stat st = {};
        ::fstat(STDERR_FILENO, &st);
        const std::string strStream = std::to_string(st.st_dev) + ":" + std::to_string(st.st_ino);
        ::setenv("JOURNAL_STREAM", strStream.c_str(), 1);
        LogAndExit();
    };
    EXPECT_EXIT(LogToJournal(), testing::ExitedWithCode(0), "^\\[DBG\\] in time\r\n$");
    const CTempDir dir;
    EXPECT_EXIT(ForkAndExit(dir.Path()), testing::ExitedWithCode(0), "");
}

}  // namespace
