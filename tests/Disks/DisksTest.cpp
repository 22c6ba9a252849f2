// The engine on real disks that fill up and go away: disks_test DISK1 DISK2, two mounted file
// systems of a little more than 2 GiB that are nobody else's. script/test-disks makes them.
//
// Every test ends the same way: what was reported created and not deleted lies on the disks, and
// nothing else; and an engine that starts afterwards finds it.

#include <cerrno>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>

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

std::mutex g_mutex;
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
    const std::lock_guard<std::mutex> guard(g_mutex);
    g_vMessages.emplace_back(nType, strText);
    return 0;
}

std::vector<std::string> Texts(int nWanted) {
    const std::lock_guard<std::mutex> guard(g_mutex);
    std::vector<std::string> vTexts;
    for (const auto& [nType, strText] : g_vMessages)
        if (nType == nWanted) vTexts.push_back(strText);
    return vTexts;
}

class Disks : public testing::TestWithParam<LocalStorageType> {
protected:
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

    bool IsBackup() const { return GetParam() == LOCAL_STORAGE_REMOTE_BACKUP; }

    void Start() {
        tagStoreInfo stInfo;
        stInfo.enumStorageType = GetParam();
        stInfo.pFunCallback = OnMessage;
        stInfo.bCycWrite = true;
        AddRecordDir(stInfo, m_disk1.Path());
        AddRecordDir(stInfo, m_disk2.Path());
        m_pHost = std::make_unique<CHost>(stInfo, m_log.Path());
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
        const std::lock_guard<std::mutex> guard(g_mutex);
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
            for (const auto& entry : std::filesystem::recursive_directory_iterator(pDisk->Path()))
                if (entry.path().extension() == ".mp4") vThere.push_back(entry.path());
        }
        EXPECT_THAT(vThere, testing::UnorderedElementsAreArray(Expected()));
        if (!m_pHost || !IsBackup()) return;
        EXPECT_THAT(m_pHost->Recordings(CAMERA), testing::UnorderedElementsAreArray(Expected()));
    }

    const CDisk& m_disk1 = *g_pDisk1;
    const CDisk& m_disk2 = *g_pDisk2;
    const CTempDir m_log;
    std::unique_ptr<CHost> m_pHost;
    std::vector<std::string> m_vOld;
    int m_nFiles = 0;
};

INSTANTIATE_TEST_SUITE_P(Layouts, Disks,
                         testing::Values(LOCAL_STORAGE_REMOTE_BACKUP, LOCAL_STORAGE_CLIENT));

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

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    const CDisk disk1(argv[1]), disk2(argv[2]);
    g_pDisk1 = &disk1;
    g_pDisk2 = &disk2;
    return RUN_ALL_TESTS();
}
