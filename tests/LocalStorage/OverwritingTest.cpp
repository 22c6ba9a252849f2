// Deletion passes and what they tidy.

#include "LocalStorage/EngineTest.h"

class Overwriting : public CEngineTest {
protected:
    std::string Day(int nDay) const {
        return Disk() + "RecordFile/" + Digits(Time(nDay, 0)).substr(0, 8);
    }
    std::string Path(const std::string& strCamera, int nDay, int nHour, int nType = 1) const {
        return Day(nDay) + "/" + strCamera + "/" + Digits(Time(nDay, nHour)) + "_" +
               Digits(Time(nDay, nHour + 1)) + "_" + std::to_string(nType) + ".mp4";
    }
    /// Recordings of cam01 at these days and hours.
    void RecordAt(std::initializer_list<std::pair<int, int>> vTimes) {
        for (const auto& [nDay, nHour] : vTimes) Record("cam01", Hour(nDay, nHour));
    }
    std::size_t Indexed(int nDay) { return Find("cam01", Time(nDay, 0), Time(nDay + 1, 0)).size(); }
};

TEST_F(Overwriting, TakesTheOldestDayButNotOpenFilesAndPassesOverADayThatLosesNothing) {
    Start();
    Record("cam01", Hour(1, 8));
    Record("cam02", Hour(1, 9));
    ASSERT_TRUE(Open("cam01", Hour(1, 10)));
    RecordAt({{2, 8}, {3, 8}, {4, 8}});
    ForgetMessages();
    CheckFullDisk();
    EXPECT_EQ(Said().front(), "1   0 -") << "the host hears first that the disk is full";
    EXPECT_THAT(Deleted(), ElementsAre(Path("cam01", 1, 8), Path("cam02", 1, 9)));
    EXPECT_FALSE(Exists(Day(1) + "/cam02"));
    EXPECT_EQ(Indexed(1), 1u);
    m_faults.Fail(Op::Unlink, Below(Day(2)), EPERM);
    CheckFullDisk();
    EXPECT_EQ(Deleted().back(), Path("cam01", 3, 8));
    EXPECT_THAT(RecordFiles(),
                ElementsAre(Path("cam01", 1, 10), Path("cam01", 2, 8), Path("cam01", 4, 8)));
    EXPECT_EQ(Indexed(2), 1u);
}

TEST_F(Overwriting, AnotherProgramThatFillsTheDiskGetsADayInFiveSeconds) {
    Start();
    for (int nDay = 1; nDay <= 4; ++nDay) Record("cam01", Hour(nDay, 8));
    SetRoom(FULL);
    for (const std::int64_t nLater : {0 * SECOND, 0 * SECOND, 5 * SECOND - 1}) {
        m_faults.AdvanceTime(nLater);
        EXPECT_FALSE(Open("cam01", Hour(5, 8)));
        EXPECT_EQ(LastError(), STORAGE_ERROR_DISK_FULL);
        EXPECT_THAT(Deleted(), SizeIs(1));
    }
    m_faults.AdvanceTime(1);
    m_faults.Before(Op::Unlink, Any(), [&] { SetRoom(ROOM); });  // this time it stays away
    EXPECT_TRUE(Open("cam01", Hour(5, 8)));
    EXPECT_THAT(Deleted(), SizeIs(2));
    SetRoom(FULL);
    EXPECT_TRUE(Open("cam01", Hour(5, 9)));  // so the next pass may follow at once
    EXPECT_THAT(Deleted(), SizeIs(3));
}

// As on xfs: the space is there a moment after the file went.
TEST_F(Overwriting, SpaceThatComesLaterCostsNoSecondDay) {
    AddDisk("1");
    AddDisk("unused");  // since the writing is not cyclic
    SetRoom(ROOM, "unused");
    Start();
    RecordAt({{1, 8}, {2, 8}});
    SetRoom(FULL);
    std::atomic<int> nAsked{-1};
    m_faults.Before(Op::Unlink, Ends(".mp4"), [&] { nAsked = 0; });
    m_faults.Before(Op::StatVfs, Any(), [&] {
        if (nAsked >= 0 && ++nAsked == 7) SetRoom(ROOM);
    });
    EXPECT_TRUE(Open("cam01", Hour(3, 8)));
    EXPECT_THAT(Deleted(), ElementsAre(Path("cam01", 1, 8)));
}

