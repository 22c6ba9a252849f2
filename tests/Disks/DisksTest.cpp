// The engine on real disks that fill up, fail and go away: disks_test DISK1 DISK2, two mounted file
// systems of a little more than 2 GiB that are nobody else's. script/test-disks makes them.
//
// Every test ends the same way: what was reported created and not deleted lies on the disks, and
// nothing else; and an engine that starts afterwards finds it.

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <sys/mount.h>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Disks/Disk.h"
#include "Support/Host.h"
#include "Support/TempDir.h"

namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAreArray;

constexpr std::uint64_t FULL = 2048 * MIB;  // a disk with no more than this is full
constexpr const char* CAMERA = "cam01_1_0";
constexpr const char* CAMERA2 = "cam02_1_0";

std::unique_ptr<const CDisk> g_pDisk1, g_pDisk2;

struct message {
    int nType;
    std::string strText;  // a path or a directory
    int nError;
};

std::mutex g_mutex;
std::vector<message> g_vMessages;  // what engines told their host, since the test began

int OnMessage(int nType, void* pData, unsigned int nDataLen, void*) {
    message stMessage{nType, "", 0};
    if (nType == MESSAGEVALUE_SWITCHDISK) {
        stMessage.strText = static_cast<diskSwitchEvent*>(pData)->szDisk;
    } else if (nType == MESSAGEVALUE_CREATEFILE || nType == MESSAGEVALUE_CLOSEFILE) {
        stMessage.strText = static_cast<recFileEvent*>(pData)->szFileName;
    } else if (nType == MESSAGEVALUE_DELETEFILE) {
        stMessage.strText.assign(static_cast<char*>(pData), nDataLen);
    } else if (nType == MESSAGEVALUE_WRITEFAIL) {
        stMessage.nError = static_cast<writeFailEvent*>(pData)->nError;
    }
    const std::lock_guard<std::mutex> guard(g_mutex);
    g_vMessages.push_back(stMessage);
    return 0;
}

std::vector<message> Messages() {
    const std::lock_guard<std::mutex> guard(g_mutex);
    return g_vMessages;
}

std::vector<std::string> Texts(int nType) {
    std::vector<std::string> vTexts;
    for (const message& stMessage : Messages())
        if (stMessage.nType == nType) vTexts.push_back(stMessage.strText);
    return vTexts;
}

