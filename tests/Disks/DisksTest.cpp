// The engine on real disks that fill up and go away: disks_test DISK1 DISK2, two mounted file
// systems that are nobody else's. script/test-disks makes them. Root needs a little more than 2 GiB
// each; another user runs other tests, on ext4 that keeps more than 2 GiB for root.
//
// Every test ends the same way: what was reported created and not deleted lies on the disks, and
// nothing else; and an engine that starts afterwards finds it.

#include <iostream>
#include <tuple>

#include "SickDisk.h"
#include "Support/Host.h"
#include "Support/Test.h"

namespace {

using testing::ElementsAreArray;

constexpr std::uint64_t MIB = 1 << 20, FULL = 2048 * MIB;  // a disk with no more is full
constexpr auto FRAME = 40ms;

/// Makes a file longer by so many bytes; false when there is no room for them.
bool Extend(const std::string& strPath, std::uint64_t nBytes) {
    const int nFile = ::open(strPath.c_str(), O_WRONLY | O_CREAT, 0644);
    if (nFile < 0) return false;
    const bool bDone =
        ::fallocate(nFile, 0, ::lseek(nFile, 0, SEEK_END), static_cast<off_t>(nBytes)) == 0;
    ::close(nFile);
    return bDone;
}

class CDisk {
public:
    /// The file system mounted there. For root it keeps the device open, so that it does not go
    /// away with a pulled disk, until the process ends.
    explicit CDisk(const std::string& strPath) : m_strPath(strPath) {
        std::ifstream mounts("/proc/self/mounts");
        std::string strMountPoint, strRest;
        while (strMountPoint != strPath && mounts >> m_strDevice >> strMountPoint >> m_strType) {
            std::getline(mounts, strRest);
        }
        Check(strMountPoint == strPath, strPath + " is no disk");
        if (::geteuid() != 0) return;
        Check(::open(m_strDevice.c_str(), O_RDONLY | O_CLOEXEC) >= 0, m_strDevice);
    }