TEST_F(Overwriting, AFileGoesNoEarlierThanTheHostHearsThatItIsClosed) {
    Start(LOCAL_STORAGE_CLIENT);
    ASSERT_TRUE(Open("cam01", recFileInfo()));
    const std::string strPath = RecordFiles().at(0);
    SetRoom(FULL);
    std::thread pass;
    OnMessage([&](const hostMessage& stMessage) {
        if (stMessage.nType != MESSAGEVALUE_CLOSEFILE) return;
        pass = std::thread([this] { CheckDisk(); });
        while (Exists(strPath) && LinesWith("file is writting") == 0) std::this_thread::yield();
        EXPECT_TRUE(Exists(strPath));
    });
    EXPECT_TRUE(Close("cam01", recFileInfo()));
    pass.join();
}

TEST_F(Overwriting, APassThatIsGivenUpHasToldWhatItDeletedAndDeletesNoMore) {
    Start();
    RecordAt({{1, 8}, {1, 9}, {1, 10}, {2, 8}});
    std::promise<void> goesOn;
    m_faults.Before(Op::Unlink, Ends(".mp4"), [&] { goesOn.get_future().wait(); }).From(2).Times(1);
    CheckFullDisk();
    EXPECT_THAT(Deleted(), ElementsAre(Path("cam01", 1, 8)));
    goesOn.set_value();
    EXPECT_TRUE(Await([this] { return Indexed(1) == 1; }));
    EXPECT_THAT(RecordFiles(), ElementsAre(Path("cam01", 1, 10), Path("cam01", 2, 8)));
    EXPECT_THAT(Find("cam01", Time(1, 0), Time(2, 0)), ElementsAre(Path("cam01", 1, 10)));
}

TEST_F(Overwriting, APassEndsWithTheEngine) {
    Start(LOCAL_STORAGE_CLIENT);
    ASSERT_TRUE(Open("cam01", recFileInfo()));
    for (int n = 0; n < 300; ++n) {
        PutFile(Day(1) + "/cam01/20240301_" + std::to_string(100000 + n) + ".mp4");
    }
    SetRoom(FULL);
    m_faults.Before(Op::Unlink, Ends(".mp4"), [] { std::this_thread::sleep_for(1ms); });
    m_faults.Fail(Op::Write, Ends(".mp4"), EFBIG).Times(1);
    EXPECT_FALSE(Write("cam01", recFileInfo(), "brings the check forward"));
    EXPECT_TRUE(Await([this] { return RecordFiles().size() < 301; }));
    m_pEngine->Release();
    EXPECT_THAT(Deleted(), SizeIs(256)) << "and the next start goes on";
}

TEST_F(Overwriting, WhatCannotBeReadForWantOfMeansCostsNoDay) {
    Start(LOCAL_STORAGE_CLIENT);
    for (const char* pDay : {"20240301", "20240302"}) {
        PutFile(Disk() + "RecordFile/" + pDay + "/cam01/20240301_080000.mp4");
    }
    for (const auto& [eOp, nError] : {std::pair(Op::Open, EMFILE), {Op::ReadDir, ENOMEM}}) {
        m_faults.Fail(eOp, Below(Day(1)), nError);
        CheckFullDisk();
        EXPECT_THAT(Deleted(), IsEmpty()) << nError;
        m_faults.ClearRules();
    }
}

