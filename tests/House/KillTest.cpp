// A hundred hosts are killed at random moments; whatever recording had been opened is found again.

#include <fcntl.h>
#include <random>
#include <set>
#include <signal.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/Host.h"
#include "Support/TempDir.h"

namespace {

constexpr const char* CAMERAS[] = {"front_door", "cam01_1_0", "cam01_2_0"};

void PrintPath(const hostMessage& stMessage) {
    if (stMessage.nType != MESSAGEVALUE_CREATEFILE) return;
    const std::string strLine = stMessage.strWhat + "\n";
    const auto nSize = static_cast<ssize_t>(strLine.size());
    if (::write(STDOUT_FILENO, strLine.data(), strLine.size()) != nSize) ::_exit(1);
}

/// Opens recording after recording, numbered from `nNumber` on, a minute each from 2024-03-01
/// on, and prints the path of each when the engine tells it. Every few recordings it releases its
/// engine and starts another, so that flushes and starts are met as well.
[[noreturn]] void RecordUntilKilled(const CTempDir& dir, int nNumber) {
    OnMessage(PrintPath);
    while (true) {
        tagStoreInfo stInfo;
        AddRecordDir(stInfo, dir.Path());
        stInfo.pFunCallback = RecordMessage;
        CRecordingHost host(stInfo, dir / "log");
        for (int n = 0; n < 8; ++n, ++nNumber) {
            const std::string strCamera = CAMERAS[nNumber % 3];
            const int nDay = 1 + nNumber / 1440, nHour = nNumber / 60 % 24;
            const recFileInfo stFile = Recording(BlockTime(2024, 3, nDay, nHour, nNumber % 60),
                                                 BlockTime(2024, 3, nDay, nHour, nNumber % 60, 59));
            if (!host.Open(strCamera, stFile)) ::_exit(1);
            host.Write(strCamera, stFile, "stream");
            if (n % 2 == 0) host.Close(strCamera, stFile);
            ::usleep(500);
        }
    }
}

/// Runs a host for so long, kills it, and notes the recordings that it had opened. No engine runs
/// in this process meanwhile, so the host may be a fork of it.
void RunAndKill(const CTempDir& dir, useconds_t nMicroseconds, std::set<std::string>& setOpened) {
    const std::string strOutput = dir / "output";
    const pid_t nHost = ::fork();
    if (nHost == 0) {
        ::dup2(::open(strOutput.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
        RecordUntilKilled(dir, static_cast<int>(setOpened.size()));
    }
    ::usleep(nMicroseconds);
    ::kill(nHost, SIGKILL);
    int nStatus = 0;
    ::waitpid(nHost, &nStatus, 0);
    EXPECT_TRUE(WIFSIGNALED(nStatus)) << "the host ended by itself, status " << nStatus;
    std::istringstream lines(GetFile(strOutput));
    for (std::string strPath; std::getline(lines, strPath);) setOpened.insert(strPath);
}

/// The recordings that a query finds and that are there.
std::vector<std::string> Found(const CTempDir& dir) {
    CRecordingHost host(dir.Path(), dir / "log");
    std::vector<std::string> vFound;
    for (const char* pCamera : CAMERAS) {
        for (const std::string& strPath : host.Recordings(pCamera)) {
            if (std::filesystem::exists(strPath)) vFound.push_back(strPath);
        }
    }
    return vFound;
}

// After most kills the next host starts on what the last one left; after every third the test
// looks itself.
TEST(Kill, WhatHadBeenOpenedIsFoundAgain) {
    const unsigned nSeed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(nSeed));
    std::mt19937 random(nSeed);
    const CTempDir dir;
    std::set<std::string> setOpened;
    int nBusy = 0;
    for (int nRound = 0; nRound < 100; ++nRound) {
        const std::size_t nBefore = setOpened.size();
        RunAndKill(dir, static_cast<useconds_t>(random() % 80000), setOpened);
        nBusy += setOpened.size() > nBefore;
        if (nRound % 3 != 0 && nRound != 99) continue;
        ASSERT_THAT(Found(dir), testing::IsSupersetOf(setOpened)) << "round " << nRound;
    }
    EXPECT_GE(nBusy, 30) << "most hosts died before they recorded anything";
}

}  // namespace
