// Factory, start and stop.

#include <cerrno>

#include "LocalStorage/EngineTest.h"

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
    EXPECT_THAT(TakeTrace("$"),
                ElementsAre("[wtb][NewLocalStorageClass] return false, NULL == ppLocalStorage",
                            "[wtb][DelLocalStorageClass] return false, NULL == ppLocalStorage",
                            "[wtb][DelLocalStorageClass] return false, NULL == *ppLocalStorage",
                            "-> log stopped", "[wtb][NewLocalStorageClass] return true",
                            "[wtb][CLocalStorage::Release] not initialized",
                            "[wtb][DelLocalStorageClass] return true", "-> log stopped"));
}

class Lifecycle : public CEngineTest {
protected:
    const std::string m_strTag = "[wtb][CLocalStorage::Initialize] ";
};

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
    Said();
    EXPECT_FALSE(m_pEngine->Initialize(m_stInfo));
    EXPECT_THAT(Said(), ElementsAre(m_strTag + "param error,             nMaxChannels [0], "
                                               "nFileSize [256], lsRecDir.size() [0], "
                                               "enumStreamType [0], bAnalyze [0]"));
    AddDisk();
    m_stInfo.lsRecDir.push_back(pathNode());  // an empty path would be the machine's root
    EXPECT_FALSE(m_pEngine->Initialize(m_stInfo));
    EXPECT_EQ(m_pEngine->GetLastError(), -20);
}

TEST_F(Lifecycle, StartsOnceAndStopsOnceQuietly) {
    AddDisk();
    EXPECT_TRUE(m_pEngine->Initialize(m_stInfo));
    EXPECT_TRUE(m_pEngine->Initialize(m_stInfo));
    EXPECT_THAT(Said(),
                ElementsAre(m_strTag + "first disk path [$/1/]", m_strTag + "already initialized"));
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
        EXPECT_EQ(Said().at(1), m_strTag + (bCycWrite ? "disk full, bCycWrite [1]"
                                                      : "disk full, m_strCurRecDir [$/1/], "
                                                        "bCycWrite [0]"));
        // The first directory is current all the same.
        EXPECT_FALSE(Open("cam01", Hour(5, 8)));
        EXPECT_THAT(Said().back(), testing::HasSubstr("IsDiskFull, m_strCurRecDir [$/1/]"));
        Stop();
        Said();
    }
}

TEST_F(Lifecycle, NewDirectoriesAreMadeAndUsed) {
    m_stInfo.bCycWrite = true;
    AddDisk("new/deep");
    std::filesystem::remove_all(m_dir / "new");
    Start();
    Record("cam01", Hour(5, 8));
    EXPECT_THAT(RecordFiles(), ElementsAre(m_dir / "new/deep/RecordFile/20240305/cam01/"
                                                   "20240305080000_20240305090000_1.mp4"));
}

TEST_F(Lifecycle, TellsWhyItCannotStart) {
    const struct {
        unsigned nThread;  // the one that cannot be made; the first is the index's
        int nError;
        const char* pText;
    } CASES[] = {{2, -4, "create disk check thread fail"}, {1, -2, "m_pIndexMgr->Initialize fail"}};
    AddDisk();
    for (const auto& stCase : CASES) {
        m_faults.Fail(Op::ThreadCreate, Any(), EAGAIN).From(stCase.nThread);
        EXPECT_FALSE(m_pEngine->Initialize(m_stInfo));
        EXPECT_EQ(m_pEngine->GetLastError(), stCase.nError);
        EXPECT_EQ(Said().back(), m_strTag + stCase.pText);
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
    EXPECT_TRUE(m_pEngine->DeleteImagesByDay(Time(5, 0)));
    EXPECT_THAT(
        Said(),
        ElementsAre("[wtb][CLocalStorage::OpenChannelRecord] not initialized, pCameraID [cam01]",
                    "[wtb][CLocalStorage::WriteDate] not initialized, pCameraID [cam01]",
                    "[wtb][CLocalStorage::CloseChannelRecord] not initialized, pCameraID [cam01]",
                    "[wtb][CLocalStorage::QueryRecFile] not initialized",
                    "[wtb][CLocalStorage::GetDiskWriteSpeed] not initialized",
                    "[wtb][CLocalStorage::WriteImage] not initialized, pCameraID [cam01]"));
}
