// Choice of the disk, and the disk check.

#include <cerrno>

#include "LocalStorage/DiskChoice.h"
#include "LocalStorage/EngineTest.h"

using testing::ElementsAre;
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
    /// The disk that a new recording lies on.
    std::string DiskOfNext() {
        recFileInfo stInfo = Hour(5, 8);
        stInfo.stStartTime.bySecond = ++m_nRecording;
        if (!Open("cam01", stInfo)) return "none";
        Close("cam01", stInfo);
        return Messages().back().strPath.substr(m_dir.Path().size() + 1, 1);
    }

    std::uint8_t m_nRecording = 0;
    const std::string m_strTag = "[wtb][CLocalStorage::CheckDisk] ";
};

TEST_F(DiskCheck, MovesToTheNextAndComesBack) {
    StartOnTwo();
    SetRoom(FULL + 1, "1");
    EXPECT_EQ(DiskOfNext(), "1");
    SetRoom(FULL, "1");
    EXPECT_THAT(CheckDisk(), ElementsAre("-> 2 $/2/ 10000 [272]",
                                         m_strTag + "pFunCallback MESSAGEVALUE_SWITCHDISK, "
                                                    "szDisk [$/2/]"));
    SetRoom(ROOM, "1");
    EXPECT_EQ(DiskOfNext(), "2");  // stays while there is room
    SetRoom(FULL, "2");
    EXPECT_EQ(DiskOfNext(), "1");
}

TEST_F(DiskCheck, RefusingAFullDiskTellsTheHost) {
    m_stInfo.bAutoDelete = false;
    Start(LOCAL_STORAGE_CLIENT);
    Record("cam01", Hour(5, 8));
    Said();
    SetRoom(FULL);
    EXPECT_FALSE(Open("cam01", Hour(5, 8)));
    EXPECT_EQ(m_pEngine->GetLastError(), -10);
    const std::string strTag = "[wtb][CLocalStorage::OpenChannelRecord] ";
    EXPECT_THAT(
        Said(),
        ElementsAre("-> 1 user", strTag + "pFunCallback MESSAGEVALUE_DISKFULL, strMapID [cam01]",
                    strTag + "IsDiskFull, m_strCurRecDir [$/1/], strMapID [cam01]"));
    EXPECT_THAT(RecordFiles(), SizeIs(1));
}

TEST_F(DiskCheck, ADiskThatTakesNoFilesCountsAsFull) {
    const struct {
        Op eOp;
        int nError;
        const char* pNext;  // where the next recording lies
    } CASES[] = {{Op::Open, ENOSPC, "2"}, {Op::Open, EDQUOT, "2"},    {Op::Open, EROFS, "2"},
                 {Op::Open, EIO, "2"},    {Op::MakeDir, ENOSPC, "2"},  // no inodes
                 {Op::Open, EMFILE, "1"}};  // says nothing about the disk
    for (const auto& stCase : CASES) {
        StartOnTwo();
        m_faults.Fail(stCase.eOp, Below(m_dir / "1"), stCase.nError);
        m_faults.Fail(Op::Open, Ends(".write-trial"), stCase.nError);
        EXPECT_EQ(DiskOfNext(), "none");
        EXPECT_EQ(m_pEngine->GetLastError(), -14);
        if (stCase.nError == EMFILE) m_faults.ClearRules();
        EXPECT_EQ(DiskOfNext(), stCase.pNext) << stCase.nError;
        m_faults.ClearRules();
        SetRoom(FULL, "2");
        EXPECT_EQ(DiskOfNext(), "1");  // it could be written again
        SetRoom(ROOM, "2");
        Stop();
        std::filesystem::remove_all(Disk() + "RecordFile");
    }
}

TEST_F(DiskCheck, AnotherNameOfADirectoryIsNoOtherDisk) {
    AddDisk("1");
    std::filesystem::create_directory_symlink(m_dir / "1", m_dir / "2");
    StartOnTwo();
    m_faults.Fail(Op::Open, Below(m_dir / "1"), ENOSPC);
    EXPECT_EQ(DiskOfNext(), "none");
    EXPECT_EQ(DiskOfNext(), "none");
}

TEST_F(DiskCheck, NothingIsMadeBelowAPulledDisk) {
    StartOnTwo();
    Record("cam01", Hour(1, 8));
    const Trace lsBefore = Find("cam01", Time(1, 0), Time(2, 0));
    ASSERT_THAT(lsBefore, SizeIs(1));
    std::filesystem::rename(m_dir / "1", m_dir / "pulled");
    std::filesystem::create_directory(m_dir / "1");
    m_faults.SetDevice(m_dir / "1", 4711);
    EXPECT_EQ(DiskOfNext(), "2");
    SetRoom(FULL, "2");  // the pass must not take the pulled disk's entries for gone
    EXPECT_EQ(DiskOfNext(), "none");
    EXPECT_TRUE(std::filesystem::is_empty(m_dir / "1"));
    EXPECT_EQ(Find("cam01", Time(1, 0), Time(2, 0)), lsBefore);

    std::filesystem::remove(m_dir / "1");
    std::filesystem::rename(m_dir / "pulled", m_dir / "1");
    m_faults.ClearDevices();
    EXPECT_EQ(DiskOfNext(), "1");
}

TEST_F(DiskCheck, APassTakesNothingFromADiskThatDeletingCannotHelp) {
    for (const int nError : {EIO, EROFS, 0}) {  // 0: pulled
        StartOnTwo();
        Record("cam01", Hour(1, 8));
        if (nError == 0) m_faults.SetDevice(m_dir / "1", 4711);
        m_faults.Fail(Op::Open, Below(m_dir / "1"), nError);
        EXPECT_EQ(DiskOfNext(), nError == 0 ? "2" : "none");
        Record("cam01", Hour(2, 8));
        Record("cam01", Hour(3, 8));
        SetRoom(FULL, "2");
        CheckDisk();
        EXPECT_THAT(PathsOf(MESSAGEVALUE_DELETEFILE),
                    ElementsAre(testing::HasSubstr("/2/RecordFile/20240302/")));
        EXPECT_THAT(Find("cam01", Time(1, 0), Time(2, 0)), SizeIs(1));
        m_faults.ClearRules();
        m_faults.ClearDevices();
        SetRoom(ROOM, "2");
        Stop();
        for (const char* pDisk : {"1", "2"}) std::filesystem::remove_all(Disk(pDisk));
    }
}
