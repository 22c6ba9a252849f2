#include <gtest/gtest.h>

#include "IndexMgr/Records.h"
#include "Support/FaultInjection.h"

namespace fs = std::filesystem;

class Index : public CRecordDirTest {};

TEST_F(Index, LivesOnceAndSurvivesARestart) {
    Change(m_index, "cam_1_0", FILE_1, CIndex::INDEX_TYPE_ADD);
    EXPECT_EQ(TakeLog().back(), "[wtb][CIndex::WriteIndex] not initialized, m_strPrevRecPath []");
    EXPECT_EQ(FindAll(m_index, Channel("cam_1_0")), Paths());
    EXPECT_EQ(TakeLog().back(), "[wtb][CIndex::QueryRecFile] not initialized, m_strPrevRecPath []");
    EXPECT_EQ(WriteIndexProc(nullptr), 0u);

    ASSERT_EQ(Open(), 0);
    EXPECT_EQ(m_index.Initialize("/elsewhere"), 0) << "does nothing";
    for (const char* pFile : {FILE_2, FILE_3, FILE_1}) Record("cam_1_0", pFile);
    Change(m_index, "cam_1_0", FILE_1, CIndex::INDEX_TYPE_NONE);
    EXPECT_EQ(m_index.CountFiles(), 3u);
    EXPECT_EQ(m_index.Release(), 0);
    EXPECT_EQ(m_index.CountFiles(), 0u);

    CIndex after;
    ASSERT_EQ(after.Initialize(m_dir.Path()), 0);
    EXPECT_TRUE(TakeLog().empty()) << "no repair";
    EXPECT_EQ(FindAll(after, Channel("cam_1_0")),
              (Paths{Path("cam_1_0", FILE_1), Path("cam_1_0", FILE_2), Path("cam_1_0", FILE_3)}));
    Paths lsPath;
    after.QueryRecFile(Channel("cam_1_0"), REC_FILE_TYPE_ALL, Time("20240306000000"),
                       Time("20240306235959"), lsPath);
    EXPECT_EQ(lsPath, Paths{Path("cam_1_0", FILE_3)}) << "days are filtered first";
}

TEST_F(Index, AnIndexThatBecameEmptyLeavesItsFilesAndIsRepairedIntoANewOne) {
    ASSERT_EQ(Open(), 0);
    Record("cam_1_0", FILE_1);
    m_index.WriteIndexToFile();
    const std::string strBefore = GetFile(m_strFolder + "/index01.bin");
    Delete("cam_1_0", FILE_1);
    m_index.Release();
    EXPECT_EQ(GetFile(m_strFolder + "/index01.bin"), strBefore) << "Deliberate: not written";
    ASSERT_EQ(Start(), 0);
    EXPECT_FALSE(fs::exists(m_strFolder)) << "nothing was left in it";
    EXPECT_STREQ(RecDirName(), RECORD_FOLDER);
}

TEST_F(Index, TheMarkerComesBackWithANewRecordFolder) {
    ASSERT_EQ(Open(), 0);
    Record("cam_1_0", FILE_1);
    fs::remove_all(m_strFolder);  // as the clean-up does after the last recording
    Delete("cam_1_0", FILE_1);
    Record("cam_1_0", FILE_2);
    EXPECT_TRUE(fs::exists(m_strMarker));
}

TEST_F(Index, AFlushDuringAChangeLeavesTheMarker) {
    ASSERT_EQ(Open(), 0);
    CFaultInjection faults;
    faults.Before(Op::Sync, Any(), [this] { Record("cam_1_0", FILE_2); });
    Record("cam_1_0", FILE_1);
    m_index.WriteIndexToFile();
    EXPECT_TRUE(fs::exists(m_strMarker));
    faults.ClearRules();
    m_index.BeginChange();
    Put("cam_1_0", FILE_3);
    m_index.WriteIndexToFile();
    m_index.Abandon();                                  // killed before the entry came
    faults.Fail(Op::Access, Ends("/RecordFile"), EIO);  // a folder that is there all the same
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 3u);
}

TEST_F(Index, AMarkerThatCannotBeMadeIsLoggedOnceAndStopsNothing) {
    ASSERT_EQ(Open(), 0);
    fs::create_directories(m_strFolder);
    TakeLog();
    {
        CFaultInjection faults;
        faults.Fail(Op::Open, Ends("index.dirty"), ENOSPC);
        Record("cam_1_0", FILE_1);
        Record("cam_1_0", FILE_2);
        EXPECT_EQ(TakeLog().size(), 1u);
    }
    EXPECT_EQ(m_index.CountFiles(), 2u);
    Delete("cam_1_0", FILE_1);
    EXPECT_TRUE(fs::exists(m_strMarker));
}