    const std::string& Path() const { return m_strPath; }
    /// Cuts files before it removes them: xfs gives the room of a removed one back later.
    void Clear() const {
        for (const auto& entry : fs::recursive_directory_iterator(m_strPath)) {
            if (entry.is_regular_file()) fs::resize_file(entry, 0);
        }
        for (const auto& entry : fs::directory_iterator(m_strPath)) fs::remove_all(entry);
    }
    /// Another process takes or gives back room until so many bytes are free; in ever smaller
    /// steps, since a file system needs some of its room for itself.
    void LeaveFree(std::uint64_t nBytes) const {
        ::truncate(m_strFiller.c_str(), 0);
        for (std::uint64_t nStep = Free() - nBytes; nStep >= 4096; nStep /= 2) {
            while (Free() >= nBytes + nStep && Extend(m_strFiller, nStep)) {
            }
        }
    }
    /// It gives back so many bytes of it.
    void GiveBack(std::uint64_t nBytes) const {
        fs::resize_file(m_strFiller, fs::file_size(m_strFiller) - nBytes);
    }
    /// For whoever opens something there from now on, as after an error of the disk, until it is
    /// unmounted once: a plain remount is refused while a file is open for writing.
    void MakeReadOnly() const {
        const char* const pPath = m_strPath.c_str();
        Check(::mount(pPath, pPath, "", MS_BIND, nullptr) == 0 &&
                  ::mount("", pPath, "", MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0,
              "remount");
    }
    /// Takes the disk away under whoever uses it.
    void Unmount() const { Check(::umount2(m_strPath.c_str(), MNT_DETACH) == 0, "umount"); }
    void PutBack() const {
        Check(::mount(m_strDevice.c_str(), m_strPath.c_str(), m_strType.c_str(), 0, nullptr) == 0,
              "mount " + m_strDevice);
    }

private:
    // That this user may fill.
    std::uint64_t Free() const {
        const auto stSpace = fs::space(m_strPath);
        return ::geteuid() == 0 ? stSpace.free : stSpace.available;
    }

    const std::string m_strPath, m_strFiller = m_strPath + "/filler";
    std::string m_strDevice, m_strType;
};

const CDisk *g_pDisk1, *g_pDisk2;

// Layout; KiB of a piece and whether there are two disks, where tests ask for them.
class Disks : public testing::TestWithParam<std::tuple<LocalStorageType, int, bool>> {
protected:
    void SetUp() override {
        ForgetMessages();
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

    void Start() {
        tagStoreInfo stInfo;
        stInfo.enumStorageType = std::get<0>(GetParam());
        stInfo.pFunCallback = RecordMessage;
        stInfo.bCycWrite = true;
        AddRecordDir(stInfo, m_disk1.Path());
        if (m_bTwoDisks) AddRecordDir(stInfo, m_disk2.Path());
        m_pHost = std::make_unique<CRecordingHost>(stInfo, m_log.Path());
    }

    /// A recording that an earlier run left, big and cheap; `pTime` is of 2024-01, as "01_10".
    std::string MakeOld(const CDisk& disk, const std::string& strTime, std::uint64_t nBytes) {
        const std::string strDay = "202401" + strTime.substr(0, 2), strHour = strTime.substr(3);
        std::string strPath = disk.Path() + "/RecordFile/" + strDay + "/" + CAMERA + "/" + strDay;
        strPath += m_bBackup ? strHour + "0000_" + strDay + strHour + "5959_1.mp4"
                             : "_" + strHour + "0000.mp4";
        PutFile(strPath);
        EXPECT_TRUE(Extend(strPath, nBytes));
        m_setOld.insert(strPath);
        return strPath;
    }

    /// Times for the next recording: an hour each, from 2024-06 on.
    recFileInfo NextFile() {
        const int nDay = 1 + m_nFiles / 24, nHour = m_nFiles % 24;
        ++m_nFiles;
        return Recording(BlockTime(2024, 6, nDay, nHour), BlockTime(2024, 6, nDay, nHour, 59));
    }
    /// Records so many MiB; the path of the recording, empty when it was refused.
    std::string Record(int nMiB = 2) {
        const recFileInfo stFile = NextFile();
        if (!m_pHost->Open(CAMERA, stFile)) return "";
        const std::string strMiB(MIB, 'v');
        for (int n = 0; n < nMiB; ++n) EXPECT_TRUE(m_pHost->Write(CAMERA, stFile, strMiB));
        EXPECT_TRUE(m_pHost->Close(CAMERA, stFile));
        return Told(MESSAGEVALUE_CREATEFILE).back();
    }
    /// Records 8 MiB at a time until a message of this kind comes; the last recording.
    std::string RecordUntil(int nMessage) {
        const std::size_t nBefore = Told(nMessage).size();
        std::string strPath;
        for (int n = 0; n < 30 && Told(nMessage).size() == nBefore; ++n) strPath = Record(8);
        EXPECT_GT(Told(nMessage).size(), nBefore) << "code " << m_pHost->LastError();
        return strPath;
    }

    /// With an old recording that must not go.
    void StartOnFirst() {
        MakeOld(m_disk1, "01_10", 30 * MIB);
        Start();
        EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
    }
    void ExpectOnSecond() {
        EXPECT_THAT(Record(), StartsWith(m_disk2.Path()));
        EXPECT_THAT(Told(MESSAGEVALUE_DELETEFILE), ElementsAre());
    }
    void ExpectNothingLost() const {
        std::set<std::string> setExpected = m_setOld;
        for (const hostMessage& st : Messages()) {
            if (st.nType == MESSAGEVALUE_CREATEFILE) setExpected.insert(st.strWhat);
            if (st.nType != MESSAGEVALUE_DELETEFILE) continue;
            EXPECT_EQ(setExpected.erase(st.strWhat), 1u) << st.strWhat;
        }
        std::set<std::string> setThere;
        for (const CDisk* pDisk : {&m_disk1, &m_disk2}) {
            for (const auto& strPath : RecordFilesBelow(pDisk->Path())) setThere.insert(strPath);
        }
        EXPECT_EQ(setThere, setExpected);
        if (!m_pHost || !m_bBackup) return;
        EXPECT_THAT(m_pHost->Recordings(CAMERA), ElementsAreArray(setExpected));
    }

    const std::string CAMERA = "cam01_1_0";
    const bool m_bBackup = std::get<0>(GetParam()) == LOCAL_STORAGE_REMOTE_BACKUP;
    const bool m_bTwoDisks = std::get<2>(GetParam());
    const CDisk &m_disk1 = *g_pDisk1, &m_disk2 = *g_pDisk2;
    const CTempDir m_log;
    std::unique_ptr<CRecordingHost> m_pHost;
    std::set<std::string> m_setOld;
    int m_nFiles = 0;
};

const auto LAYOUTS = testing::Values(LOCAL_STORAGE_REMOTE_BACKUP, LOCAL_STORAGE_CLIENT);
INSTANTIATE_TEST_SUITE_P(Layouts, Disks,
                         testing::Combine(LAYOUTS, testing::Values(0), testing::Values(true)));

TEST_P(Disks, FillSwitchOverwriteSwitchBack) {
    const std::string strOldest = MakeOld(m_disk1, "01_10", 30 * MIB);
    const std::string strOldest2 = MakeOld(m_disk1, "01_11", 30 * MIB);
    const std::string strNext = MakeOld(m_disk2, "02_10", 30 * MIB);
    MakeOld(m_disk1, "03_10", 30 * MIB);
    m_disk1.LeaveFree(FULL + 20 * MIB);
    m_disk2.LeaveFree(FULL + 20 * MIB);
    Start();

    EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
    EXPECT_THAT(RecordUntil(MESSAGEVALUE_SWITCHDISK), StartsWith(m_disk2.Path()));
    EXPECT_THAT(Told(MESSAGEVALUE_SWITCHDISK), ElementsAre(m_disk2.Path() + "/"));

    // Both full: the oldest day goes, and recording goes on where it was.
    EXPECT_THAT(RecordUntil(MESSAGEVALUE_DELETEFILE), StartsWith(m_disk1.Path()));
    EXPECT_THAT(Told(MESSAGEVALUE_DELETEFILE), ElementsAre(strOldest, strOldest2));
    EXPECT_NE(Told(MESSAGEVALUE_DISKFULL).empty(), m_bBackup);

    EXPECT_THAT(RecordUntil(MESSAGEVALUE_DELETEFILE), StartsWith(m_disk2.Path()));
    EXPECT_THAT(Told(MESSAGEVALUE_DELETEFILE), ElementsAre(strOldest, strOldest2, strNext));
}

TEST_P(Disks, StartsOnADiskWithNothingFree) {
    m_disk1.Clear();
    const std::string strOldest = MakeOld(m_disk1, "01_10", 1060 * MIB);
    const std::string strOldest2 = MakeOld(m_disk1, "01_11", 1060 * MIB);
    MakeOld(m_disk1, "02_10", 30 * MIB);
    m_disk1.LeaveFree(0);
    m_disk2.LeaveFree(0);
    Start();
    EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
    EXPECT_THAT(Told(MESSAGEVALUE_DELETEFILE), ElementsAre(strOldest, strOldest2));
}

// The first disk goes wrong, and the second one takes over without a deletion. Nothing tells the
// engine of it but the recording that it cannot open.
TEST_P(Disks, OneBecomesReadOnly) {
    StartOnFirst();
    m_disk1.MakeReadOnly();
    EXPECT_EQ(Record(), "");
    ExpectOnSecond();
    m_disk1.Unmount();
}

TEST_P(Disks, OneIsPulledAndPutBackWhileItIsWritten) {
    StartOnFirst();
    const recFileInfo stOpen = NextFile();
    ASSERT_TRUE(m_pHost->Open(CAMERA, stOpen));
    m_disk1.Unmount();
    m_pHost->Write(CAMERA, stOpen, "stream");  // the open file may still take it
    m_pHost->Close(CAMERA, stOpen);
    ExpectOnSecond();
    EXPECT_TRUE(fs::is_empty(m_disk1.Path())) << "something was recorded over it";

    // With no other disk either, the recordings of the one that is gone stay in the index.
    m_disk2.LeaveFree(FULL);
    Record();
    m_disk1.PutBack();
    EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
}

// The second disk is not recorded on, and nothing tells the engine of either.
TEST_P(Disks, BothAreMountedTooLate) {
    for (const CDisk* pDisk : {&m_disk1, &m_disk2}) {
        MakeOld(*pDisk, "01_10", 2 * MIB);
        pDisk->Unmount();
    }
    Start();
    const recFileInfo stBelow = NextFile();
    ASSERT_TRUE(m_pHost->Open(CAMERA, stBelow));
    const std::string strBelow = Told(MESSAGEVALUE_CREATEFILE).back();
    m_disk1.PutBack();
    m_disk2.PutBack();
    for (const CDisk* pDisk : {&m_disk1, &m_disk2}) {
        const std::string strNote = pDisk->Path() + "/.localstorage";
        ASSERT_TRUE(Await([&] { return GetFile(strNote).find("in use") != std::string::npos; }));
    }
    EXPECT_TRUE(m_pHost->Write(CAMERA, stBelow, "stays below"));
    EXPECT_TRUE(m_pHost->Close(CAMERA, stBelow));
    ForgetMessages();
    EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
    ExpectNothingLost();
    m_disk1.Unmount();
    ExpectOnSecond();
    EXPECT_EQ(GetFile(strBelow), "stays below");
    for (const auto& entry : fs::directory_iterator(m_disk1.Path())) fs::remove_all(entry);
    m_disk1.PutBack();
    m_disk2.LeaveFree(FULL);
    EXPECT_THAT(Record(), StartsWith(m_disk1.Path()));
}

class AsUser : public Disks {
protected:
    void Open() {
        m_stFile = NextFile();
        EXPECT_TRUE(m_pHost->Open(CAMERA, m_stFile)) << m_pHost->LastError();
    }
    /// A piece every 40 ms; later after one that is lost where another disk is to take the next,
    /// since a busy machine may take longer to go there. Two blocks come free after each.
    void Record(int nPieces) {
        constexpr auto MOVE = 500ms;
        for (; nPieces > 0;
             --nPieces, std::this_thread::sleep_for(m_bFails && m_bTwoDisks ? MOVE : FRAME)) {
            m_bFails = !m_pHost->Write(CAMERA, m_stFile, m_strPiece);
            m_nLost += m_bFails;
            if (m_bFails && m_bTwoDisks && m_bBackup) {
                // In this layout a recording stays on its disk, so a host begins another one.
                EXPECT_TRUE(m_pHost->Close(CAMERA, m_stFile));
                Open();
            }
            m_disk1.GiveBack(8192);
        }
    }