int LastWriteError() {
    int nError = 0;
    for (const message& stMessage : Messages())
        if (stMessage.nType == MESSAGEVALUE_WRITEFAIL) nError = stMessage.nError;
    return nError;
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
        if (HasFatalFailure()) return;
        ExpectNothingLost();
        Start();  // what the last one left is read, or repaired
        ExpectNothingLost();
        m_pHost.reset();
    }

    bool IsBackup() const { return GetParam() == LOCAL_STORAGE_REMOTE_BACKUP; }

    void Start(bool bAutoDelete = true) {
        m_pHost.reset();
        tagStoreInfo stInfo;
        stInfo.enumStorageType = GetParam();
        stInfo.pFunCallback = OnMessage;
        stInfo.bCycWrite = true;
        stInfo.bAutoDelete = bAutoDelete;
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
        PutFileOf(strPath, nBytes);
        m_vOld.push_back(strPath);
        return strPath;
    }

    /// Times for the next recording: days of 2024-06, an hour each.
    recFileInfo NextFile() {
        recFileInfo stFile;
        stFile.stStartTime = BlockTime(2024, 6, 1 + m_nFiles / 24, m_nFiles % 24);
        stFile.stEndTime = stFile.stStartTime;
        stFile.stEndTime.byMinute = 59;
        ++m_nFiles;
        return stFile;
    }

    bool Write(const recFileInfo& stFile, std::uint64_t nBytes) {
        return m_pHost->Write(CAMERA, stFile, std::string(nBytes, 'v'));
    }

    /// Records so many MiB; the path of the recording, empty when it was refused.
    std::string Record(int nMiB = 2) {
        const recFileInfo stFile = NextFile();
        if (!m_pHost->Open(CAMERA, stFile)) return "";
        for (int n = 0; n < nMiB; ++n) EXPECT_TRUE(Write(stFile, MIB));
        EXPECT_TRUE(m_pHost->Close(CAMERA, stFile));
        return Texts(MESSAGEVALUE_CREATEFILE).back();
    }

    /// Opens a recording and begins it.
    recFileInfo Begin() {
        const recFileInfo stFile = NextFile();
        EXPECT_TRUE(m_pHost->Open(CAMERA, stFile));
        EXPECT_TRUE(Write(stFile, MIB));
        return stFile;
    }

    /// Records 8 MiB at a time until a message of this kind comes; the last recording.
    std::string RecordUntil(int nMessage) {
        const std::size_t nBefore = Texts(nMessage).size();
        std::string strPath = "nothing";
        for (int n = 0; n < 30 && !strPath.empty(); ++n) {
            strPath = Record(8);
            if (Texts(nMessage).size() > nBefore) return strPath;
        }
        ADD_FAILURE() << "no message " << nMessage << ", code " << m_pHost->LastError();
        return "";
    }

    std::vector<std::string> Expected() const {
        std::set<std::string> setPath(m_vOld.begin(), m_vOld.end());
        for (const message& stMessage : Messages()) {
            if (stMessage.nType == MESSAGEVALUE_CREATEFILE) setPath.insert(stMessage.strText);
            if (stMessage.nType != MESSAGEVALUE_DELETEFILE) continue;
            EXPECT_EQ(setPath.erase(stMessage.strText), 1u) << stMessage.strText;
        }
        return {setPath.begin(), setPath.end()};
    }

    void ExpectNothingLost() {
        std::vector<std::string> vThere;
        for (const CDisk* pDisk : {&m_disk1, &m_disk2}) {
            if (!std::filesystem::exists(*pDisk / "RecordFile")) continue;
            for (const auto& entry :
                 std::filesystem::recursive_directory_iterator(*pDisk / "RecordFile"))
                if (entry.path().extension() == ".mp4") vThere.push_back(entry.path());
        }
        EXPECT_THAT(vThere, UnorderedElementsAreArray(Expected()));
        if (!m_pHost || !IsBackup()) return;
        std::vector<std::string> vFound = m_pHost->Recordings(CAMERA);
        for (const std::string& strPath : m_pHost->Recordings(CAMERA2)) vFound.push_back(strPath);
        EXPECT_THAT(vFound, UnorderedElementsAreArray(Expected()));
    }

    const CDisk& m_disk1 = *g_pDisk1;
    const CDisk& m_disk2 = *g_pDisk2;
    const CTempDir m_log;
    std::unique_ptr<CHost> m_pHost;
    std::vector<std::string> m_vOld;
    int m_nFiles = 0;
};

INSTANTIATE_TEST_SUITE_P(Layouts, Disks,
                         testing::Values(LOCAL_STORAGE_REMOTE_BACKUP, LOCAL_STORAGE_CLIENT),
                         [](const auto& layout) {
                             return std::string(layout.param == LOCAL_STORAGE_CLIENT ? "Client"
                                                                                     : "Backup");
                         });

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
    EXPECT_THAT(Texts(MESSAGEVALUE_DISKFULL), IsEmpty());

    // Both full: the oldest day goes, and recording goes on where it was.
    EXPECT_THAT(RecordUntil(MESSAGEVALUE_DELETEFILE), StartsWith(m_disk1.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_DELETEFILE), ElementsAre(strOldest, strOldest2));
    EXPECT_NE(Texts(MESSAGEVALUE_DISKFULL).empty(), IsBackup());
    EXPECT_FALSE(std::filesystem::exists(m_disk1 / "RecordFile/20240101"));

    EXPECT_THAT(RecordUntil(MESSAGEVALUE_DELETEFILE), StartsWith(m_disk2.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_DELETEFILE), ElementsAre(strOldest, strOldest2, strNext));
    EXPECT_FALSE(std::filesystem::exists(m_disk2 / "RecordFile/20240102"));
}

TEST_P(Disks, FullWithoutDeletionRefusesUntilThereIsRoom) {
    MakeOld(m_disk1, "20240101", 0, 30 * MIB);
    Start(false);
    EXPECT_NE(Record(), "");
    m_disk1.LeaveFree(FULL);
    m_disk2.LeaveFree(FULL);
    EXPECT_EQ(Record(), "");
    EXPECT_EQ(m_pHost->LastError(), STORAGE_ERROR_DISK_FULL);
    EXPECT_FALSE(Texts(MESSAGEVALUE_DISKFULL).empty());
    m_disk2.LeaveFree(FULL + 10 * MIB);
    EXPECT_THAT(Record(), StartsWith(m_disk2.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_DELETEFILE), IsEmpty());
}

