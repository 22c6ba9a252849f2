// The engine on real disks that fill up and go away: disks_test DISK1 DISK2, two mounted file
// systems that are nobody else's. script/test-disks makes them. Root needs a little more than 2 GiB
// each; another user runs other tests, on ext4 that keeps more than 2 GiB for root.
//
// Every test ends the same way: what was reported created and not deleted lies on the disks, and
// nothing else; and an engine that starts afterwards finds it.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <tuple>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Disks/Disk.h"
#include "Support/Host.h"
#include "Support/TempDir.h"

namespace {

using testing::ElementsAre;
using testing::StartsWith;

constexpr std::uint64_t FULL = 2048 * MIB;  // a disk with no more than this is full
constexpr const char* CAMERA = "cam01_1_0";

const CDisk *g_pDisk1, *g_pDisk2;

std::mutex g_mtx;
std::vector<std::pair<int, std::string>> g_vMessages;  // of engines, since the test began

int OnMessage(int nType, void* pData, unsigned int nDataLen, void*) {
    std::string strText;  // a path, a directory or an error
    if (nType == MESSAGEVALUE_SWITCHDISK) {
        strText = static_cast<diskSwitchEvent*>(pData)->szDisk;
    } else if (nType == MESSAGEVALUE_CREATEFILE || nType == MESSAGEVALUE_CLOSEFILE) {
        strText = static_cast<recFileEvent*>(pData)->szFileName;
    } else if (nType == MESSAGEVALUE_DELETEFILE) {
        strText.assign(static_cast<char*>(pData), nDataLen);
    } else if (nType == MESSAGEVALUE_WRITEFAIL) {
        strText = std::to_string(static_cast<writeFailEvent*>(pData)->nError);
    }
    const std::lock_guard<std::mutex> guard(g_mtx);
    g_vMessages.emplace_back(nType, strText);
    return 0;
}

std::vector<std::string> Texts(int nWanted) {
    const std::lock_guard<std::mutex> guard(g_mtx);
    std::vector<std::string> vTexts;
    for (const auto& [nType, strText] : g_vMessages) {
        if (nType == nWanted) vTexts.push_back(strText);
    }
    return vTexts;
}

class OnDisks : public testing::Test {
protected:
    explicit OnDisks(LocalStorageType eLayout) : m_eLayout(eLayout) {}

    void SetUp() override {
        g_vMessages.clear();
        for (const CDisk* pDisk : {&m_disk1, &m_disk2}) {
            pDisk->Clear();
            pDisk->LeaveFree(FULL + 100 * MIB);
        }
    }
    void TearDown() override {
        m_pHost.reset();
        ExpectNothingLost();
        Start();  // what the last one left is read, or repaired
        ExpectNothingLost();
    }

    bool IsBackup() const { return m_eLayout == LOCAL_STORAGE_REMOTE_BACKUP; }

    void Start(bool bTwoDisks = true) {
        tagStoreInfo stInfo;
        stInfo.enumStorageType = m_eLayout;
        stInfo.pFunCallback = OnMessage;
        stInfo.bCycWrite = true;
        AddRecordDir(stInfo, m_disk1.Path());
        if (bTwoDisks) AddRecordDir(stInfo, m_disk2.Path());
        m_pHost = std::make_unique<CRecordingHost>(stInfo, m_log.Path());
    }

    /// A recording that an earlier run left, big and cheap.
    std::string MakeOld(const CDisk& disk, const std::string& strDay, int nFile,
                        std::uint64_t nBytes) {
        const std::string strNumber = std::to_string(10 + nFile);
        const std::string strName =
            IsBackup() ? strDay + strNumber + "0000_" + strDay + strNumber + "5959_1.mp4"
                       : strDay + "_" + strNumber + "0000.mp4";
        const std::string strPath = disk / ("RecordFile/" + strDay + "/" + CAMERA + "/" + strName);
        std::filesystem::create_directories(std::filesystem::path(strPath).parent_path());
        EXPECT_TRUE(Extend(strPath, nBytes));
        m_vOld.push_back(strPath);
        return strPath;
    }

