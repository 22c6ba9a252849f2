// What is recorded is made durable by a thread of its own; what cannot be is told as a failed
// write. What is reserved is given back. Modes.

#include <fcntl.h>

#include "LocalStorage/EngineTest.h"

class Sync : public CEngineTest {
protected:
    static constexpr int NEVER = 3600000;  // but at Release

    void StartSyncing(int nInterval) {
        ASSERT_EQ(SetStorageOption(STORAGE_OPTION_SYNC_INTERVAL, nInterval), 1);
        Start();
    }
};

TEST_F(Sync, IsDoneForWhatWasWrittenAndForNothingElse) {
    const std::string strFolder = m_dir / "1/RecordFile";
    for (const unsigned nDisks : {0, 1, 2}) {
        Reset();
        StartSyncing(NEVER);
        if (nDisks > 1) m_faults.SetDevice(strFolder + "/20240304/cam_2_0", 4711);
        for (const char* pCamera : {"cam_1_0", "cam_2_0"}) {
            if (nDisks == 0) continue;
            ASSERT_TRUE(Open(pCamera, Hour(4, 8)));
            ASSERT_TRUE(Write(pCamera, Hour(4, 8), "video"));
        }
        const auto syncs = m_faults.Watch(Op::Sync, Below(strFolder + "/20240304"));
        const auto flushes = m_faults.Watch(Op::Sync, Is(strFolder));
        m_pEngine->Release();
        EXPECT_EQ(syncs.Seen(), nDisks) << "each where it lies";
        EXPECT_EQ(flushes.Seen() > 0, nDisks > 0);
    }
}

// A record directory and its record folder that were moved to a larger disk.
TEST_F(Sync, FoldersAreSyncedBehindLinksToo) {
    fs::create_directories(m_dir / "disk/folder");
    fs::create_directory_symlink("disk", m_dir / "1");
    fs::create_directory_symlink("folder", m_dir / "disk/RecordFile");
    AddRecordDir(m_stInfo, Disk());
    m_faults.Fail(Op::CanSync, Any(), EOPNOTSUPP);
    StartSyncing(10);
    ASSERT_TRUE(Open("cam_1_0", Hour(4, 8)));
    const auto syncs = m_faults.Watch(Op::Sync, Is(m_dir / "1/RecordFile"));
    EXPECT_TRUE(Await([&] { return syncs.Seen() > 0; }));
    m_pEngine->Release();
    EXPECT_THAT(Said(), Each(StartsWith("3 ")));
    EXPECT_FALSE(fs::exists(m_dir / "disk/folder/index.dirty")) << "the index is flushed";
}

TEST_F(Sync, FailsAsAWriteFails) {
    for (const bool bWhole : {true, false}) {  // as a whole, and file by file
        Reset();
        if (!bWhole) m_faults.Fail(Op::CanSync, Any(), EOPNOTSUPP);
        StartSyncing(10);
        ASSERT_TRUE(Open("cam_1_0", Hour(4, 8)));
        ASSERT_TRUE(Open("cam_2_0", Hour(4, 8)));
        std::this_thread::sleep_for(100ms);  // what was made is synced
        Forget();
        m_faults.Fail(Op::Sync, Any(), EIO).Times(1);
        ASSERT_TRUE(Write("cam_2_0", Hour(4, 8), "video"));
        EXPECT_TRUE(Await([] { return !Messages().empty(); }));
        EXPECT_THAT(Said(), testing::Contains("6 cam_2_0 5 132 user"));
        // The disk counts as full until it takes files again, which the next check finds out.
        m_faults.Fail(Op::Write, Ends(".write-trial"), EIO);
        EXPECT_FALSE(Open("cam_3_0", Hour(4, 8)));
        EXPECT_EQ(LastError(), STORAGE_ERROR_DISK_FULL);
        m_faults.ClearRules();
        EXPECT_TRUE(Open("cam_3_0", Hour(4, 8)));
    }
}

TEST_F(Sync, AFileForWhichThereWasNoSecondHandleIsSyncedAllTheSame) {
    m_faults.Fail(Op::CanSync, Any(), EOPNOTSUPP);
    StartSyncing(10);
    m_faults.Fail(Op::Duplicate, Any(), EMFILE);
    const auto syncs = m_faults.Watch(Op::Sync, Ends(".mp4"));
    ASSERT_TRUE(Open("cam_1_0", Hour(4, 8)));
    EXPECT_TRUE(Await([&] { return syncs.Seen() > 0; }));
    m_pEngine->Release();
    EXPECT_THAT(Told(MESSAGEVALUE_WRITEFAIL), IsEmpty());
}

