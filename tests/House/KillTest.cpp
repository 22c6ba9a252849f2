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

class Kill : public testing::Test {
protected:
    static constexpr const char* CAMERAS[] = {"front_door", "cam01_1_0", "cam01_2_0"};

    /// Runs the host for so long, kills it, and notes the recordings that it had opened.
    void RunAndKill(std::chrono::microseconds lifetime) {
        const std::string strOutput = m_dir / "output", strLog = m_dir / "log",
                          strFirst = std::to_string(m_setOpened.size());
        const pid_t nHost = ::fork();
        if (nHost == 0) {
            ::dup2(::open(strOutput.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
            ::execl(KILLED_HOST, KILLED_HOST, m_dir.Path().c_str(), strLog.c_str(),
                    strFirst.c_str(), CAMERAS[0], CAMERAS[1], CAMERAS[2], nullptr);
            ::_exit(127);
        }
        std::this_thread::sleep_for(lifetime);
        ::kill(nHost, SIGKILL);
        int nStatus = 0;
        ::waitpid(nHost, &nStatus, 0);
        EXPECT_TRUE(WIFSIGNALED(nStatus)) << "the host ended by itself, status " << nStatus;
        std::istringstream lines(GetFile(strOutput));
        for (std::string strPath; std::getline(lines, strPath);) m_setOpened.insert(strPath);
        std::filesystem::remove(strOutput);
    }

    /// The recordings that a query finds and that are there.
    std::set<std::string> Found() const {
        CBackupHost host(m_dir.Path(), m_dir / "log");
        std::set<std::string> setFound;
        for (const char* szCamera : CAMERAS)
            for (const std::string& strPath : host.Recordings(szCamera))
                if (std::filesystem::exists(strPath)) setFound.insert(strPath);
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