    /// Times for the next recording: an hour each, from 2024-06 on.
    recFileInfo NextFile() {
        recFileInfo stFile;
        stFile.stStartTime = BlockTime(2024, 6, 1 + m_nFiles / 24, m_nFiles % 24);
        stFile.stEndTime = stFile.stStartTime;
        stFile.stEndTime.byMinute = 59;
        ++m_nFiles;
        return stFile;
    }

    /// Records so many MiB; the path of the recording, empty when it was refused.
    std::string Record(int nMiB = 2) {
        const std::string strMiB(MIB, 'v');
        const recFileInfo stFile = NextFile();
        if (!m_pHost->Open(CAMERA, stFile)) return "";
        for (int n = 0; n < nMiB; ++n) EXPECT_TRUE(m_pHost->Write(CAMERA, stFile, strMiB));
        EXPECT_TRUE(m_pHost->Close(CAMERA, stFile));
        return Texts(MESSAGEVALUE_CREATEFILE).back();
    }

    /// Records 8 MiB at a time until a message of this kind comes; the last recording.
    std::string RecordUntil(int nMessage) {
        const std::size_t nBefore = Texts(nMessage).size();
        std::string strPath;
        for (int n = 0; n < 30 && Texts(nMessage).size() == nBefore; ++n) strPath = Record(8);
        EXPECT_GT(Texts(nMessage).size(), nBefore) << "code " << m_pHost->LastError();
        return strPath;
    }

    std::set<std::string> Expected() const {
        std::set<std::string> setPath(m_vOld.begin(), m_vOld.end());
        const std::lock_guard<std::mutex> guard(g_mtx);
        for (const auto& [nType, strText] : g_vMessages) {
            if (nType == MESSAGEVALUE_CREATEFILE) setPath.insert(strText);
            if (nType != MESSAGEVALUE_DELETEFILE) continue;
            EXPECT_EQ(setPath.erase(strText), 1u) << strText;
        }
        return setPath;
    }

    void ExpectNothingLost() {
        std::vector<std::string> vThere;
        for (const CDisk* pDisk : {&m_disk1, &m_disk2}) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(pDisk->Path())) {
                if (entry.path().extension() == ".mp4") vThere.push_back(entry.path());
            }
        }
        EXPECT_THAT(vThere, testing::UnorderedElementsAreArray(Expected()));
        if (!m_pHost || !IsBackup()) return;
        std::vector<std::string> vFound;
        for (const std::string& strCamera : m_vCameras) {
            for (const std::string& strPath : m_pHost->Recordings(strCamera)) {
                vFound.push_back(strPath);
            }
        }
        EXPECT_THAT(vFound, testing::UnorderedElementsAreArray(Expected()));
    }

    const LocalStorageType m_eLayout;
    const CDisk& m_disk1 = *g_pDisk1;
    const CDisk& m_disk2 = *g_pDisk2;
    const CTempDir m_log;
    std::unique_ptr<CRecordingHost> m_pHost;
    std::vector<std::string> m_vCameras = {CAMERA};
    std::vector<std::string> m_vOld;
    int m_nFiles = 0;
};

const auto LAYOUTS = testing::Values(LOCAL_STORAGE_REMOTE_BACKUP, LOCAL_STORAGE_CLIENT);