TEST_F(Index, AnUnreadableRecordFolderSwitchesAndLosesNothing) {
    Put("cam_1_0", FILE_1);
    PutFile(m_strFolder + "/foreign");
    const auto vBefore = Tree(m_dir.Path());
    CFaultInjection faults;
    faults.Fail(Op::ReadDir, Ends("cam_1_0"), EIO);
    EXPECT_EQ(Start(), 0);
    EXPECT_STREQ(RecDirName(), "BackupFile");
    EXPECT_EQ(Tree(m_dir.Path()), vBefore) << "a walk that breaks off deletes and writes nothing";
}

TEST_F(Index, WithoutAnyReadableFolderOrAThreadItFails) {
    for (const char* pFolder : {"RecordFile", "BackupFile"}) {
        PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_1, pFolder));
    }
    CFaultInjection faults;
    faults.Fail(Op::ReadDir, Any(), EIO);
    // The name is found to be "BackupFile" already, so reading is tried, which finds no files.
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 0u);
    PutFile(m_dir / "BackupFile/index01.bin", "damaged");
    EXPECT_EQ(Start(), 1);
    EXPECT_EQ(TakeLog().back(), "[wtb][CIndex::Initialize] ReadIndex fail, strPrevPath []");

    g_pRecDirName = RECORD_FOLDER;  // and where "BackupFile" shows only after the first repair
    faults.Fail(Op::Access, Ends("/BackupFile"), ENOENT).Times(1);
    EXPECT_EQ(Start(), 2);

    faults.ClearRules();
    faults.Fail(Op::ThreadCreate, Any(), EAGAIN);
    EXPECT_EQ(Start(), 1);
    EXPECT_EQ(TakeLog().back(), "[wtb][CIndex::Initialize] OSL_Thread_Create fail, strPrevPath []");
    EXPECT_STREQ(RecDirName(), "BackupFile") << "without index files its tree was read";
    EXPECT_TRUE(fs::exists(m_dir / "BackupFile/20240305/cam_1_0/index03.bin"));
}

TEST_F(Index, TheOldestDayIsThatOfIndexAndTree) {
    ASSERT_EQ(Open(), 0);
    for (const char* pFile : {FILE_1, FILE_2, FILE_3}) Record("cam_1_0", pFile);
    // Put there by hand: a twin by times, another channel, and a foreign file.
    Put("cam_1_0", TWIN_1);
    Put("by_hand", FILE_2);
    Put("cam_1_0", "20240305notes.txt");

    std::string strDir;
    Paths lsPath;
    EXPECT_EQ(m_index.QueryOldestRecFile(strDir, lsPath), 4);
    EXPECT_EQ(strDir, m_strFolder + "/20240305");
    EXPECT_EQ(lsPath.front(), Path("cam_1_0", FILE_1)) << "those of the index first";
    lsPath.sort();
    EXPECT_EQ(lsPath, (Paths{Path("by_hand", FILE_2), Path("cam_1_0", FILE_1),
                             Path("cam_1_0", TWIN_1), Path("cam_1_0", FILE_2)}));
    EXPECT_EQ(m_index.QueryOldestRecFile(strDir, lsPath, {m_strFolder + "/20240305"}), 1);
    EXPECT_EQ(strDir, m_strFolder + "/20240306");
}

TEST_F(Index, AFirstDayWhoseFolderIsGoneLeavesTheIndexAndTheQueryFailsThatOnce) {
    ASSERT_EQ(Open(), 0);
    for (const char* pFile : {FILE_1, FILE_3}) Record("cam_1_0", pFile);
    fs::remove_all(m_strFolder + "/20240305");
    std::string strDate;
    long lTime = 0;
    EXPECT_FALSE(m_index.GetOldestDate(strDate, lTime));
    EXPECT_EQ(m_index.CountFiles(), 1u);
    EXPECT_TRUE(m_index.GetOldestDate(strDate, lTime));
    EXPECT_EQ(strDate, "20240306");
    EXPECT_GT(lTime, 0);

    CFaultInjection faults;  // a folder that cannot be asked is not gone
    faults.Fail(Op::Stat, Ends("20240306"), EIO);
    EXPECT_FALSE(m_index.GetOldestDate(strDate, lTime));
    EXPECT_EQ(m_index.CountFiles(), 1u);
}
