#include <cerrno>
#include <cstdlib>
#include <future>
#include <map>
#include <sstream>
#include <string>
#include <thread>
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
    Strings vecMessage;
    std::istringstream is(strLog);
    for (std::string strLine; std::getline(is, strLine);) {
        const bool bWhole = strLine.size() > PREFIX && strLine.starts_with("[2") &&
                            strLine.compare(PREFIX - 2, 2, "] ") == 0 && strLine.back() == '\r';
        EXPECT_TRUE(bWhole) << "garbled: " << strLine.substr(0, 80);
        if (bWhole) vecMessage.push_back(strLine.substr(PREFIX, strLine.size() - PREFIX - 1));
    }
    return vecMessage;
}

class LogServiceTest : public testing::Test {
protected:
    ~LogServiceTest() override {
        StopLogService(false);
        for (const log_services e : {LOG_TARGET_CONSOLE, LOG_TARGET_DEBUG, LOG_TARGET_FILE}) {
            DisableTarget(e);
        }
        AdjustLogLevel(LOG_LEVEL_DBG);
    }

    void EnableFile() { EnableTarget(LOG_TARGET_FILE, m_dir.Path().c_str(), 0, 1); }
    Strings Logged() const { return Messages(GetFile(m_dir / "LocalStorage_1_W.log")); }

    CTempDir m_dir;
};

}  // namespace

TEST_F(LogServiceTest, BadArgumentsMissingTargetsAndLevelsAboveTheThresholdAreRefused) {
    EXPECT_EQ(EnableTarget(static_cast<log_services>(3), nullptr, 0, 0), LOG_ERR_PARAM);
    EXPECT_EQ(DisableTarget(static_cast<log_services>(-1)), LOG_ERR_PARAM);
    EXPECT_EQ(EnableTarget(LOG_TARGET_FILE, std::string(300, 'x').c_str(), 0, 0), LOG_ERR_PARAM);
    EXPECT_EQ(Log("no target"), LOG_ERR_NO_TARGET);
    EXPECT_FALSE(GetLogService()->IsServerStarted());
    EXPECT_EQ(GetLogService()->PushData("x", 1), LOG_ERR_NOT_STARTED);
    EnableFile();
    const char* pNull = nullptr;
    EXPECT_EQ(WriteLog(LOG_LEVEL_DBG, nullptr, 1, "x"), LOG_ERR_PARAM);
    EXPECT_EQ(WriteLog(LOG_LEVEL_DBG, "test", 1, pNull, 0), LOG_ERR_PARAM);

    const struct {
        int nThreshold, nLevel, nExpected;
    } cases[] = {{2, 3, LOG_ERR_LEVEL}, {2, 2, LOG_OK}, {-5, 1, LOG_ERR_LEVEL}, {99, 50, LOG_OK}};
    for (const auto& c : cases) {
        AdjustLogLevel(static_cast<log_level>(c.nThreshold));
        EXPECT_EQ(Log("x", static_cast<log_level>(c.nLevel)), c.nExpected) << c.nLevel;
    }
}

TEST_F(LogServiceTest, StoppedForGoodUntilStartedAgain) {
    EnableFile();
    StopLogService(true);
    EXPECT_EQ(Log("x"), LOG_ERR_NOT_STARTED);
    StartLogService();
    EXPECT_EQ(Log("y"), LOG_OK);
    StopLogService(false);
    EXPECT_EQ(Log("z"), LOG_ERR_NO_TARGET) << "a stop turns the file target off";
    EXPECT_EQ(Logged(), Strings{"y"});
}

TEST_F(LogServiceTest, EveryStopOutputsWhatIsQueued) {
    Strings vecExpected;
    for (int i = 0; i < 1000; ++i) {
        if (i % 50 == 0) EnableFile();
        vecExpected.push_back(std::to_string(i));
        ASSERT_EQ(Log(vecExpected.back()), LOG_OK);
        if (i % 50 < 49) continue;
        i % 100 < 50 ? StopLogService(false) : DisableTarget(LOG_TARGET_FILE);
        ASSERT_EQ(Logged(), vecExpected);
    }
}

