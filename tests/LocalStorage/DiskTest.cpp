// Choice of the disk, and the disk check.

#include "LocalStorage/DiskChoice.h"
#include "LocalStorage/EngineTest.h"
#include "RecordTree/DirectoryLock.h"

TEST(DiskChoice, ALookTellsWhatADiskIsGoodFor) {
    const struct {
        diskLook stLook;
        bool bFull, bTrialDue, bHelps;  // "helps": deleting
    } cases[] = {
        {{true, 2049, 0}, false, false, true},     {{true, 2048, 0}, true, false, true},
        {{true, {}, 0}, true, false, false},       {{false, 9999, 0}, true, false, false},
        {{true, 9999, ENOSPC}, true, true, true},  {{true, 9999, EDQUOT}, true, true, true},
        {{true, 2048, ENOSPC}, true, false, true}, {{true, 2048, EDQUOT}, true, false, true},
        {{true, 9999, EROFS}, true, true, false},  {{true, 9999, EIO}, true, true, false},
        {{true, 2048, EIO}, true, true, false},    {{true, 9999, 0, true}, true, false, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(IsDiskFull(c.stLook), c.bFull) << &c - cases;
        EXPECT_EQ(IsTrialDue(c.stLook), c.bTrialDue) << &c - cases;
        EXPECT_EQ(CanDeletingHelp(c.stLook), c.bHelps) << &c - cases;
    }
}

TEST(Disks, AFailureCountsForTheDiskOfTheFileUntilALookFindsItGone) {
    std::function<void()> onLook = [] {};
    CDisks disks([&](const std::string& strRecDir) {
        const auto pCalls = std::make_shared<CDiskCalls>();
        EXPECT_TRUE(pCalls->Start());
        return std::make_unique<CDiskAsker>(pCalls, strRecDir, [&](int) {
            onLook();
            return diskLook{true, 9999, 0};
        });
    });
    disks.Assign({"/a", "/b", "/a/c"}, false);
    disks.AwaitAll();
    disks.NoteFailure("/a/c/RecordFile/x.mp4", EIO);  // of the longest directory
    disks.NoteFailure("/a/RecordFile/x.mp4", EMFILE);
    disks.NoteFailure("/d/x.mp4", EIO);
    EXPECT_FALSE(IsDiskFull(disks.CurrentLook()));
    EXPECT_TRUE(disks.IsOnCurrent("/a/RecordFile/x.mp4"));
    EXPECT_FALSE(disks.IsOnCurrent("/a/c/RecordFile/x.mp4"));
    onLook = [&] { disks.NoteFailure("/a/x.mp4", EROFS); };  // while a look is under way
    EXPECT_EQ(disks.LookAtCurrent().nFailure, EROFS);
    onLook = [] {};
    EXPECT_EQ(disks.LookAtCurrent().nFailure, 0);
}

// Whoever looks at the moment at which it takes up work again must not see how long it rested.
TEST(DiskCalls, AThreadThatHadNothingToDoWasNotSilent) {
    constexpr std::int64_t REST = 1000;  // ms
    std::vector<CDiskCalls> vDisks(16);
    for (CDiskCalls& disk : vDisks) ASSERT_TRUE(disk.Start());
    std::this_thread::sleep_for(std::chrono::milliseconds(REST));
    std::int64_t nSilence = 0;
    for (CDiskCalls& disk : vDisks) {
        std::atomic<bool> bDone = false;
        const auto done = disk.Post(DiskLane::Use, [&] { bDone = true; });
        while (!bDone) nSilence = std::max(nSilence, disk.Silence());
        done.wait();
    }
    EXPECT_LT(nSilence, REST);
}

class DiskCheck : public CEngineTest {
protected:
    /// The disk that a new recording lies on.
    std::string DiskOfNext() {
        const recFileInfo stFile = Recording(Time(5, 8, 0, ++m_nRecording), Time(5, 9));
        if (!Record("cam01", stFile)) return "none";
        return Told(MESSAGEVALUE_CLOSEFILE).back().substr(m_dir.Path().size() + 1, 1);
    }

    int m_nRecording = 0;
};

// Also when the next lacks its directory, or has no answer at first: neither costs a day.
TEST_F(DiskCheck, MovesToTheNextAndComesBack) {
    StartOnTwo();
    SetRoom(FULL + 1, "1");
    EXPECT_EQ(DiskOfNext(), "1");
    fs::remove_all(Disk("2"));
    SetRoom(FULL, "1");
    ForgetMessages();
    CheckDisk();
    EXPECT_THAT(Said(), ElementsAre("2  $/2/ 10000 272 -"));
    SetRoom(ROOM, "1");
    EXPECT_EQ(DiskOfNext(), "2") << "stays while there is room";
    SetRoom(FULL, "2");
    EXPECT_EQ(DiskOfNext(), "1");
    SetRoom(FULL, "1");
    SetRoom(ROOM, "2");
    m_faults.Fail(Op::StatVfs, Below(m_dir / "2"), EIO).Times(1);
    EXPECT_EQ(DiskOfNext(), "2") << "asked twice";
    EXPECT_THAT(Deleted(), IsEmpty());
}

TEST_F(DiskCheck, AStartOnFullDisksIsNoErrorAndARefusalTellsTheHost) {
    m_stInfo.bAutoDelete = false;
    PutFile(Disk("1") + "RecordFile/20240301/cam01/20240301_080000.mp4");
    SetRoom(FULL);
    StartOnTwo(LOCAL_STORAGE_CLIENT);
    EXPECT_FALSE(Open("cam01", Hour(5, 8)));
    EXPECT_EQ(LastError(), STORAGE_ERROR_DISK_FULL);
    EXPECT_FALSE(Picture("cam01", "jpg"));
    EXPECT_THAT(Said(), ElementsAre("1   0 user", "1   0 -"));
    EXPECT_EQ(LinesWith("IsDiskFull, m_strCurRecDir [" + Disk("1") + "]"), 2u);
    EXPECT_THAT(RecordFiles(), SizeIs(1));
}

TEST_F(DiskCheck, ADiskThatHangsIsNotWaitedForUnlessRecordedOnAndThenCountsAsFull) {
    StartOnTwo(LOCAL_STORAGE_CLIENT);
    ASSERT_TRUE(Open("open", Hour(5, 8)));
    std::promise<void> oneGoesOn, otherGoesOn;
    m_faults.Before(Op::StatVfs, Below(m_dir / "2"), [&] { otherGoesOn.get_future().wait(); })
        .Times(1);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(DiskOfNext(), "1");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 900ms);
    otherGoesOn.set_value();

    const auto hang = [&, gone = oneGoesOn.get_future().share()] {
        while (gone.wait_for(10ms) != std::future_status::ready) {
            m_faults.AdvanceTime(100);
        }
    };
    m_faults.Before(Op::StatVfs, Below(m_dir / "1"), hang);
    EXPECT_EQ(DiskOfNext(), "2");
    EXPECT_TRUE(Write("open", Hour(5, 8), "on the other"));
    EXPECT_THAT(RecordFiles().back(), HasSubstr("/2/RecordFile/20240305/open/"));
    EXPECT_THAT(Deleted(), IsEmpty());
    oneGoesOn.set_value();
    SetRoom(FULL, "2");
    EXPECT_TRUE(Await([this] { return DiskOfNext() == "1"; }));
}

