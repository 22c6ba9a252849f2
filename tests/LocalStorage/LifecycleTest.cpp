// Factory, start and stop.

#include <cerrno>

#include "LocalStorage/EngineTest.h"
#include "Support/AllocationFault.h"

using testing::ElementsAre;

TEST(Factory, RefusesNullAndLeavesTheCallersPointer) {
    ClearTrace();
    EXPECT_EQ(NewLocalStorageClass(nullptr), 0);
    EXPECT_EQ(DelLocalStorageClass(nullptr), 0);
    CLocalStorageInterface* pEngine = nullptr;
    EXPECT_EQ(DelLocalStorageClass(&pEngine), 0);
    EXPECT_EQ(NewLocalStorageClass(&pEngine), 1);
    CLocalStorageInterface* const pBefore = pEngine;
    EXPECT_EQ(DelLocalStorageClass(&pEngine), 1);
    EXPECT_EQ(pEngine, pBefore);
    EXPECT_EQ(TakeTrace("$").back(), "-> log stopped");
}

TEST(Factory, WithoutMemoryThereIsNoEngine) {
    KeepLines(false);  // which takes memory of its own
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

TEST_F(Lifecycle, ChecksTheBounds) {
    const struct {
        unsigned nChannels, nFileSize, nStreamType;
        bool bAnalyze, bOk;
    } CASES[] = {
        {64, 2048, 0, true, true},  {0, 0, 1, false, true},   {65, 256, 0, false, false},
        {1, 2049, 0, false, false}, {1, 256, 1, true, false},
    };
    AddDisk();
    for (const auto& stCase : CASES) {
        m_stInfo.nMaxChannels = stCase.nChannels;
        m_stInfo.nFileSize = stCase.nFileSize;
        m_stInfo.enumStreamType = static_cast<StreamType>(stCase.nStreamType);
        m_stInfo.bAnalyze = stCase.bAnalyze;
        EXPECT_EQ(m_pEngine->Initialize(m_stInfo), stCase.bOk) << stCase.nChannels;
        EXPECT_EQ(m_pEngine->GetLastError(), stCase.bOk ? 0 : -20);
        m_pEngine->Release();
    }
    Stop();
    EXPECT_FALSE(m_pEngine->Initialize(m_stInfo));  // no directory at all
    AddDisk();
    m_stInfo.lsRecDir.push_back(pathNode());  // an empty path would be the machine's root
    EXPECT_FALSE(m_pEngine->Initialize(m_stInfo));
    EXPECT_EQ(m_pEngine->GetLastError(), -20);
}

TEST_F(Lifecycle, StartsOnceAndStopsOnceQuietly) {
    AddDisk();
    EXPECT_TRUE(m_pEngine->Initialize(m_stInfo));
    EXPECT_TRUE(m_pEngine->Initialize(m_stInfo));
    CLocalStorage other;
    EXPECT_FALSE(other.Initialize(m_stInfo));  // one engine per directory
    EXPECT_EQ(other.GetLastError(), -2);

    ASSERT_TRUE(Open("cam01", Hour(5, 8)));
    ASSERT_TRUE(Write("cam01", Hour(5, 8), "abc"));
    Said();
    EXPECT_TRUE(m_pEngine->Release());
    EXPECT_FALSE(m_pEngine->Release());
    EXPECT_THAT(Said(), ElementsAre("[wtb][CLocalStorage::Release] close all opened channel",
                                    "[wtb][CLocalStorage::Release] close disk check thread",
                                    "[wtb][CLocalStorage::Release] success",
                                    "[wtb][CLocalStorage::Release] not initialized"));
    EXPECT_TRUE(m_pEngine->Initialize(m_stInfo));
    EXPECT_FALSE(Write("cam01", Hour(5, 8), "abc"));  // its channel is gone, its file is not
    EXPECT_EQ(GetFile(RecordFiles().at(0)), "abc");
}

TEST_F(Lifecycle, FullDisksAreNoError) {
    SetRoom(FULL);
    for (const bool bCycWrite : {true, false}) {
        m_stInfo.bCycWrite = bCycWrite;
        m_stInfo.bAutoDelete = false;
        AddDisk("1");
        AddDisk("2");
        EXPECT_TRUE(m_pEngine->Initialize(m_stInfo));
        // The first directory is current all the same.
        EXPECT_FALSE(Open("cam01", Hour(5, 8)));
        EXPECT_THAT(Said().back(), testing::HasSubstr("IsDiskFull, m_strCurRecDir [$/1/]"));
        Stop();
    }
}

TEST_F(Lifecycle, TellsWhyItCannotStart) {
    AddDisk();
    for (const auto& [nThread, nError] : {std::pair(2, -4), std::pair(1, -2)}) {  // 1: the index's
        m_faults.Fail(Op::ThreadCreate, Any(), EAGAIN).From(static_cast<unsigned>(nThread));
        EXPECT_FALSE(m_pEngine->Initialize(m_stInfo));
        EXPECT_EQ(m_pEngine->GetLastError(), nError);
        m_faults.ClearRules();
    }
    EXPECT_TRUE(m_pEngine->Initialize(m_stInfo));
}

TEST_F(Lifecycle, NothingWorksBeforeTheStart) {
    char szPath[LOCALSTORAGE_PATH_SIZE];
    EXPECT_FALSE(Open("cam01", Hour(5, 8)));
    EXPECT_EQ(m_pEngine->GetLastError(), -11);
    EXPECT_FALSE(Write("cam01", Hour(5, 8), "abc"));
    EXPECT_FALSE(Close("cam01", Hour(5, 8)));
    EXPECT_EQ(Find("cam01", Time(5, 0), Time(6, 0)), Trace());
    EXPECT_EQ(m_pEngine->GetDiskWriteSpeed(), 0u);
    EXPECT_FALSE(m_pEngine->WriteImage("cam01", "jpg", 3, szPath));
    EXPECT_THAT(LinesWith("not initialized"), testing::SizeIs(6));
}

TEST_F(Lifecycle, AStartTellsWhichRecordFolderItUsesWhenThatIsNotPlain) {
    using testing::Contains;
    using testing::HasSubstr;
    AddDisk();
    m_faults.SkipSleeps();
    PutFile(Disk() + "RecordFile", "no folder");
    for (const bool bFirst : {true, false}) {
        EXPECT_TRUE(m_pEngine->Initialize(m_stInfo));
        const Trace lsSaid = Said();
        EXPECT_THAT(lsSaid, Contains(HasSubstr("RecordFile cannot be read: Not a directory")));
        EXPECT_THAT(lsSaid, Contains(HasSubstr("BackupFile is used on all disks")));
        if (bFirst) Record("cam_1_0", Hour(5, 8));
        m_pEngine->Release();
    }
    std::filesystem::remove(Disk() + "RecordFile");
    std::filesystem::create_directory(m_dir / "larger");
    std::filesystem::create_directory_symlink(m_dir / "larger", Disk() + "RecordFile");
    Said();
    EXPECT_TRUE(m_pEngine->Initialize(m_stInfo));
    const Trace lsSaid = Said();
    EXPECT_THAT(lsSaid, Contains(HasSubstr("the record folder is a link")));
    EXPECT_THAT(lsSaid, Contains(HasSubstr("to RecordFile [1], BackupFile is gone")));
    EXPECT_STREQ(g_pRecDirName, "RecordFile");
    EXPECT_EQ(Find("cam_1_0", Time(5, 0), Time(6, 0)).size(), 1u);
}
