// A hundred hosts are killed at random moments; whatever recording had been opened is found again.

#include <chrono>
#include <cstdlib>
#include <random>
#include <set>
#include <signal.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "House/Killed.h"
#include "Support/TempDir.h"

namespace {

/// Runs the host for so long, kills it, and returns the numbers that it printed.
std::vector<int> RunAndKill(const CTempDir& dir, int nFirst, std::chrono::microseconds lifetime) {
    int pipe[2];
    if (::pipe(pipe) != 0) throw std::runtime_error("no pipe");
    const std::string strLog = dir / "log", strFirst = std::to_string(nFirst);
    const pid_t nHost = ::fork();
    if (nHost == 0) {
        ::dup2(pipe[1], STDOUT_FILENO);
        ::close(pipe[0]);
        ::execl(KILLED_HOST, KILLED_HOST, dir.Path().c_str(), strLog.c_str(), strFirst.c_str(),
                nullptr);
        ::_exit(127);
    }
    ::close(pipe[1]);
    std::this_thread::sleep_for(lifetime);
    ::kill(nHost, SIGKILL);
    int nStatus = 0;
    ::waitpid(nHost, &nStatus, 0);
    EXPECT_TRUE(WIFSIGNALED(nStatus)) << "the host ended by itself, status " << nStatus;
    FILE* const pOutput = ::fdopen(pipe[0], "r");
    std::vector<int> vNumbers;
    for (int nNumber; std::fscanf(pOutput, "%d\n", &nNumber) == 1;) vNumbers.push_back(nNumber);
    std::fclose(pOutput);
    return vNumbers;
}

/// The paths of these recordings that no query finds, or that are no files.
std::vector<std::string> Missing(const CTempDir& dir, const std::set<int>& setNumbers) {
    CBackupHost host(dir.Path(), dir / "log");
    std::set<std::string> setFound;
    for (int nCamera = 0; nCamera < 3; ++nCamera)
        for (const std::string& strPath : host.Recordings(NumberedCamera(nCamera)))
            if (std::filesystem::exists(strPath)) setFound.insert(strPath);
    std::vector<std::string> vMissing;
    for (const int nNumber : setNumbers) {
        const tagBlockTime stTime = NumberedFile(nNumber).stStartTime;
        char szName[64];
        std::snprintf(szName, sizeof(szName),
                      "202403%02d/%s/202403%02d%02d%02d00_202403%02d%02d%02d00_1.mp4", stTime.byDay,
                      NumberedCamera(nNumber).c_str(), stTime.byDay, stTime.byHour, stTime.byMinute,
                      stTime.byDay, stTime.byHour, stTime.byMinute + 9);
        const std::string strPath = dir / ("RecordFile/" + std::string(szName));
        if (setFound.count(strPath) == 0) vMissing.push_back(strPath);
    }
    return vMissing;
}

// After most kills the next host starts on what the last one left; after every third the test
// looks itself.
TEST(Kill, WhatHadBeenOpenedIsFoundAgain) {
    const unsigned nSeed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(nSeed));
    std::mt19937 random(nSeed);
    std::uniform_int_distribution<int> lifetime(0, 80000);
    const CTempDir dir;
    std::set<int> setOpened;
    int nBusy = 0;
    for (int nRound = 0; nRound < 100; ++nRound) {
        const int nFirst = setOpened.empty() ? 0 : *setOpened.rbegin() + 1;
        const auto vNumbers = RunAndKill(dir, nFirst, std::chrono::microseconds(lifetime(random)));
        setOpened.insert(vNumbers.begin(), vNumbers.end());
        nBusy += !vNumbers.empty();
        if (nRound % 3 != 0 && nRound != 99) continue;
        ASSERT_THAT(Missing(dir, setOpened), testing::IsEmpty()) << "round " << nRound;
    }
    EXPECT_GE(nBusy, 30) << "most hosts died before they recorded anything";
}

}  // namespace
