// Choice of the disk, and the disk check.

#include <cerrno>

#include "LocalStorage/DiskChoice.h"
#include "LocalStorage/EngineTest.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST(DiskChoice, DecidesByTheSettingsAndWhatIsThere) {
    const struct {
        fullDiskState stState;    // cycle, found, client, auto delete, deleting helps
        fullDiskAction stAction;  // switch, full, delete, choose again
    } CASES[] = {
        {{true, true, false, true, true}, {true, false, false, false}},
        {{true, true, true, false, true}, {true, false, false, false}},
        {{true, false, false, true, true}, {false, true, true, true}},
        {{true, false, false, false, true}, {false, true, false, false}},
        {{true, false, true, true, true}, {false, false, true, true}},
        {{true, false, true, false, true}, {false, false, false, false}},
        {{false, false, false, true, true}, {false, true, true, false}},
        {{false, false, false, false, true}, {false, true, false, false}},
        {{false, false, true, true, true}, {false, false, true, false}},
        {{true, false, false, true, false}, {false, true, true, true}},
        {{false, false, false, true, false}, {false, true, false, false}},
    };
    for (const auto& stCase : CASES)
        EXPECT_EQ(DecideFullDisk(stCase.stState), stCase.stAction) << &stCase - CASES;
}

class DiskCheck : public CEngineTest {
protected:
    /// Two disks, cycling.
    void StartTwo(LocalStorageType enumType = LOCAL_STORAGE_REMOTE_BACKUP) {
        AddDisk("1");
        AddDisk("2");
        m_stInfo.bCycWrite = true;
        Start(enumType);
    }
    void SetFree(const std::string& strDisk, std::uint64_t nMiB) {
        m_faults.SetFreeSpace(m_dir / strDisk, nMiB);
    }
    /// Runs one disk check, through an opening that then goes no further.
    void Check() {
        char szPath[LOCALSTORAGE_PATH_SIZE];
        m_faults.Fail(Op::Open, Ends(".jpg"), EMFILE);
        m_pEngine->WriteImage("check", "", 0, szPath);
        m_faults.ClearRules();
    }
    /// The disk that a new recording lies on.
    std::string DiskOfNext() {
        m_faults.AdvanceTime(1000);
        recFileInfo stInfo = Hour(5, 8);
        stInfo.stStartTime.bySecond = static_cast<std::uint8_t>(++m_nRecording);
        if (!Open("cam01", stInfo)) return "none";
        Close("cam01", stInfo);
        return Messages().back().strPath.substr(m_dir.Path().size() + 1, 1);
    }

    int m_nRecording = 0;
};

TEST_F(DiskCheck, TwoGibibytesAreFull) {
    Start();
    SetFree("1", 2049);
    EXPECT_EQ(DiskOfNext(), "1");
    SetFree("1", 2048);
    EXPECT_EQ(DiskOfNext(), "none");
    EXPECT_EQ(m_pEngine->GetLastError(), -10);
}

TEST_F(DiskCheck, MovesToTheNextAndComesBack) {
    StartTwo();
    EXPECT_EQ(DiskOfNext(), "1");
    SetFree("1", 100);
    Said();
    EXPECT_EQ(DiskOfNext(), "2");
    const Trace lsSaid = Said();
    EXPECT_EQ(lsSaid.at(0), "-> 2 $/2/");
    EXPECT_EQ(
        lsSaid.at(1),
        "[wtb][CLocalStorage::CheckDisk] pFunCallback MESSAGEVALUE_SWITCHDISK, szDisk [$/2/]");
    for (const HostMessage& stMessage : Messages()) {
        if (stMessage.nType != MESSAGEVALUE_SWITCHDISK) continue;
        EXPECT_EQ(stMessage.nValue, ROOM);
        EXPECT_EQ(stMessage.nLength, 272u);
    }
    SetFree("1", 3000);
    EXPECT_EQ(DiskOfNext(), "2");  // stays while there is room
    SetFree("2", 100);
    EXPECT_EQ(DiskOfNext(), "1");
}

