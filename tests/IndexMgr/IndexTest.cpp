#include <gtest/gtest.h>

#include "IndexMgr/Index.h"
#include "IndexMgr/LogCapture.h"
#include "IndexMgr/RecDirName.h"
#include "IndexMgr/Records.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"
#include "localstorage/LocalStorage.h"

namespace fs = std::filesystem;

namespace {

// Tests that may switch the process to "BackupFile" put the name back.
class Index : public testing::Test {
protected:
    ~Index() override { g_pRecDirName = RECORD_FOLDER; }

    void Add(CIndex& index, const std::string& strChannel, const std::string& strFile,
             CIndex::IndexType eType = CIndex::INDEX_TYPE_ADD) {
        indexLevel3Body st;
        ConvertStrRecFileToIndexLevel3Body(strFile, st);
        index.WriteIndex(Day(strFile.substr(0, 8)), Channel(strChannel), st, eType);
    }

    CTempDir m_dir;
    const std::string m_strFolder = m_dir / "RecordFile";
};

const char* const FILE_1 = "20240305080000_20240305090000_1.mp4";
const char* const FILE_2 = "20240305090000_20240305100000_1.mp4";
const char* const FILE_3 = "20240306080000_20240306090000_1.mp4";

}  // namespace

TEST_F(Index, LivesOnce) {
    CIndex index;
    Add(index, "cam_1_0", FILE_1);
    EXPECT_EQ(TakeLog().back(), "[wtb][CIndex::WriteIndex] not initialized, m_strPrevRecPath []");
    std::list<std::string> lsPath;
    EXPECT_EQ(index.QueryRecFile(Channel("cam_1_0"), REC_FILE_TYPE_ALL, {}, {}, lsPath), 0);
    EXPECT_EQ(TakeLog().back(), "[wtb][CIndex::QueryRecFile] not initialized, m_strPrevRecPath []");
    EXPECT_EQ(index.Release(), 0);

    ASSERT_EQ(index.Initialize(m_dir.Path()), 0);
    EXPECT_EQ(index.Initialize("/elsewhere"), 0) << "does nothing";
    PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_1));
    Add(index, "cam_1_0", FILE_1, CIndex::INDEX_TYPE_NONE);
    EXPECT_EQ(index.CountFiles(), 0u);
    Add(index, "cam_1_0", FILE_1);
    EXPECT_EQ(index.CountFiles(), 1u);
    EXPECT_EQ(index.Release(), 0);
    EXPECT_EQ(index.CountFiles(), 0u);
    EXPECT_EQ(WriteIndexProc(nullptr), 0u);
}

TEST_F(Index, SurvivesARestart) {
    {
        CIndex index;
        ASSERT_EQ(index.Initialize(m_dir.Path()), 0);
        for (const char* pFile : {FILE_2, FILE_3, FILE_1}) {
            PutFile(RecPath(m_dir.Path(), "cam_1_0", pFile));
            Add(index, "cam_1_0", pFile);
        }
        index.Release();
    }
    TakeLog();
    CIndex index;
    ASSERT_EQ(index.Initialize(m_dir.Path()), 0);
    EXPECT_TRUE(TakeLog().empty()) << "no repair";
    std::list<std::string> lsPath;
    EXPECT_EQ(index.QueryRecFile(Channel("cam_1_0"), REC_FILE_TYPE_ALL, Time("20240305000000"),
                                 Time("20240306235959"), lsPath),
              3);
    EXPECT_EQ(lsPath, (std::list<std::string>{RecPath(m_dir.Path(), "cam_1_0", FILE_1),
                                              RecPath(m_dir.Path(), "cam_1_0", FILE_2),
                                              RecPath(m_dir.Path(), "cam_1_0", FILE_3)}));
    lsPath.clear();
    EXPECT_EQ(index.QueryRecFile(Channel("cam_1_0"), REC_FILE_TYPE_ALL, Time("20240306000000"),
                                 Time("20240306235959"), lsPath),
              1)
        << "days are filtered first";
    index.Release();
}