TEST_F(Overwriting, ARecordingThatComesWhileTidyingStays) {
    Start();
    Record("cam01", Hour(1, 8));
    PutFile(Day(1) + "/cam01/index03.bin", "index");
    // Once the folder has been looked at, and before it is removed.
    m_faults.Before(Op::Unlink, Ends("index03.bin"), [&] { PutFile(Path("cam01", 1, 9), "new"); })
        .Times(1);
    CheckFullDisk();
    EXPECT_EQ(GetFile(Path("cam01", 1, 9)), "new");
}

TEST_F(Overwriting, TheClientLayoutLosesItsOldestDayOfTheKindAskedFor) {
    const struct {
        StoreFileType eKind;
        std::string strFolder, strFile;
    } cases[] = {{STORE_FILE_RECORD, "RecordFile/", "cam01/20240305_080000.mp4"},
                 {STORE_FILE_IMAGE, "ImageFile/", "check/20240305_080000.jpg"}};
    for (const auto& c : cases) {
        Reset();
        m_stInfo.enumStoreFileType = c.eKind;
        Start(LOCAL_STORAGE_CLIENT);
        Record("cam01", Hour(1, 1));
        CheckDisk();  // leaves a picture
        m_faults.AdvanceTime(DAY);
        Record("cam01", Hour(1, 1));
        CheckDisk();
        const std::string strTree = Disk() + c.strFolder;
        fs::create_directories(strTree + "20240101/cam07");
        CheckFullDisk();
        EXPECT_THAT(Deleted(), ElementsAre(strTree + "20240305/" + c.strFile));
        EXPECT_FALSE(Exists(strTree + "20240101")) << "there was nothing in it";
        EXPECT_FALSE(Exists(strTree + "20240305"));
        EXPECT_TRUE(Exists(strTree + "20240306"));
    }
}

TEST_F(Overwriting, NothingGoesOfAnUnknownKindNorOfADiskThatIsNeverRecordedOn) {
    m_stInfo.enumStoreFileType = static_cast<StoreFileType>(2);
    Start();
    Record("cam01", Hour(1, 8));
    CheckFullDisk();
    EXPECT_THAT(RecordFiles(), SizeIs(1));
    Reset();
    AddDisk("1");
    AddDisk("2");  // since the writing is not cyclic
    PutFile(Disk("2") + "RecordFile/20240301/cam01/20240301080000_20240301090000_1.mp4");
    Start();
    const auto removals = m_faults.Watch(Op::RemoveDir, Any());
    CheckFullDisk();
    EXPECT_EQ(removals.Seen(), 0u) << "an empty index tidies nothing";
    Record("cam01", Hour(2, 8));
    CheckFullDisk();
    EXPECT_THAT(Deleted(), ElementsAre(Path("cam01", 2, 8)));
}

TEST_F(Overwriting, ADayGoesWithFilesThatHaveNoEntryOrShareOneOrAreGoneAlready) {
    Start();
    RecordAt({{1, 8}, {1, 9}, {2, 8}, {3, 8}});
    ASSERT_TRUE(Open("cam01", Hour(1, 8, RECORD_TYPE_2)));  // the same times: one entry
    PutFile(Path("cam09", 1, 8), "put there by hand");
    fs::remove(Path("cam01", 1, 9));
    CheckFullDisk();
    EXPECT_THAT(Deleted(), UnorderedElementsAre(Path("cam01", 1, 8), Path("cam09", 1, 8)));
    EXPECT_THAT(Find("cam01", Time(1, 0), Time(2, 0)), ElementsAre(Path("cam01", 1, 8, 2)));
    ASSERT_TRUE(Close("cam01", Hour(1, 8, RECORD_TYPE_2)));
    CheckFullDisk();
    EXPECT_EQ(Deleted().back(), Path("cam01", 1, 8, 2));
    EXPECT_FALSE(Exists(Day(1)));
    fs::remove_all(Day(2));
    CheckFullDisk();
    EXPECT_EQ(Indexed(1) + Indexed(2), 0u);
    EXPECT_EQ(Indexed(3), 1u);
    EXPECT_THAT(Deleted(), SizeIs(3));
}