// As a disk that is taken over while much of it is to be read.
TEST_F(DiskCheck, ASwitchWaitsForNoLongJobOfItsDisk) {
    m_stInfo.nFileSize = 0;
    Start(LOCAL_STORAGE_CLIENT);
    ASSERT_TRUE(Open("open", Hour(5, 8)));
    std::promise<void> works;
    const auto work = [&] {
        works.set_value();
        for (int n = 0; n < 50; ++n) {
            std::this_thread::sleep_for(10ms);
            OSL_WatchedThread::EndSilence();
        }
    };
    m_faults.Before(Op::StatVfs, Any(), work).Times(1);
    std::thread check([this] { CheckDisk(); });
    works.get_future().wait();
    m_faults.AdvanceTime(SECOND);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(Write("open", Hour(5, 8), "video"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 300ms);
    check.join();
}

TEST_F(DiskCheck, AnOpeningThatIsGivenUpRemovesWhatItMadeAndNothingElse) {
    const std::string strRecDir = m_dir / "1";
    const recordPath stPath =
        CChannelFolder({strRecDir, "RecordFile", "20240305", {}}, "cam01").File("x.mp4");
    CIndexMgr mgr;
    ASSERT_EQ(mgr.Initialize({strRecDir}), 0);
    for (const unsigned nFlags : {OSL_OPEN_UNIQUE, OSL_OPEN_NEW, OSL_OPEN_CONTINUE}) {
        for (const bool bThere : {false, true}) {
            if (bThere) PutFile(stPath.strPath, "kept");
            std::promise<void> hangs, goesOn;
            const auto hang = [&] {
                hangs.set_value();
                goesOn.get_future().wait();
            };
            m_faults.Before(Op::Open, Is(stPath.strPath), hang).Times(1);
            {
                const CFileOpening opening({mgr.Disk(strRecDir), nullptr, stPath, nFlags});
                hangs.get_future().wait();
            }
            goesOn.set_value();
            mgr.Disk(strRecDir)->Calls().Run(DiskLane::Use, [] { return true; });
            EXPECT_EQ(Exists(stPath.strPath), bThere) << nFlags;
            EXPECT_EQ(GetFile(stPath.strPath), bThere ? "kept" : "") << nFlags;
            m_faults.ClearRules();
            fs::remove(stPath.strPath);
        }
    }
    mgr.Release();
}

TEST_F(DiskCheck, AnotherNameOfADirectoryIsNoOtherDisk) {
    fs::create_directory(m_dir / "1");
    fs::create_directory_symlink(m_dir / "1", m_dir / "2");
    StartOnTwo();
    m_faults.Fail(Op::Open, Below(m_dir / "1"), ENOSPC);
    EXPECT_EQ(DiskOfNext(), "none");
    EXPECT_EQ(DiskOfNext(), "none");
}

TEST_F(DiskCheck, APassTakesNothingFromADiskThatDeletingCannotHelp) {
    constexpr int PULLED = 0;
    for (const int nError : {EIO, EROFS, PULLED}) {
        Reset();
        m_faults.SetDevice(m_dir / "1", 4711);
        StartOnTwo();
        Record("cam01", Hour(1, 8));
        const Texts vBefore = Find("cam01", Time(1, 0), Time(2, 0));
        if (nError == PULLED) {
            fs::rename(m_dir / "1", m_dir / "pulled");
            fs::create_directory(m_dir / "1");
            m_faults.ClearDevices();
        }
        m_faults.Fail(Op::Open, Below(m_dir / "1"), nError);
        if (nError == EROFS) m_faults.Fail(Op::MakeDir, Below(m_dir / "1"), nError);
        EXPECT_EQ(DiskOfNext(), nError == PULLED ? "2" : "none");
        Record("cam01", Hour(2, 8));
        Record("cam01", Hour(3, 8));
        SetRoom(FULL, "2");
        CheckDisk();
        EXPECT_THAT(Deleted(), ElementsAre(HasSubstr("/2/RecordFile/20240302/")));
        EXPECT_THAT(vBefore, SizeIs(1));
        EXPECT_EQ(Find("cam01", Time(1, 0), Time(2, 0)), vBefore);
        m_faults.ClearRules();
        if (nError == PULLED) {
            EXPECT_TRUE(fs::is_empty(m_dir / "1")) << "nothing is made below it";
            fs::remove(m_dir / "1");
            fs::rename(m_dir / "pulled", m_dir / "1");
            m_faults.SetDevice(m_dir / "1", 4711);
        }
        EXPECT_EQ(DiskOfNext(), "1");
    }
}

TEST_F(DiskCheck, WhereADiskIsRequiredNothingIsRecordedBelowIt) {
    for (const auto eType : {LOCAL_STORAGE_REMOTE_BACKUP, LOCAL_STORAGE_CLIENT}) {
        Reset();
        SetStorageOption(STORAGE_OPTION_REQUIRE_MOUNT, 1);
        AddDisk("1");
        PutFile(Disk("1") + "RecordFile/20240301/cam01/20240301_080000.mp4");
        AddRecordDir(m_stInfo, Disk("2") + "records/");
        m_stInfo.bAutoDelete = m_stInfo.bCycWrite = true;
        m_faults.SetDevice("/", 7);
        Start(eType);
        EXPECT_FALSE(Open("cam01", Hour(5, 8)));
        EXPECT_EQ(LastError(), STORAGE_ERROR_DISK_FULL);
        EXPECT_FALSE(Exists(Disk("2"))) << "not made either";
        EXPECT_THAT(RecordFiles(), SizeIs(1)) << "what lies below is left alone";
        fs::create_directory(m_dir / "2");
        m_faults.SetDevice(m_dir / "2", 4711);
        CheckDisk();
        EXPECT_TRUE(Open("cam01", Hour(5, 8)) && Write("cam01", Hour(5, 8), "video"));
        EXPECT_THAT(Told(MESSAGEVALUE_CREATEFILE).back(), HasSubstr("/2/records/RecordFile/"));
        m_pEngine->Release();
    }
    SetStorageOption(STORAGE_OPTION_REQUIRE_MOUNT, 0);
}

TEST_F(DiskCheck, ADiskThatIsMountedOverAnEmptyDirectoryIsTakenOver) {
    const auto eBackup = LOCAL_STORAGE_REMOTE_BACKUP, eClient = LOCAL_STORAGE_CLIENT;
    const struct {
        LocalStorageType eType;
        std::string strName;  // where the disk is mounted; "1" is current
        bool bCycle, bDirty, bEmpty;
    } cases[] = {{eBackup, "1", true, false, true},  {eBackup, "1", false, true, true},
                 {eBackup, "2", true, false, true},  {eBackup, "2", false, false, true},
                 {eBackup, "1", true, false, false}, {eClient, "1", true, false, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        Reset();
        const std::string strDir = m_dir / c.strName, strDisk = m_dir / "disk";
        StartOnTwo(c.eType);
        Record("cam01", Hour(1, 8));
        m_pEngine->Release();
        fs::rename(m_dir / "1", strDisk);
        AddDisk("1");
        if (c.bDirty) PutFile(strDisk + "/RecordFile/index.dirty");
        if (!c.bEmpty) PutFile(Disk("1") + "RecordFile/x");
        m_stInfo.bCycWrite = c.bCycle;
        Start(c.eType);
        EXPECT_EQ(DiskOfNext(), "1");
        ASSERT_TRUE(Open("open", Hour(2, 8)));
        const auto await = [&](auto isSo) {  // a failed write makes the engine check
            m_faults.Fail(Op::Write, Ends(".mp4"), EFBIG).Times(1);
            EXPECT_FALSE(Write("open", Hour(2, 8), "lost"));
            EXPECT_TRUE(Await(isSo));
            EXPECT_TRUE(Write("open", Hour(2, 8), "below"));
        };
        CDirectoryLock lock;
        ASSERT_EQ(lock.Take(strDisk), 0);
        fs::rename(strDir, m_dir / "below");
        fs::rename(strDisk, strDir);
        m_faults.SetDevice(strDir, 4711);
        if (!c.bEmpty) {
            EXPECT_EQ(DiskOfNext(), "2");
            EXPECT_EQ(LinesWith("mounted"), 0u) << "a stranger";
            continue;
        }
        await([] { return LinesWith("another engine uses the directory") == 1; });
        EXPECT_EQ(LinesWith("is taken over"), 0u);
        const auto flushes = m_faults.Watch(Op::Write, Ends(".bin"));
        lock.Release();
        await(
            [&] { return GetFile(strDir + "/.localstorage").find("in use") != std::string::npos; });
        EXPECT_EQ(LinesWith("is taken over"), 1u);
        EXPECT_EQ(LinesWith("stays below the mount point, strPath [" + strDir +
                            "/RecordFile/20240305/cam01], files [1]"),
                  c.strName == "1" ? 1u : 0u);
        SetRoom(FULL, "2");
        EXPECT_EQ(DiskOfNext(), "1");
        const auto vFound = Find("cam01", Time(1, 0), Time(31, 0));
        EXPECT_EQ(vFound.size(), c.eType == eClient ? 0u : c.strName == "1" ? 2u : 3u);
        for (const std::string& strPath : vFound) EXPECT_TRUE(Exists(strPath)) << strPath;
        EXPECT_EQ(flushes.Seen() > 0, c.bDirty) << "by the index of what lies below";
    }
}

TEST_F(DiskCheck, ATakeOverBringsBackWhatWasSetAsideAndRefusesAnIndexThatCannotBeRead) {
    const std::string strFile = "/20240302/cam01/20240302080000_20240302090000_1.mp4";
    const std::string strOld = "/20240301/cam01/20240301080000_20240301090000_1.mp4";
    for (const int nError : {0, EMFILE, EIO}) {
        SCOPED_TRACE(nError);
        Reset();
        PutFile(m_dir / "disk/RecordFile" + strFile);
        PutFile(m_dir / "disk/RecordFile/index.dirty");
        PutFile(m_dir / "disk/BackupFile" + strOld);
        StartOnTwo();
        fs::rename(m_dir / "2", m_dir / "below");
        fs::rename(m_dir / "disk", m_dir / "2");
        m_faults.SetDevice(m_dir / "2", 4711);
        if (nError != 0) {
            m_faults.Fail(Op::ReadDir, Ends("2/RecordFile"), nError)
                .Times(nError == EMFILE ? 1 : 1000);
        }
        if (nError != EIO) {
            EXPECT_TRUE(Await([&] {
                CheckDisk();
                return !Exists(Disk("2") + "BackupFile");
            }));
            EXPECT_TRUE(Exists(Disk("2") + "RecordFile" + strOld));
            EXPECT_THAT(Find("cam01", Time(1, 0), Time(31, 0)), SizeIs(2));
        } else {
            EXPECT_TRUE(Await([&] {
                CheckDisk();
                return LinesWith("until the next start") == 1;
            }));
            EXPECT_TRUE(Exists(Disk("2") + "BackupFile" + strOld)) << "and nothing is touched";
        }
        EXPECT_EQ(LinesWith("until there are handles"), nError == EMFILE ? 1u : 0u);
        SetRoom(FULL, "1");
        EXPECT_EQ(DiskOfNext(), nError == EIO ? "none" : "2");
    }
}
