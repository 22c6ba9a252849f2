// Choice of the disk, and the disk check.

#include <cerrno>
#include <map>

#include "LocalStorage/DiskChoice.h"
#include "LocalStorage/EngineTest.h"

using testing::ElementsAre;
using testing::SizeIs;

TEST(DiskChoice, DecidesByTheSettingsAndWhatIsThere) {
    const struct {
        fullDiskState stState;    // moved, client, auto delete
        fullDiskAction stAction;  // switch, full, delete
    } CASES[] = {
        {{true, false, true}, {true, false, false}},
        {{true, true, true}, {true, false, false}},
        {{false, false, true}, {false, true, true}},
        {{false, true, true}, {false, false, true}},
        {{false, false, false}, {false, true, false}},
        {{false, true, false}, {false, false, false}},
    };
    for (const auto& stCase : CASES) {
        EXPECT_EQ(DecideFullDisk(stCase.stState), stCase.stAction) << &stCase - CASES;
    }
}

TEST(DiskChoice, ALookTellsWhatADiskIsGoodFor) {
    const struct {
        diskLook stLook;
        bool bFull, bTrialDue, bHelps;  // "helps": deleting
    } CASES[] = {
        {{true, 2049, 0}, false, false, true},     {{true, 2048, 0}, true, false, true},
        {{true, {}, 0}, true, false, false},       {{false, 9999, 0}, true, false, false},
        {{true, 9999, ENOSPC}, true, true, true},  {{true, 9999, EDQUOT}, true, true, true},
        {{true, 2048, ENOSPC}, true, false, true}, {{true, 2048, EDQUOT}, true, false, true},
        {{true, 9999, EROFS}, true, true, false},  {{true, 9999, EIO}, true, true, false},
        {{true, 2048, EIO}, true, true, false},
    };
    for (const auto& stCase : CASES) {
        EXPECT_EQ(IsDiskFull(stCase.stLook), stCase.bFull) << &stCase - CASES;
        EXPECT_EQ(IsTrialDue(stCase.stLook), stCase.bTrialDue) << &stCase - CASES;
        EXPECT_EQ(CanDeletingHelp(stCase.stLook), stCase.bHelps) << &stCase - CASES;
    }
}

/// Disks without an engine; what a look at them tells is made up.
class Disks : public testing::Test {
protected:
    void Assign(bool bCycWrite) { m_disks.Assign({"/a", "/b", "/a/c"}, bCycWrite); }
    void SetRoom(const std::string& strRecDir, bool bRoom) {
        m_mLooks[strRecDir] = {true, bRoom ? 9999u : 0u, 0};
    }
    std::string Asked() { return std::exchange(m_strAsked, ""); }

    std::map<std::string, diskLook> m_mLooks;
    std::string m_strAsked;
    std::function<void()> m_onLook = [] {};
    CDisks m_disks{[this](const std::string& strRecDir, int) {
        m_strAsked += strRecDir + " ";
        m_onLook();
        return m_mLooks[strRecDir];
    }};
};

TEST_F(Disks, EachIsLookedAtOnceAndTheFirstWithRoomIsTaken) {
    using Room = CDisks::Room;
    const struct {
        bool bCycWrite, bA, bB, bC;  // room
        Room eFound;
        std::string strCurrent, strAsked;
    } STEPS[] = {
        {true, true, true, true, Room::Here, "/a", "/a "},
        {true, false, true, true, Room::Moved, "/b", "/a /b "},
        {true, true, true, true, Room::Here, "/b", "/b "},
        {true, false, false, true, Room::Moved, "/a/c", "/b /a /a/c "},
        {true, true, false, false, Room::Moved, "/a", "/a/c /a "},
        {true, false, false, false, Room::None, "/a", "/a /b /a/c "},
        {false, false, true, true, Room::None, "/a", "/a "},
    };
    Assign(true);
    for (const auto& stStep : STEPS) {
        if (!stStep.bCycWrite) Assign(false);
        SetRoom("/a", stStep.bA);
        SetRoom("/b", stStep.bB);
        SetRoom("/a/c", stStep.bC);
        EXPECT_EQ(m_disks.FindRoom(), stStep.eFound) << &stStep - STEPS;
        EXPECT_EQ(m_disks.Current(), stStep.strCurrent) << &stStep - STEPS;
        EXPECT_EQ(Asked(), stStep.strAsked) << &stStep - STEPS;
    }
    EXPECT_THAT(m_disks.BeyondHelp(), ElementsAre("/b", "/a/c"));  // never recorded on

    Assign(true);
    SetRoom("/a", false);
    m_disks.FindRoom();
    SetRoom("/a", true);
    EXPECT_TRUE(m_disks.ChooseAgain());
    EXPECT_EQ(m_disks.Current(), "/a");
}

TEST_F(Disks, AFailureCountsForTheDiskOfTheFileUntilALookFindsItGone) {
    Assign(true);
    for (const char* pDir : {"/a", "/b", "/a/c"}) SetRoom(pDir, true);
    m_disks.FindRoom();
    m_disks.NoteFailure("/a/c/RecordFile/x.mp4", EIO);  // of the longest directory
    m_disks.NoteFailure("/a/RecordFile/x.mp4", EMFILE);
    m_disks.NoteFailure("/d/x.mp4", EIO);
    EXPECT_FALSE(IsDiskFull(m_disks.CurrentLook()));
    EXPECT_TRUE(m_disks.IsOnCurrent("/a/RecordFile/x.mp4"));
    EXPECT_FALSE(m_disks.IsOnCurrent("/a/c/RecordFile/x.mp4"));
    m_onLook = [this] { m_disks.NoteFailure("/a/x.mp4", EROFS); };  // while a look is under way
    EXPECT_EQ(m_disks.LookAtCurrent().nFailure, EROFS);
    m_onLook = [] {};
    EXPECT_EQ(m_disks.LookAtCurrent().nFailure, 0);
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

TEST_F(DiskCheck, AnotherDiskThatLacksItsDirectoryOrAnAnswerCostsNoDay) {
    StartOnTwo();
    Record("cam01", Hour(1, 8));
    std::filesystem::remove_all(Disk("2"));
    SetRoom(FULL, "1");
    EXPECT_EQ(DiskOfNext(), "2");  // made again
    SetRoom(FULL, "2");
    SetRoom(ROOM, "1");
    EXPECT_EQ(DiskOfNext(), "1");
    SetRoom(FULL, "1");
    SetRoom(ROOM, "2");
    m_faults.Fail(Op::StatVfs, Below(m_dir / "2"), EIO).Times(1);
    EXPECT_EQ(DiskOfNext(), "2");  // asked twice
    EXPECT_THAT(PathsOf(MESSAGEVALUE_DELETEFILE), SizeIs(0));
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
        m_faults.Fail(Op::Open, Below(m_dir / "1"), nError == 0 ? ENOENT : nError);
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