TEST_F(DiskCheck, AFullDiskIsReportedAndOverwritten) {
    StartTwo();
    Record("cam01", Hour(1, 8));
    Record("cam01", Hour(2, 8));
    SetFree("1", 100);
    SetFree("2", 100);
    Said();
    Check();
    Trace lsSaid = Said();
    EXPECT_EQ(lsSaid.at(0), "-> 1");
    EXPECT_EQ(lsSaid.at(1),
              "[wtb][CLocalStorage::CheckDisk] RemoteBackupStorage, pFunCallback "
              "MESSAGEVALUE_DISKFULL, bCycWrite [1]");
    EXPECT_THAT(PathsOf(MESSAGEVALUE_DELETEFILE), SizeIs(1));
    EXPECT_THAT(RecordFiles(), SizeIs(1));
}

TEST_F(DiskCheck, WithoutCyclingTheDiskIsKept) {
    AddDisk("1");
    AddDisk("2");
    Start();
    Record("cam01", Hour(1, 8));
    SetFree("1", 100);
    Check();
    EXPECT_THAT(Said(), testing::Contains("[wtb][CLocalStorage::CheckDisk] RemoteBackupStorage, "
                                          "pFunCallback MESSAGEVALUE_DISKFULL, bCycWrite [0]"));
    EXPECT_THAT(RecordFiles(), IsEmpty());
    EXPECT_EQ(DiskOfNext(), "none");
}

TEST_F(DiskCheck, TheClientLayoutReportsNothingButDeletes) {
    StartTwo(LOCAL_STORAGE_CLIENT);
    Record("cam01", Hour(1, 8));
    SetFree("1", 100);
    SetFree("2", 100);
    Said();
    Check();
    EXPECT_THAT(PathsOf(MESSAGEVALUE_DISKFULL), SizeIs(1));  // WriteImage's own
    EXPECT_THAT(RecordFiles(), IsEmpty());
}

TEST_F(DiskCheck, WithoutAutoDeleteNothingIsDeleted) {
    m_stInfo.bAutoDelete = false;
    StartTwo();
    Record("cam01", Hour(1, 8));
    SetFree("1", 100);
    SetFree("2", 100);
    Check();
    EXPECT_THAT(RecordFiles(), SizeIs(1));
}

TEST_F(DiskCheck, WithoutACallbackTheLogTells) {
    m_stInfo.pFunCallback = nullptr;
    StartTwo();
    SetFree("1", 100);
    Check();
    SetFree("2", 100);
    Check();
    const std::string strTag = "[wtb][CLocalStorage::CheckDisk] ";
    const Trace lsSaid = Said();
    EXPECT_THAT(lsSaid, testing::Contains(strTag + "GetFreeDisk success, new Disk [$/2/]"));
    EXPECT_THAT(lsSaid,
                testing::Contains(strTag + "RemoteBackupStorage, GetFreeDisk fail, bCycWrite [1]"));
    m_pEngine->Release();
    m_stInfo.bCycWrite = false;
    Start();
    Check();
    EXPECT_THAT(Said(), testing::Contains(strTag + "RemoteBackupStorage, disk full, start delete "
                                                   "record, bCycWrite [0]"));
}

TEST_F(DiskCheck, RefusingAFullDiskTellsTheHost) {
    m_stInfo.bAutoDelete = false;
    Start(LOCAL_STORAGE_CLIENT);
    SetFree("1", 100);
    int nUser = 0;
    EXPECT_FALSE(Open("cam01", Hour(5, 8), &nUser));
    EXPECT_EQ(m_pEngine->GetLastError(), -10);
    const std::string strTag = "[wtb][CLocalStorage::OpenChannelRecord] ";
    EXPECT_THAT(Said(),
                ElementsAre("-> 1", strTag + "pFunCallback MESSAGEVALUE_DISKFULL, strMapID [cam01]",
                            strTag + "IsDiskFull, m_strCurRecDir [$/1/], strMapID [cam01]"));
    EXPECT_EQ(Messages().back().pUser, &nUser);
}