TEST_F(Sync, ReservedSpaceIsSeenByNobodyAndGivenBack) {
    constexpr std::int64_t MIB = 1 << 20;
    const recFileInfo stFile = Hour(4, 8);
    StartSyncing(10);
    const auto reservations = m_faults.Watch(Op::Reserve, Any());
    ASSERT_TRUE(Open("cam_1_0", stFile));
    const std::string strPath = RecordFiles().front();
    for (int n = 0; n < 3; ++n) ASSERT_TRUE(Write("cam_1_0", stFile, std::string(12 * MIB, 'v')));
    EXPECT_EQ(reservations.Seen(), 2u);
    EXPECT_EQ(fs::file_size(strPath), 36u * MIB);
    ASSERT_TRUE(Close("cam_1_0", stFile));
    EXPECT_TRUE(Await([&] { return Allocated(strPath) <= 36 * MIB + MIB / 2; }));
    EXPECT_EQ(fs::file_size(strPath), 36u * MIB);
}

// As on ext4: what there was of room is taken all the same.
TEST_F(Sync, AReservationThatFailsTakesNothing) {
    constexpr std::int64_t MIB = 1 << 20;
    StartSyncing(NEVER);
    const auto takePart = [&] {
        const int nFile = ::open(RecordFiles().front().c_str(), O_WRONLY);
        EXPECT_EQ(::fallocate(nFile, FALLOC_FL_KEEP_SIZE, 0, 8 * MIB), 0);
        ::close(nFile);
    };
    m_faults.Before(Op::Reserve, Ends(".mp4"), takePart);
    m_faults.Fail(Op::Reserve, Ends(".mp4"), ENOSPC);
    ASSERT_TRUE(Open("cam_1_0", Hour(4, 8)));
    EXPECT_LT(Allocated(RecordFiles().front()), MIB);
}

// A size that is noted before the content would leave zeros behind a power cut; and one that is
// given back late must not cut a file that is written to again.
TEST_F(Sync, ReservedSpaceIsGivenBackBehindTheSyncOfTheLastWhoWrote) {
    recFileInfo stFile = Hour(4, 8);
    bool bSynced = false;
    int nCuts = 0;
    StartSyncing(NEVER);
    m_faults.Before(Op::Sync, Below(m_dir / "1/RecordFile/20240304"), [&] { bSynced = true; });
    m_faults.Before(Op::Truncate, Ends(".mp4"), [&] {
        EXPECT_TRUE(bSynced);
        ++nCuts;
    });
    for (const bool bAgain : {false, true}) {
        stFile.bOpenFlag = bAgain;
        ASSERT_TRUE(Open("cam_1_0", stFile) && Write("cam_1_0", stFile, "video"));
        ASSERT_TRUE(Close("cam_1_0", stFile));
    }
    EXPECT_EQ(nCuts, 0);
    const std::string strPath = RecordFiles().front();
    m_pEngine->Release();
    EXPECT_EQ(nCuts, 1);
    EXPECT_EQ(GetFile(strPath), "videovideo");
}

// All cameras of a large site go over to the next hour at once.
TEST_F(Sync, FewHandlesOfClosedFilesAreKept) {
    const auto handles = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    StartSyncing(NEVER);
    const auto nBefore = handles();
    for (int n = 0; n < 100; ++n) Record("cam_" + std::to_string(n) + "_0", Hour(4, 8));
    EXPECT_LT(handles(), nBefore + 70);
}

// Also where the clock began hours ahead, in local time, say, and was set back.
TEST_F(Sync, TheNextStartGivesBackWhatACrashLeftReserved) {
    constexpr std::int64_t HOURS = 8 * 3600;
    m_faults.SetTime(std::time(nullptr) + HOURS);
    Start();
    m_faults.StepClock(-HOURS * SECOND);
    Record("cam_1_0", Hour(4, 8));
    const std::string strPath = RecordFiles().front(), strNote = Disk() + ".localstorage";
    const std::string strInUse = GetFile(strNote);
    m_pEngine->Release();
    const std::string strEnded = GetFile(strNote);
    EXPECT_THAT(strInUse, StartsWith(strEnded));
    for (const bool bCrashed : {false, true}) {
        const int nFile = ::open(strPath.c_str(), O_WRONLY);
        ASSERT_EQ(::fallocate(nFile, FALLOC_FL_KEEP_SIZE, 0, 4 << 20), 0);
        ::close(nFile);
        PutFile(strNote, bCrashed ? strInUse : strEnded);
        Start();
        EXPECT_EQ(Allocated(strPath) < 1 << 20, bCrashed);
        m_pEngine->Release();
        EXPECT_EQ(GetFile(strNote), strEnded) << "the identity is made once";
    }
}

TEST_F(Sync, PrivateModesAreOfWhatIsMade) {
    for (const int nPrivate : {1, 0}) {
        Reset();
        ASSERT_EQ(SetStorageOption(STORAGE_OPTION_PRIVATE_MODES, nPrivate), 1);
        const auto mode = [](const auto& p) { return fs::status(p).permissions(); };
        AddDisk("1");
        fs::permissions(Disk(), fs::perms(0705));
        Start();
        Record("cam_1_0", Hour(1, 8));
        EXPECT_EQ(mode(Disk()), fs::perms(0705)) << "it was there";
        const fs::path path = RecordFiles().back();
        EXPECT_EQ(mode(path), fs::perms(nPrivate ? 0640 : 0777));
        EXPECT_EQ(mode(path.parent_path()), fs::perms(nPrivate ? 0750 : 0777));
    }
}
