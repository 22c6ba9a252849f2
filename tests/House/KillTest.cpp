// A hundred hosts are killed at random moments; whatever recording had been opened is found again.

#include <chrono>
#include <fcntl.h>
#include <random>
#include <set>
#include <signal.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/Host.h"
#include "Support/TempDir.h"

namespace {

constexpr const char* CAMERAS[] = {"front_door", "cam01_1_0", "cam01_2_0"};

int PrintPath(int nType, void* pData, unsigned int, void*) {
    if (nType != MESSAGEVALUE_CREATEFILE) return 0;
    const std::string strLine = std::string(static_cast<recFileEvent*>(pData)->szFileName) + "\n";
    const auto nSize = static_cast<ssize_t>(strLine.size());
    if (::write(STDOUT_FILENO, strLine.data(), strLine.size()) != nSize) ::_exit(1);
    return 0;
}

/// Opens recording after recording, numbered from `nNumber` on, a minute each from 2024-03-01
/// on, and prints the path of each when the engine tells it. Every few recordings it releases its
/// engine and starts another, so that flushes and starts are met as well.
void RecordUntilKilled(const CTempDir& dir, int nNumber) {
    constexpr int PER_DAY = 24 * 60, PER_ENGINE = 8;
    while (true) {
        tagStoreInfo stInfo;
        AddRecordDir(stInfo, dir.Path());
        stInfo.pFunCallback = PrintPath;
        CRecordingHost host(stInfo, dir / "log");
        for (int n = 0; n < PER_ENGINE; ++n, ++nNumber) {
            const std::string strCamera = CAMERAS[nNumber % 3];
            recFileInfo stFile;
            stFile.stStartTime =
                BlockTime(2024, 3, 1 + nNumber / PER_DAY, nNumber / 60 % 24, nNumber % 60);
            stFile.stEndTime = stFile.stStartTime;
            stFile.stEndTime.bySecond = 59;
            if (!host.Open(strCamera, stFile)) ::_exit(1);
            host.Write(strCamera, stFile, "stream");
            if (n % 2 == 0) host.Close(strCamera, stFile);
            ::usleep(500);
        }
    }
}

class Kill : public testing::Test {
protected:
    /// Runs a host for so long, kills it, and notes the recordings that it had opened. No engine
    /// runs in this process meanwhile, so the host may be a fork of it.
    void RunAndKill(std::chrono::microseconds lifetime) {
        const std::string strOutput = m_dir / "output";
        const pid_t nHost = ::fork();
        if (nHost == 0) {
            ::dup2(::open(strOutput.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
            RecordUntilKilled(m_dir, static_cast<int>(m_setOpened.size()));
        }
        std::this_thread::sleep_for(lifetime);
        ::kill(nHost, SIGKILL);
        int nStatus = 0;
        ::waitpid(nHost, &nStatus, 0);
        EXPECT_TRUE(WIFSIGNALED(nStatus)) << "the host ended by itself, status " << nStatus;
        std::istringstream lines(GetFile(strOutput));
        for (std::string strPath; std::getline(lines, strPath);) m_setOpened.insert(strPath);
    }

    /// The recordings that a query finds and that are there.
    std::set<std::string> Found() const {
        CRecordingHost host(m_dir.Path(), m_dir / "log");
        std::set<std::string> setFound;
        for (const char* szCamera : CAMERAS) {
            for (const std::string& strPath : host.Recordings(szCamera)) {
                if (std::filesystem::exists(strPath)) setFound.insert(strPath);
            }
        }
        return setFound;
    }

    const CTempDir m_dir;
    std::set<std::string> m_setOpened;
};

// After most kills the next host starts on what the last one left; after every third the test
// looks itself.
TEST_F(Kill, WhatHadBeenOpenedIsFoundAgain) {
    const unsigned nSeed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(nSeed));
    std::mt19937 random(nSeed);
    std::uniform_int_distribution<int> lifetime(0, 80000);
    int nBusy = 0;
    for (int nRound = 0; nRound < 100; ++nRound) {
        const std::size_t nBefore = m_setOpened.size();
        RunAndKill(std::chrono::microseconds(lifetime(random)));
        nBusy += m_setOpened.size() > nBefore;
        if (nRound % 3 != 0 && nRound != 99) continue;
        ASSERT_THAT(Found(), testing::IsSupersetOf(m_setOpened)) << "round " << nRound;
    }
    EXPECT_GE(nBusy, 30) << "most hosts died before they recorded anything";
}

}  // namespace
