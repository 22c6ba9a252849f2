// The log through its calls: lines, targets, a full queue, forks and ends.

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <future>
#include <map>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "Log/LogService.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"

namespace {

using Strings = std::vector<std::string>;

int Log(const std::string& strText, log_level eLevel = LOG_LEVEL_DBG) {
    return WriteLog(eLevel, "test", __LINE__, "%s", strText.c_str());
}

/// The messages of a log text, without prefix and line end; fails on a garbled line.
Strings Messages(const std::string& strLog) {
    constexpr std::size_t PREFIX = 31;
    Strings vMessage;
    std::istringstream is(strLog);
    for (std::string strLine; std::getline(is, strLine);) {
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

    int EnableFile() { return EnableTarget(LOG_TARGET_FILE, m_dir.Path().c_str(), 0, 1); }

    std::string Text() const { return GetFile(m_dir / "LocalStorage_1_W.log"); }

    CTempDir m_dir;
    CFaultInjection m_faults;
};

}  // namespace

TEST_F(LogServiceTest, LinesTellLevelAndLocalTimeAlsoWhenTheClockOrTheZoneMoves) {
    const char* const pZone = "CET-1CEST,M3.5.0,M10.5.0/3";
    const struct {
        int nSeconds;  // since 02:00 becomes 03:00
        const char* pZone;
        log_level eLevel;
        const char* pExpected;
    } cases[] = {{-1, pZone, LOG_LEVEL_INF, "[2024-03-31 01:59:59.042][INF] x\r\n"},
                 {0, pZone, LOG_LEVEL_ERR, "[2024-03-31 03:00:00.042][ERR] x\r\n"},
                 {-1, pZone, LOG_LEVEL_INF, "[2024-03-31 01:59:59.042][INF] x\r\n"},
                 {1, "UTC0", LOG_LEVEL_INF, "[2024-03-31 01:00:01.042][INF] x\r\n"}};
    AdjustLogLevel(LOG_LEVEL_INF);
    EXPECT_EQ(Log("above the threshold"), LOG_ERR_LEVEL);
    std::string strExpected;
    for (const auto& c : cases) {
        ::setenv("TZ", c.pZone, 1);
        m_faults.SetTime(1711846800 + c.nSeconds, 42);
        EXPECT_EQ(Log("x", c.eLevel), LOG_OK);
        strExpected += c.pExpected;
    }
    AdjustLogLevel(LOG_LEVEL_DBG);
    StopLogService(false);
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
    StopLogService(false);
    EXPECT_EQ(Messages(Text()),
              (Strings{"plain", "a, , 100%, 5, b", "a  |   bc|", strLong.substr(0, MOST),
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
    EXPECT_EQ(Messages(testing::internal::GetCapturedStdout()), (Strings{"100 %", "meanwhile"}));
    EXPECT_EQ(Messages(Text()), (Strings{"100 %", "meanwhile", "no console"}));
}

TEST_F(LogServiceTest, NoThreadIsToldAndTriedAgainAndChangesNoErrorNumber) {
    m_faults.Fail(Op::ThreadCreate, Any(), EAGAIN).Times(1);
    errno = ENOSPC;
    EXPECT_EQ(Log("x"), LOG_ERR_START);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(Log("y"), LOG_OK);
    m_faults.Before(Op::ThreadCreate, Any(), [] { EXPECT_EQ(Log("meanwhile"), LOG_OK); }).Times(1);
    m_faults.Fail(Op::ThreadCreate, Any(), EAGAIN).Times(1);
    DisableTarget(LOG_TARGET_DEBUG);  // the writer thread ends and no other can be made
    EXPECT_EQ(Log("z"), LOG_OK);
    StopLogService(false);
    EXPECT_EQ(Messages(Text()), (Strings{"y", "meanwhile", "z"}));
}

TEST_F(LogServiceTest, AFullQueueRefusesLinesAndLosesNoneThatItTook) {
    std::promise<void> gate;
    m_faults.Before(Op::Write, Below(m_dir.Path()), [&] { gate.get_future().wait(); }).Times(1);
    Strings vAccepted;
    const std::string strFill(1000, 'x');
    while (Log(std::to_string(vAccepted.size()) + strFill) == LOG_OK) {
        vAccepted.push_back(std::to_string(vAccepted.size()) + strFill);
    }
    EXPECT_EQ(Log(strFill), LOG_ERR_FULL);
    EXPECT_GT(vAccepted.size(), 0x200000u / 1050);
    gate.set_value();
    StopLogService(false);
    EXPECT_EQ(Messages(Text()), vAccepted);
}

TEST_F(LogServiceTest, ManyThreadsOnASlowDiskLoseAndGarbleNothing) {
    constexpr int THREADS = 4, LINES = 17000;  // more than the queue has places
    m_faults.ShortWrite(Below(m_dir.Path()), 5000);
    m_faults.Before(Op::Write, Below(m_dir.Path()), [] { std::this_thread::yield(); });
    std::vector<std::thread> vThread;
    for (int nThread = 0; nThread < THREADS; ++nThread) {
        vThread.emplace_back([nThread] {
            for (int i = 0; i < LINES; ++i) {
                const std::string strText = std::to_string(nThread) + ":" + std::to_string(i) +
                                            ":" + std::string(i % 500 ? i % 97 : 9000, 'x');
                while (Log(strText) == LOG_ERR_FULL) std::this_thread::yield();
            }
        });
    }
    for (int i = 0; i < 20; ++i) DisableTarget(LOG_TARGET_DEBUG);  // each ends one writer thread
    for (std::thread& thread : vThread) thread.join();
    StopLogService(false);
    std::map<int, int> mNext;
    for (const std::string& strText : Messages(Text())) {
        EXPECT_EQ(std::stoi(strText.substr(2)), mNext[std::stoi(strText)]++);
    }
    for (int nThread = 0; nThread < THREADS; ++nThread) EXPECT_EQ(mNext[nThread], LINES);
}

namespace {

/// Runs `work(nThread)` again and again on threads of its own while it lives.
template <typename Work>
class BusyThreads {
public:
    BusyThreads(int nThreads, Work work) {
        for (int i = 0; i < nThreads; ++i) {
            m_vecThread.emplace_back([this, i, work] {
                while (!m_bStop) work(i);
            });
        }
    }
    ~BusyThreads() {
        m_bStop = true;
        for (std::thread& thread : m_vecThread) thread.join();
    }

private:
    std::atomic<bool> m_bStop{false};
    std::vector<std::thread> m_vecThread;
};

}  // namespace

TEST_F(LogServiceTest, WhatIsAcceptedIsOutputWhileTheTargetGoesOnAndOff) {
    Strings aAccepted[3], aOutput[3];
    std::atomic<int> nAccepted{0};
    {
        const BusyThreads threads(3, [&](int i) {
            const std::string strText =
                std::to_string(i) + ":" + std::to_string(aAccepted[i].size());
            if (Log(strText) != LOG_OK) return;
            aAccepted[i].push_back(strText);
            ++nAccepted;
        });
        while (nAccepted < 5000) {
            DisableTarget(LOG_TARGET_FILE);
            EnableFile();
        }
    }
    StopLogService(false);
    for (const std::string& strText : Messages(Text())) {
        aOutput[std::stoi(strText)].push_back(strText);
    }
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(aOutput[i] == aAccepted[i]);
}

namespace {

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
    const BusyThreads threads(4, [](int) { Log("x"); });
    for (int i = 0; i < 10; ++i) {
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

}  // namespace

TEST(LogServiceExitTest, ALateLineAfterTheEndOfTheServiceIsRefused) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(LogAndExit(), testing::ExitedWithCode(0), "in time\r\n$");
}

TEST(LogServiceExitTest, AForkedProcessHasNoLogAndItsExitDoesNotHang) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const CTempDir dir;
    EXPECT_EXIT(ForkAndExit(dir.Path()), testing::ExitedWithCode(0), "");
}