// Nobody opens anything: the engine's own thread notices.
TEST_P(Disks, FilledByAnotherProcess) {
    MakeOld(m_disk1, "20240101", 0, 30 * MIB);
    Start();
    EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
    m_disk1.LeaveFree(1000 * MIB);
    for (int n = 0; n < 100 && Texts(MESSAGEVALUE_SWITCHDISK).empty(); ++n)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_THAT(Texts(MESSAGEVALUE_SWITCHDISK), ElementsAre(m_disk2.Path() + "/"));
    EXPECT_THAT(Record(), StartsWith(m_disk2.Path()));

    m_disk1.LeaveFree(FULL + 100 * MIB);
    EXPECT_THAT(Record(), StartsWith(m_disk2.Path()));
    m_disk2.LeaveFree(1000 * MIB);
    EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_DELETEFILE), IsEmpty());
}

TEST_P(Disks, NoRoomInTheMiddleOfAWrite) {
    Start();
    const recFileInfo stLong = Begin();
    m_disk1.LeaveFree(MIB / 2);
    EXPECT_FALSE(Write(stLong, 8 * MIB));
    EXPECT_EQ(LastWriteError(), ENOSPC);

    // In the client layout the open channel moves with the engine.
    const std::string strFirst = Texts(MESSAGEVALUE_CREATEFILE).back();
    const recFileInfo stOther = NextFile();
    ASSERT_TRUE(m_pHost->Open(CAMERA2, stOther));
    EXPECT_THAT(Texts(MESSAGEVALUE_CREATEFILE).back(), StartsWith(m_disk2.Path()));
    EXPECT_TRUE(m_pHost->Write(CAMERA2, stOther, "stream"));
    EXPECT_EQ(Write(stLong, MIB), !IsBackup());
    if (!IsBackup()) {
        EXPECT_THAT(Texts(MESSAGEVALUE_CLOSEFILE), ElementsAre(strFirst));
        EXPECT_THAT(Texts(MESSAGEVALUE_CREATEFILE).back(), StartsWith(m_disk2.Path()));
    }
    EXPECT_TRUE(m_pHost->Close(CAMERA, stLong));
    EXPECT_TRUE(m_pHost->Close(CAMERA2, stOther));

    m_disk1.LeaveFree(FULL + 100 * MIB);
    m_disk2.LeaveFree(FULL);
    EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_DELETEFILE), IsEmpty());
}

// Nothing tells the engine of it but the recording that it cannot open.
TEST_P(Disks, RemountedReadOnly) {
    MakeOld(m_disk1, "20240101", 0, 30 * MIB);
    Start();
    EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
    m_disk1.Remount(MS_RDONLY);
    EXPECT_EQ(Record(), "");
    EXPECT_EQ(m_pHost->LastError(), STORAGE_ERROR_OPEN_FILE);
    EXPECT_THAT(Record(), StartsWith(m_disk2.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_SWITCHDISK), ElementsAre(m_disk2.Path() + "/"));
    m_disk1.Remount(0);
    m_disk2.LeaveFree(FULL);
    EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_DELETEFILE), IsEmpty());
}

TEST_P(Disks, BreaksWhileItIsWritten) {
    MakeOld(m_disk1, "20240101", 0, 30 * MIB);
    Start();
    const recFileInfo stLong = Begin();
    m_disk1.Break();
    EXPECT_FALSE(Write(stLong, MIB));
    EXPECT_THAT(LastWriteError(), AnyOf(EIO, EROFS));
    EXPECT_TRUE(m_pHost->Close(CAMERA, stLong));
    EXPECT_THAT(Record(), StartsWith(m_disk2.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_DELETEFILE), IsEmpty());
    m_pHost.reset();
    m_disk1.Pull();
    m_disk1.PutBack();
}

TEST_P(Disks, PulledAndPutBackWhileItIsWritten) {
    MakeOld(m_disk1, "20240101", 0, 30 * MIB);
    Start();
    const recFileInfo stLong = Begin();
    m_disk1.Pull();
    Write(stLong, MIB);  // the open file may still take it; nothing may break
    m_pHost->Close(CAMERA, stLong);
    EXPECT_THAT(Record(), StartsWith(m_disk2.Path()));
    EXPECT_THAT(Texts(MESSAGEVALUE_SWITCHDISK), ElementsAre(m_disk2.Path() + "/"));
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
    EXPECT_NE(Texts(MESSAGEVALUE_DISKFULL).empty(), IsBackup());
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s DISK1 DISK2\n", argv[0]);
        return 2;
    }
    g_pDisk1 = std::make_unique<CDisk>(argv[1]);
    g_pDisk2 = std::make_unique<CDisk>(argv[2]);
    const int nResult = RUN_ALL_TESTS();
    g_pDisk1.reset();
    g_pDisk2.reset();
    return nResult;
}