class Disks : public OnDisks, public testing::WithParamInterface<LocalStorageType> {
protected:
    Disks() : OnDisks(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(Layouts, Disks, LAYOUTS);

TEST_P(Disks, FillSwitchOverwriteSwitchBack) {
    const std::string strOldest = MakeOld(m_disk1, "20240101", 0, 30 * MIB);
    const std::string strOldest2 = MakeOld(m_disk1, "20240101", 1, 30 * MIB);
    const std::string strNext = MakeOld(m_disk2, "20240102", 0, 30 * MIB);
    MakeOld(m_disk1, "20240103", 0, 30 * MIB);
    m_disk1.LeaveFree(FULL + 20 * MIB);
    m_disk2.LeaveFree(FULL + 20 * MIB);
    Start();

    EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
    EXPECT_THAT(RecordUntil(MESSAGEVALUE_SWITCHDISK), StartsWith(m_disk2.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_SWITCHDISK), ElementsAre(m_disk2.Path() + "/"));

    // Both full: the oldest day goes, and recording goes on where it was.
    EXPECT_THAT(RecordUntil(MESSAGEVALUE_DELETEFILE), StartsWith(m_disk1.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_DELETEFILE), ElementsAre(strOldest, strOldest2));
    EXPECT_NE(Texts(MESSAGEVALUE_DISKFULL).empty(), IsBackup());

    EXPECT_THAT(RecordUntil(MESSAGEVALUE_DELETEFILE), StartsWith(m_disk2.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_DELETEFILE), ElementsAre(strOldest, strOldest2, strNext));
}

// Nobody opens anything: the engine's own thread notices.
TEST_P(Disks, FilledByAnotherProcess) {
    MakeOld(m_disk1, "20240101", 0, 30 * MIB);
    Start();
    EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
    m_disk1.LeaveFree(1000 * MIB);
    for (int n = 0; n < 100 && Texts(MESSAGEVALUE_SWITCHDISK).empty(); ++n) ::usleep(100000);
    EXPECT_THAT(Texts(MESSAGEVALUE_SWITCHDISK), ElementsAre(m_disk2.Path() + "/"));
    EXPECT_THAT(Record(), StartsWith(m_disk2.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_DELETEFILE), ElementsAre());
}

TEST_P(Disks, NoRoomInTheMiddleOfAWrite) {
    MakeOld(m_disk1, "20240101", 0, 30 * MIB);
    Start();
    const recFileInfo stLong = NextFile();
    ASSERT_TRUE(m_pHost->Open(CAMERA, stLong));
    m_disk1.LeaveFree(MIB / 2);
    EXPECT_FALSE(m_pHost->Write(CAMERA, stLong, std::string(8 * MIB, 'v')));
    EXPECT_THAT(Texts(MESSAGEVALUE_WRITEFAIL), ElementsAre(std::to_string(ENOSPC)));
    EXPECT_TRUE(m_pHost->Close(CAMERA, stLong));
    EXPECT_THAT(Record(), StartsWith(m_disk2.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_DELETEFILE), ElementsAre());
}

// Nothing tells the engine of it but the recording that it cannot open.
TEST_P(Disks, RemountedReadOnly) {
    MakeOld(m_disk1, "20240101", 0, 30 * MIB);
    Start();
    EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
    m_disk1.Remount(MS_RDONLY);
    EXPECT_EQ(Record(), "");
    EXPECT_THAT(Record(), StartsWith(m_disk2.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_DELETEFILE), ElementsAre());
    m_disk1.Remount(0);
}

TEST_P(Disks, PulledAndPutBackWhileItIsWritten) {
    MakeOld(m_disk1, "20240101", 0, 30 * MIB);
    Start();
    const recFileInfo stLong = NextFile();
    ASSERT_TRUE(m_pHost->Open(CAMERA, stLong));
    m_disk1.Pull();
    m_pHost->Write(CAMERA, stLong, "stream");  // the open file may still take it; nothing may break
    m_pHost->Close(CAMERA, stLong);
    EXPECT_THAT(Record(), StartsWith(m_disk2.Path()));
    EXPECT_TRUE(std::filesystem::is_empty(m_disk1.Path())) << "something was recorded over it";

    // With no other disk either, the recordings of the one that is gone stay in the index.
    m_disk2.LeaveFree(FULL);
    Record();
    m_disk1.PutBack();
    EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
}

TEST_P(Disks, StartsOnADiskWithNothingFree) {
    m_disk1.Clear();
    const std::string strOldest = MakeOld(m_disk1, "20240101", 0, 1060 * MIB);
    const std::string strOldest2 = MakeOld(m_disk1, "20240101", 1, 1060 * MIB);
    MakeOld(m_disk1, "20240102", 0, 30 * MIB);
    m_disk1.LeaveFree(0);
    m_disk2.LeaveFree(0);
    Start();
    EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_DELETEFILE), ElementsAre(strOldest, strOldest2));
}

