// Factory, start and stop, and what every operation refuses.

#include "LocalStorage/EngineTest.h"
#include "Support/AllocationFault.h"

TEST(Factory, RefusesNullAndLeavesTheCallersPointer) {
    ForgetLines();
    EXPECT_EQ(NewLocalStorageClass(nullptr), 0);
    EXPECT_EQ(DelLocalStorageClass(nullptr), 0);
    CLocalStorageInterface* pEngine = nullptr;
    EXPECT_EQ(DelLocalStorageClass(&pEngine), 0);
    EXPECT_EQ(NewLocalStorageClass(&pEngine), 1);
    CLocalStorageInterface* const pBefore = pEngine;
    EXPECT_EQ(DelLocalStorageClass(&pEngine), 1);
    EXPECT_EQ(pEngine, pBefore);
    EXPECT_EQ(LinesWith("log stopped"), 2u);
}

TEST(Factory, WithoutMemoryThereIsNoEngine) {
    int nRefused = 0;
    for (bool bMade = false; !bMade; nRefused += !bMade) {
        CLocalStorageInterface* pEngine = nullptr;
        bool bFailed = false;
        {
            CAllocationFault fault(nRefused + 1, bFailed);
            bMade = NewLocalStorageClass(&pEngine) == 1;
        }
        ASSERT_NE(bMade, bFailed) << "allocation " << nRefused + 1;
        EXPECT_EQ(bMade, pEngine != nullptr);
        if (bMade) DelLocalStorageClass(&pEngine);
    }
    EXPECT_GE(nRefused, 4);  // the engine, its event, its two lists
}

class Lifecycle : public CEngineTest {};

TEST_F(Lifecycle, SettingsHaveBounds) {
    const struct {
        unsigned nChannels, nFileSize, nStreamType;
        bool bAnalyze, bOk;
    } cases[] = {
        {64, 2048, 0, true, true},  {0, 0, 1, false, true},   {65, 256, 0, false, false},
        {1, 2049, 0, false, false}, {1, 256, 1, true, false},
    };
    AddDisk("1");
    for (const auto& c : cases) {
        m_stInfo.nMaxChannels = c.nChannels;
        m_stInfo.nFileSize = c.nFileSize;
        m_stInfo.enumStreamType = static_cast<StreamType>(c.nStreamType);
        m_stInfo.bAnalyze = c.bAnalyze;
        EXPECT_EQ(m_pEngine->Initialize(m_stInfo), c.bOk) << c.nChannels;
        EXPECT_EQ(LastError(), c.bOk ? 0 : STORAGE_ERROR_PARAM);
        m_pEngine->Release();
    }
    Reset();
    EXPECT_FALSE(m_pEngine->Initialize(m_stInfo)) << "no directory at all";
    AddDisk("1");
    AddRecordDir(m_stInfo, "");
    EXPECT_FALSE(m_pEngine->Initialize(m_stInfo)) << "the machine's root";

    EXPECT_EQ(SetStorageOption(0, 1), 0);
    EXPECT_EQ(SetStorageOption(STORAGE_OPTION_SYNC_INTERVAL, -1), 0);
    EXPECT_EQ(SetStorageOption(STORAGE_OPTION_FULL_SPACE, 63), 0);
    ASSERT_EQ(SetStorageOption(STORAGE_OPTION_FULL_SPACE, 64), 1);
    Reset();
    Start();
    SetRoom(65);
    EXPECT_TRUE(Open("cam01", Hour(4, 8)));
    SetRoom(64);
    EXPECT_FALSE(Open("cam01", Hour(4, 9)));
    EXPECT_EQ(SetStorageOption(STORAGE_OPTION_FULL_SPACE, LOCALSTORAGE_DISK_FULL_SPACE), 1);
}

TEST_F(Lifecycle, StartsOnceAndStopsOnceQuietly) {
    Start();
    EXPECT_TRUE(m_pEngine->Initialize(m_stInfo));
    CLocalStorage other;
    EXPECT_FALSE(other.Initialize(m_stInfo)) << "one engine per directory";
    EXPECT_EQ(other.GetLastError(), STORAGE_ERROR_INDEX);

    ASSERT_TRUE(Open("cam01", Hour(5, 8)));
    ASSERT_TRUE(Write("cam01", Hour(5, 8), "abc"));
    ForgetMessages();
    EXPECT_TRUE(m_pEngine->Release());
    EXPECT_FALSE(m_pEngine->Release());
    EXPECT_THAT(Said(), ElementsAre());
    Start();
    EXPECT_FALSE(Write("cam01", Hour(5, 8), "abc")) << "its channel is gone, its file is not";
    EXPECT_EQ(GetFile(RecordFiles().at(0)), "abc");
}