TEST_F(Index, AnIndexThatBecameEmptyLeavesItsFilesAndIsRepairedIntoANewOne) {
    CIndex index;
    ASSERT_EQ(index.Initialize(m_dir.Path()), 0);
    PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_1));
    Add(index, "cam_1_0", FILE_1);
    index.WriteIndexToFile();
    const std::string strBefore = GetFile(m_strFolder + "/index01.bin");
    fs::remove(RecPath(m_dir.Path(), "cam_1_0", FILE_1));
    Add(index, "cam_1_0", FILE_1, CIndex::INDEX_TYPE_DELETE);
    index.Release();
    EXPECT_EQ(GetFile(m_strFolder + "/index01.bin"), strBefore) << "Deliberate: not written";

    CIndex again;
    ASSERT_EQ(again.Initialize(m_dir.Path()), 0);
    EXPECT_FALSE(fs::exists(m_strFolder)) << "nothing was left in it";
    EXPECT_STREQ(RecDirName(), RECORD_FOLDER);
    PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_2));
    Add(again, "cam_1_0", FILE_2);
    EXPECT_TRUE(fs::exists(m_strFolder + "/index.dirty"));
    again.Release();
    EXPECT_FALSE(fs::exists(m_strFolder + "/index.dirty"));
}

TEST_F(Index, TheMarkerComesBackWithANewRecordFolder) {
    CIndex index;
    ASSERT_EQ(index.Initialize(m_dir.Path()), 0);
    PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_1));
    Add(index, "cam_1_0", FILE_1);
    fs::remove_all(m_strFolder);  // as the clean-up does after the last recording
    Add(index, "cam_1_0", FILE_1, CIndex::INDEX_TYPE_DELETE);
    PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_2));
    Add(index, "cam_1_0", FILE_2);
    EXPECT_TRUE(fs::exists(m_strFolder + "/index.dirty"));
    index.Release();
}

TEST_F(Index, AMarkerThatCannotBeMadeIsLoggedOnceAndStopsNothing) {
    CIndex index;
    ASSERT_EQ(index.Initialize(m_dir.Path()), 0);
    PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_1));
    PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_2));
    TakeLog();
    {
        CFaultInjection faults;
        faults.Fail(Op::Open, Ends("index.dirty"), ENOSPC);
        Add(index, "cam_1_0", FILE_1);
        Add(index, "cam_1_0", FILE_2);
        EXPECT_EQ(TakeLog().size(), 1u);
    }
    EXPECT_EQ(index.CountFiles(), 2u);
    Add(index, "cam_1_0", FILE_1, CIndex::INDEX_TYPE_DELETE);
    EXPECT_TRUE(fs::exists(m_strFolder + "/index.dirty"));
    index.Release();
}

TEST_F(Index, ABackupFolderSwitchesTheProcess) {
    fs::create_directory(m_dir / "BackupFile");
    PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_1, "BackupFile"));
    CIndex index;
    ASSERT_EQ(index.Initialize(m_dir.Path()), 0);
    EXPECT_STREQ(g_pRecDirName, "BackupFile");
    EXPECT_EQ(index.CountFiles(), 1u) << "without index files the tree is read";
    index.Release();
}

TEST_F(Index, AnUnreadableRecordFolderSwitchesAndLosesNothing) {
    PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_1));
    PutFile(m_dir / "RecordFile/foreign");
    const auto vBefore = Tree(m_dir.Path());
    {
        CFaultInjection faults;
        faults.Fail(Op::ReadDir, Ends("cam_1_0"), EIO);
        CIndex index;
        EXPECT_EQ(index.Initialize(m_dir.Path()), 0);
        EXPECT_STREQ(RecDirName(), "BackupFile");
        index.Release();
    }
    EXPECT_EQ(Tree(m_dir.Path()), vBefore) << "a walk that breaks off deletes and writes nothing";
}