class AsUser : public OnDisks,
               public testing::WithParamInterface<std::tuple<LocalStorageType, int, bool>> {
protected:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds FRAME{40};

    struct channel {
        std::string strCamera;
        recFileInfo stFile = {};
        int nLost = 0;                   // pieces
        Clock::time_point tFailed = {};  // the first write of the last run that failed
        std::chrono::duration<double> tLost = {};
        bool bFails = false;
    };

    AsUser() : OnDisks(std::get<0>(GetParam())) {
        m_vCameras = {CAMERA, "cam01_1_1", "cam01_1_2", "cam01_1_3"};
        for (const std::string& strCamera : m_vCameras) m_vChannels.push_back({strCamera});
    }

    /// A piece of every camera, every 40 ms. Two blocks come free after each.
    void Record(int nFrames) {
        for (; nFrames > 0; --nFrames, std::this_thread::sleep_for(FRAME)) {
            for (channel& stChannel : m_vChannels) WritePiece(stChannel);
            m_disk1.GiveBack(8192);
        }
    }
    void WritePiece(channel& stChannel) {
        const bool bWritten = m_pHost->Write(stChannel.strCamera, stChannel.stFile, m_strPiece);
        if (!bWritten && !std::exchange(stChannel.bFails, true)) stChannel.tFailed = Clock::now();
        if (bWritten && std::exchange(stChannel.bFails, false)) {
            stChannel.tLost += Clock::now() - stChannel.tFailed;
        }
        if (bWritten) return;
        ++stChannel.nLost;
        if (!m_bTwoDisks || !IsBackup()) return;
        // In this layout a recording stays on its disk, so a host begins another one.
        EXPECT_TRUE(m_pHost->Close(stChannel.strCamera, stChannel.stFile));
        Open(stChannel);
    }
    bool DoesAnyFail() const {
        return std::any_of(m_vChannels.begin(), m_vChannels.end(),
                           [](const channel& stChannel) { return stChannel.bFails; });
    }
    void Open(channel& stChannel) {
        stChannel.stFile = NextFile();
        EXPECT_TRUE(m_pHost->Open(stChannel.strCamera, stChannel.stFile)) << m_pHost->LastError();
    }

    const std::string m_strPiece = std::string(std::get<1>(GetParam()) * 1024ul, 'v');
    const bool m_bTwoDisks = std::get<2>(GetParam());
    std::vector<channel> m_vChannels;
};

INSTANTIATE_TEST_SUITE_P(Pieces, AsUser,
                         testing::Combine(LAYOUTS, testing::Values(4, 8, 16, 32, 64),
                                          testing::Bool()));

// What the file system keeps for root is no room, nor is what takes a small file: 5 s are lost at
// most, or with another disk at most one piece.
TEST_P(AsUser, AnotherProgramTakesTheRest) {
    const auto stSpace = std::filesystem::space(m_disk1.Path());
    ASSERT_GT(stSpace.free - stSpace.available, FULL) << "no such disk";
    m_disk1.Clear();
    MakeOld(m_disk1, "20240101", 0, 2 * FULL);
    m_disk1.LeaveFree(FULL + 100 * MIB);
    Start(m_bTwoDisks);
    for (channel& stChannel : m_vChannels) Open(stChannel);
    Record(5);
    m_disk1.LeaveFree(0);
    Record(10);
    for (int n = 0; n < 200 && DoesAnyFail(); ++n) Record(1);
    int nLost = 0;
    for (const channel& stChannel : m_vChannels) {
        nLost += stChannel.nLost;
        EXPECT_FALSE(stChannel.bFails);
        EXPECT_LE(stChannel.tLost.count(), 5.0);
        if (m_bTwoDisks) {
            EXPECT_LE(stChannel.nLost, 1);
        }
    }
    EXPECT_GT(nLost, 0) << "there was room";
    for (channel& stChannel : m_vChannels) {
        EXPECT_TRUE(m_pHost->Close(stChannel.strCamera, stChannel.stFile));
    }
    EXPECT_EQ(Texts(MESSAGEVALUE_DELETEFILE).size(), m_bTwoDisks ? 0u : 1u);
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    const CDisk disk1(argv[1]), disk2(argv[2]);
    g_pDisk1 = &disk1;
    g_pDisk2 = &disk2;
    // What a recording has reserved it can still write on a full disk: these count every byte.
    SetStorageOption(STORAGE_OPTION_RESERVE_STEP, 0);
    // Each user has tests of its own.
    std::string strFilter = testing::GTEST_FLAG(filter);
    strFilter += strFilter.find('-') == std::string::npos ? "-" : ":";
    testing::GTEST_FLAG(filter) = strFilter + (::geteuid() == 0 ? "*/AsUser.*" : "*/Disks.*");
    return RUN_ALL_TESTS();
}