TEST_F(Lifecycle, TellsWhyItCannotStart) {
    AddDisk("1");
    // The disk's two, the index's, that of the disk check.
    for (const auto& [nThread, nError] : {std::pair(4u, STORAGE_ERROR_THREAD),
                                          {3u, STORAGE_ERROR_INDEX},
                                          {1u, STORAGE_ERROR_INDEX}}) {
        m_faults.Fail(Op::ThreadCreate, Any(), EAGAIN).From(nThread);
        EXPECT_FALSE(m_pEngine->Initialize(m_stInfo));
        EXPECT_EQ(LastError(), nError);
        m_faults.ClearRules();
    }
    EXPECT_TRUE(m_pEngine->Initialize(m_stInfo));
}

TEST_F(Lifecycle, EveryOperationRefusesWhatItCannotDo) {
    constexpr int KEPT = 0;  // only openings tell a code
    char szCamera[] = "cam01", szPath[LOCALSTORAGE_PATH_SIZE];
    recFileInfo stFile = Hour(5, 8);
    recQueryParam stQuery;
    const auto open = [&](const tagBlockTime& stStart, const tagBlockTime& stEnd) {
        return Open(szCamera, Recording(stStart, stEnd));
    };
    const struct {
        int nError;
        std::function<bool()> call;
    } refused[] = {
        {STORAGE_ERROR_PARAM,
         [&] { return m_pEngine->OpenChannelRecord(nullptr, nullptr, stFile); }},
        {STORAGE_ERROR_PARAM, [&] { return open(Time(5, 8), Time(5, 7)); }},
        {STORAGE_ERROR_PARAM, [&] { return open(Time(5, 8), BlockTime(10000, 1, 1)); }},
        {STORAGE_ERROR_PARAM, [&] { return open(Time(5, 8, 0, 100), Time(5, 9)); }},
        {KEPT, [&] { return m_pEngine->CloseChannelRecord(nullptr, stFile); }},
        {KEPT, [&] { return Close(szCamera, stFile); }},
        {KEPT, [&] { return m_pEngine->WriteData(szCamera, 0, nullptr, 0, stFile); }},
        {KEPT, [&] { return m_pEngine->WriteData(nullptr, 0, szCamera, 1, stFile); }},
        {KEPT, [&] { return Write(szCamera, stFile, "data"); }},
        {KEPT, [&] { return m_pEngine->QueryRecFile(stQuery, nullptr); }},
        {KEPT, [&] { return !Find(szCamera, Time(6, 0), Time(5, 0)).empty(); }},
        {KEPT, [&] { return m_pEngine->WriteImage(nullptr, "", 0, szPath); }},
        {KEPT, [&] { return m_pEngine->WriteImage(szCamera, nullptr, 0, szPath); }},
        {KEPT, [&] { return m_pEngine->WriteImage(szCamera, "", 0, nullptr); }},
        {KEPT, [&] { return Picture("..", "jpg"); }},
    };
    const std::function<bool()> works[] = {
        [&] { return open(Time(5, 8), Time(5, 8)); },
        [&] { return Record(szCamera, stFile); },
        [&] { return Find(szCamera, Time(5, 0), Time(6, 0)).size() == 2; },
        [&] { return Picture(szCamera, "jpg"); },
    };
    for (const auto& work : works) EXPECT_FALSE(work()) << "not started, " << &work - works;
    EXPECT_FALSE(Write(szCamera, stFile, "data") || Close(szCamera, stFile));
    EXPECT_EQ(LastError(), STORAGE_ERROR_NOT_INIT);
    EXPECT_EQ(m_pEngine->GetDiskWriteSpeed(), 0u);
    Start();
    for (const auto& c : refused) {
        EXPECT_FALSE(c.call()) << &c - refused;
        EXPECT_TRUE(c.nError == KEPT || LastError() == c.nError) << &c - refused;
    }
    EXPECT_THAT(RecordFiles(), IsEmpty());
    EXPECT_FALSE(Exists(Disk() + "ImageFile"));
    for (const auto& work : works) EXPECT_TRUE(work()) << &work - works;
}

TEST_F(Lifecycle, AStartTellsWhichRecordFolderItUsesWhenThatIsNotPlain) {
    m_faults.SkipSleeps();
    PutFile(Disk() + "RecordFile", "no folder");
    AddDisk("1");
    for (const bool bFirst : {true, false}) {
        ForgetLines();
        EXPECT_TRUE(m_pEngine->Initialize(m_stInfo));
        EXPECT_GT(LinesWith("RecordFile cannot be read: Not a directory"), 0u);
        EXPECT_EQ(LinesWith("BackupFile is used on all disks"), 1u);
        if (bFirst) Record("cam_1_0", Hour(5, 8));
        m_pEngine->Release();
    }
    fs::remove(Disk() + "RecordFile");
    fs::create_directory(m_dir / "larger");
    fs::create_directory_symlink(m_dir / "larger", Disk() + "RecordFile");
    EXPECT_TRUE(m_pEngine->Initialize(m_stInfo));
    EXPECT_EQ(LinesWith("the record folder is a link"), 1u);
    EXPECT_EQ(LinesWith("to RecordFile [1], BackupFile is gone"), 1u);
    EXPECT_THAT(Recordings("cam_1_0"), SizeIs(1));
}