TEST_F(LogServiceTest, EachTargetGetsItsLinesAndTheLastTakesTheServiceWithIt) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EnableTarget(LOG_TARGET_CONSOLE, nullptr, 0, 0);
    EnableTarget(LOG_TARGET_DEBUG, nullptr, 0, 0);
    EnableFile();
    Log("100 %");
    Log("two");
    CFaultInjection faults;
    const std::string strLine = "[2024-03-05 14:07:09.042][DBG] meanwhile\r\n";
    faults.Before(Op::ThreadCreate, Any(), [&] {
        EXPECT_EQ(GetLogService()->PushData(strLine.data(), strLine.size()), LOG_OK);
    });
    DisableTarget(LOG_TARGET_DEBUG);
    faults.ClearRules();
    Log("no debug");
    DisableTarget(LOG_TARGET_CONSOLE);
    EXPECT_TRUE(GetLogService()->IsServerStarted());
    DisableTarget(LOG_TARGET_FILE);
    EXPECT_FALSE(GetLogService()->IsServerStarted());
    const Strings vecAll = {"100 %", "two", "meanwhile", "no debug"};
    EXPECT_EQ(Messages(testing::internal::GetCapturedStdout()), vecAll);
    Strings vecDebug = Messages(testing::internal::GetCapturedStderr());
    vecDebug.resize(2);  // what comes meanwhile may still reach the target
    EXPECT_EQ(vecDebug, (Strings{"100 %", "two"}));
    EXPECT_EQ(Logged(), vecAll);
}

TEST_F(LogServiceTest, NoThreadIsToldAndTriedAgainAndChangesNoErrorNumber) {
    CFaultInjection faults;
    faults.Fail(Op::ThreadCreate, Any(), EAGAIN).Times(1);
    EnableFile();
    errno = ENOSPC;
    EXPECT_EQ(Log("x"), LOG_ERR_START);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(Log("y"), LOG_OK);
    faults.ClearRules();
    faults.Fail(Op::ThreadCreate, Any(), EAGAIN).Times(1);
    DisableTarget(LOG_TARGET_DEBUG);  // the next writer thread cannot be made
    EXPECT_EQ(Log("z"), LOG_OK);
    StopLogService(false);
    EXPECT_EQ(Logged(), (Strings{"y", "z"}));
}

TEST_F(LogServiceTest, AFullQueueRefusesLinesAndLosesNoneThatItTook) {
    CFaultInjection faults;
    std::promise<void> gate;
    faults.Before(Op::Write, Below(m_dir.Path()), [&] { gate.get_future().wait(); }).Times(1);
    EnableFile();
    Strings vecAccepted;
    const std::string strFill(1000, 'x');
    while (Log(std::to_string(vecAccepted.size()) + strFill) == LOG_OK) {
        vecAccepted.push_back(std::to_string(vecAccepted.size()) + strFill);
    }
    EXPECT_EQ(Log(strFill), LOG_ERR_FULL);
    EXPECT_GT(vecAccepted.size(), 0x200000u / 1050);
    gate.set_value();
    StopLogService(false);
    EXPECT_EQ(Logged(), vecAccepted);
}

TEST_F(LogServiceTest, ManyThreadsOnASlowDiskLoseAndGarbleNothing) {
    constexpr int THREADS = 4, LINES = 3000;
    CFaultInjection faults;
    faults.ShortWrite(Below(m_dir.Path()), 1000);
    faults.Before(Op::Write, Below(m_dir.Path()), [] { std::this_thread::yield(); });
    EnableFile();
    std::vector<std::thread> vecThread;
    for (int nThread = 0; nThread < THREADS; ++nThread) {
        vecThread.emplace_back([nThread] {
            for (int i = 0; i < LINES; ++i) {
                const std::string strText = std::to_string(nThread) + ":" + std::to_string(i) +
                                            ":" + std::string(i % 700, 'x');
                while (Log(strText) == LOG_ERR_FULL) std::this_thread::yield();
            }
        });
    }
    for (int i = 0; i < 20; ++i) DisableTarget(LOG_TARGET_DEBUG);  // each ends one writer thread
    for (std::thread& thread : vecThread) thread.join();
    StopLogService(false);
    std::map<int, int> mNext;
    for (const std::string& strText : Logged()) {
        EXPECT_EQ(std::stoi(strText.substr(2)), mNext[std::stoi(strText)]++);
    }
    for (int nThread = 0; nThread < THREADS; ++nThread) EXPECT_EQ(mNext[nThread], LINES);
}

TEST(LogServiceExitTest, ALateLineAfterTheEndOfTheServiceIsRefused) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto Exit = [] {
        // Registered before the service exists, so it runs when the service has been stopped.
        std::atexit([] { std::_Exit(Log("late") == LOG_ERR_NOT_STARTED ? 0 : 1); });
        EnableTarget(LOG_TARGET_DEBUG, nullptr, 0, 0);
        Log("in time");
        std::exit(2);
    };
    EXPECT_EXIT(Exit(), testing::ExitedWithCode(0), "in time\r\n$");
}