TEST_F(Index, WithoutAnyReadableFolderItFails) {
    for (const char* pFolder : {"RecordFile", "BackupFile"}) {
        PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_1, pFolder));
    }
    CFaultInjection faults;
    faults.Fail(Op::ReadDir, Any(), EIO);
    // The name is found to be "BackupFile" already, so reading is tried, which finds no files.
    {
        CIndex index;
        EXPECT_EQ(index.Initialize(m_dir.Path()), 0);
        EXPECT_EQ(index.CountFiles(), 0u);
        index.Release();
    }
    PutFile(m_dir / "BackupFile/index01.bin", "damaged");
    TakeLog();
    CIndex index;
    EXPECT_EQ(index.Initialize(m_dir.Path()), 1);
    EXPECT_EQ(TakeLog().back(), "[wtb][CIndex::Initialize] ReadIndex fail, strPrevPath []");

    g_pRecDirName = RECORD_FOLDER;  // and where "BackupFile" shows only after the first repair
    CFaultInjection::CRule rule = faults.Fail(Op::Access, Ends("/BackupFile"), ENOENT).Times(1);
    CIndex second;
    EXPECT_EQ(second.Initialize(m_dir.Path()), 2);
    EXPECT_EQ(rule.Seen(), 2u);
}

TEST_F(Index, WithoutAThreadItFails) {
    CFaultInjection faults;
    faults.Fail(Op::ThreadCreate, Any(), EAGAIN);
    TakeLog();
    CIndex index;
    EXPECT_EQ(index.Initialize(m_dir.Path()), 1);
    EXPECT_EQ(TakeLog().back(), "[wtb][CIndex::Initialize] OSL_Thread_Create fail, strPrevPath []");
}

TEST_F(Index, TheOldestDayIsThatOfIndexAndTree) {
    CIndex index;
    ASSERT_EQ(index.Initialize(m_dir.Path()), 0);
    for (const char* pFile : {FILE_1, FILE_2, FILE_3}) {
        PutFile(RecPath(m_dir.Path(), "cam_1_0", pFile));
        Add(index, "cam_1_0", pFile);
    }
    // Put there by hand, under valid names: a twin by times, another channel, and a foreign file.
    const char* const pTwin = "20240305080000_20240305090000_2.mp4";
    PutFile(RecPath(m_dir.Path(), "cam_1_0", pTwin));
    PutFile(RecPath(m_dir.Path(), "by_hand", FILE_2));
    PutFile(m_strFolder + "/20240305/cam_1_0/notes.txt");

    std::string strDir;
    std::list<std::string> lsPath;
    EXPECT_EQ(index.QueryOldestRecFile(strDir, lsPath), 4);
    EXPECT_EQ(strDir, m_strFolder + "/20240305");
    EXPECT_EQ(lsPath.front(), RecPath(m_dir.Path(), "cam_1_0", FILE_1))
        << "those of the index first";
    lsPath.sort();
    EXPECT_EQ(lsPath, (std::list<std::string>{RecPath(m_dir.Path(), "by_hand", FILE_2),
                                              RecPath(m_dir.Path(), "cam_1_0", FILE_1),
                                              RecPath(m_dir.Path(), "cam_1_0", pTwin),
                                              RecPath(m_dir.Path(), "cam_1_0", FILE_2)}));
    lsPath.clear();
    EXPECT_EQ(index.QueryOldestRecFile(strDir, lsPath, {m_strFolder + "/20240305"}), 1);
    EXPECT_EQ(strDir, m_strFolder + "/20240306");
    index.Release();
}

TEST_F(Index, AFirstDayWhoseFolderIsGoneLeavesTheIndexAndTheQueryFailsThatOnce) {
    CIndex index;
    ASSERT_EQ(index.Initialize(m_dir.Path()), 0);
    for (const char* pFile : {FILE_1, FILE_3}) {
        PutFile(RecPath(m_dir.Path(), "cam_1_0", pFile));
        Add(index, "cam_1_0", pFile);
    }
    fs::remove_all(m_strFolder + "/20240305");
    std::string strDate;
    long lTime = 0;
    EXPECT_FALSE(index.GetOldestDate(strDate, lTime));
    EXPECT_EQ(index.CountFiles(), 1u);
    EXPECT_TRUE(index.GetOldestDate(strDate, lTime));
    EXPECT_EQ(strDate, "20240306");
    EXPECT_GT(lTime, 0);
    {
        CFaultInjection faults;  // a folder that cannot be asked is not gone
        faults.Fail(Op::Stat, Ends("20240306"), EIO);
        EXPECT_FALSE(index.GetOldestDate(strDate, lTime));
        EXPECT_EQ(index.CountFiles(), 1u);
    }
    index.Release();
}