TEST_F(DiskCheck, ADiskThatTakesNoFilesCountsAsFull) {
    for (const int nError : {ENOSPC, EDQUOT, EROFS, EIO}) {
        StartTwo();
        m_faults.Fail(Op::Open, Below(m_dir / "1"), nError);
        EXPECT_EQ(DiskOfNext(), "none");
        EXPECT_EQ(m_pEngine->GetLastError(), -14);
        EXPECT_EQ(DiskOfNext(), "2");
        m_faults.ClearRules();
        SetFree("2", 100);
        EXPECT_EQ(DiskOfNext(), "1");  // it could be written again
        SetFree("2", ROOM);
        m_pEngine->Release();
        m_stInfo.lsRecDir.clear();
    }
}

TEST_F(DiskCheck, AFailedDiskIsTriedOncePerCheck) {
    StartTwo();
    ASSERT_TRUE(Open("cam01", Hour(5, 8)));
    auto rule = m_faults.Fail(Op::Write, Below(m_dir / "1"), ENOSPC);
    EXPECT_FALSE(Write("cam01", Hour(5, 8), "lost"));
    EXPECT_EQ(DiskOfNext(), "2");
    EXPECT_EQ(rule.Seen(), 2u);  // the lost piece, the trial
    EXPECT_EQ(DiskOfNext(), "2");
    EXPECT_EQ(rule.Seen(), 3u);
    for (const auto& entry : std::filesystem::directory_iterator(Disk("1")))
        EXPECT_TRUE(entry.is_directory()) << entry.path();
}

TEST_F(DiskCheck, ADiskWithoutInodesCountsAsFull) {
    StartTwo();
    m_faults.Fail(Op::MakeDir, Below(m_dir / "1"), ENOSPC);
    m_faults.Fail(Op::Open, Ends(".write-trial"), ENOSPC);
    EXPECT_EQ(DiskOfNext(), "none");
    EXPECT_EQ(DiskOfNext(), "2");
}

TEST_F(DiskCheck, OtherErrorsSayNothingAboutTheDisk) {
    StartTwo();
    m_faults.Fail(Op::Open, Ends(".mp4"), EMFILE).Times(1);
    EXPECT_EQ(DiskOfNext(), "none");
    EXPECT_EQ(DiskOfNext(), "1");
}

TEST_F(DiskCheck, NothingIsMadeBelowAPulledDisk) {
    StartTwo();
    Record("cam01", Hour(1, 8));
    const Trace lsBefore = Find("cam01", Time(1, 0), Time(2, 0));
    ASSERT_THAT(lsBefore, SizeIs(1));
    std::filesystem::rename(m_dir / "1", m_dir / "pulled");
    std::filesystem::create_directory(m_dir / "1");
    m_faults.SetDevice(m_dir / "1", 4711);
    EXPECT_EQ(DiskOfNext(), "2");
    SetFree("2", 100);  // nothing left: the pass must not take the pulled disk's entries for gone
    Check();
    EXPECT_EQ(DiskOfNext(), "none");
    EXPECT_TRUE(std::filesystem::is_empty(m_dir / "1"));
    EXPECT_EQ(Find("cam01", Time(1, 0), Time(2, 0)), lsBefore);

    std::filesystem::remove(m_dir / "1");
    std::filesystem::rename(m_dir / "pulled", m_dir / "1");
    m_faults.ClearDevices();
    EXPECT_EQ(DiskOfNext(), "1");
}

TEST_F(DiskCheck, ADiskThatDeletingCannotHelpDoesNotCostTheOthersTheirRecordings) {
    AddDisk("1");
    AddDisk("2");
    m_stInfo.bCycWrite = true;
    Start();
    SetFree("1", 100);
    Record("cam01", Hour(1, 8));  // on disk 2
    m_pEngine->Release();
    m_stInfo.bCycWrite = false;
    SetFree("1", ROOM);
    Start();
    m_faults.SetDevice(m_dir / "1", 4711);
    Check();
    m_faults.ClearDevices();
    m_faults.Fail(Op::Open, Ends("1.mp4"), EROFS);
    EXPECT_EQ(DiskOfNext(), "none");
    m_faults.Fail(Op::Open, Ends(".write-trial"), EROFS);
    EXPECT_EQ(DiskOfNext(), "none");
    m_faults.ClearRules();
    EXPECT_EQ(DiskOfNext(), "1");
    EXPECT_THAT(RecordFiles(), SizeIs(2));
}