    const std::string m_strPiece = std::string(std::get<1>(GetParam()) * 1024ul, 'v');
    recFileInfo m_stFile;
    bool m_bFails = false;
    int m_nLost = 0;  // pieces
};

INSTANTIATE_TEST_SUITE_P(Pieces, AsUser,
                         testing::Combine(LAYOUTS, testing::Values(4, 8, 16, 32, 64),
                                          testing::Bool()));

// What the file system keeps for root is no room, nor is what takes a small file: 5 s are lost at
// most, or with another disk at most one piece.
TEST_P(AsUser, AnotherProgramTakesTheRest) {
    const auto stSpace = fs::space(m_disk1.Path());
    ASSERT_GT(stSpace.free - stSpace.available, FULL) << "no such disk";
    m_disk1.Clear();
    MakeOld(m_disk1, "01_10", 2 * FULL);
    m_disk1.LeaveFree(FULL + 100 * MIB);
    Start();
    Open();
    Record(5);
    m_disk1.LeaveFree(0);
    Record(10);
    for (int n = 0; n < 200 && m_bFails; ++n) Record(1);
    EXPECT_FALSE(m_bFails);
    EXPECT_TRUE(m_pHost->Close(CAMERA, m_stFile));
    EXPECT_GT(m_nLost, 0) << "there was room";
    EXPECT_LE(m_nLost, m_bTwoDisks ? 1 : 5s / FRAME);
    EXPECT_EQ(Told(MESSAGEVALUE_DELETEFILE).size(), m_bTwoDisks ? 0u : 1u);
}

}  // namespace

int main(int argc, char** argv) try {
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
} catch (const std::exception& error) {
    std::cerr << "disks_test: " << error.what() << '\n';
    return 1;
}
