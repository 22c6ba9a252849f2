#include <chrono>

#include <gtest/gtest.h>

#include "IndexMgr/LogCapture.h"
#include "IndexMgr/Records.h"
#include "Support/FaultInjection.h"

namespace fs = std::filesystem;

namespace {

class IndexMgr : public testing::Test {
protected:
    ~IndexMgr() override {
        m_mgr.Release();
        g_pRecDirName = RECORD_FOLDER;
    }

    // A recording on disk and in the index.
    std::string Record(const std::string& strRecDir, const std::string& strChannel,
                       const std::string& strFile) {
        const std::string strPath = RecPath(strRecDir, strChannel, strFile, RecDirName());
        PutFile(strPath);
        m_mgr.WriteIndex(strPath, CIndexMgr::INDEX_TYPE_ADD);
        return strPath;
    }

    struct Oldest {
        int nFiles;
        std::string strDir, strDate;
        std::list<std::string> lsFile;
    };
    Oldest QueryOldest(const PassedOverDays& setPassedOver = {}) {
        Oldest oldest;
        oldest.nFiles = m_mgr.QueryOldestRecFile(oldest.strDir, oldest.strDate, oldest.lsFile,
                                                 {setPassedOver, {}});
        return oldest;
    }

    CTempDir m_dir;
    const std::string m_strA = m_dir / "a";
    const std::string m_strB = m_dir / "b";
    CIndexMgr m_mgr;
};

}  // namespace

TEST(ChooseOldestDay, ByDayThenTimeThenOrder) {
    EXPECT_EQ(ChooseOldestDay({{"20240306", 1}, {"20240305", 9}}), 1u);
    EXPECT_EQ(ChooseOldestDay({{"20240305", 2}, {"20240306", 0}, {"20240305", 1}}), 2u);
    EXPECT_EQ(ChooseOldestDay({{"20240305", 1}, {"20240305", 1}}), 0u);
}

TEST_F(IndexMgr, MergesDirectoriesByPath) {
    ASSERT_EQ(m_mgr.Initialize({m_strB + "/", m_strA + "/"}), 0);
    const auto b1 = Record(m_strB, "cam_1_0", FILE_1);
    const auto a2 = Record(m_strA + "/", "cam_1_0", FILE_2);  // "//" in front of the record folder
    const auto a1 = Record(m_strA, "cam_1_0", FILE_1);
    Record(m_strA, "other", FILE_1);
    EXPECT_EQ(FindAll(m_mgr, "cam_1_0"),
              (std::vector<std::string>{a1, RecPath(m_strA, "cam_1_0", FILE_2), b1}));
    EXPECT_EQ(FindAll(m_mgr, "cam_01_0"), std::vector<std::string>()) << "not storable";
    std::list<std::string> lsPath = {"!", RecPath(m_strA, "z", FILE_1)};
    EXPECT_EQ(m_mgr.QueryRecFile("cam_1_0", REC_FILE_TYPE_1, Time("20240305093000"),
                                 Time("20240305093001"), lsPath),
              1);
    EXPECT_EQ(lsPath, (std::list<std::string>{"!", RecPath(m_strA, "cam_1_0", FILE_2),
                                              RecPath(m_strA, "z", FILE_1)}));
}

TEST_F(IndexMgr, ChangesComeByPath) {
    ASSERT_EQ(m_mgr.Initialize({m_strA}), 0);
    const auto path = Record(m_strA, "front_door", FILE_1);
    m_mgr.WriteIndex(path, CIndexMgr::INDEX_TYPE_NONE);
    EXPECT_EQ(FindAll(m_mgr, "front_door").size(), 1u);
    m_mgr.WriteIndex(path, CIndexMgr::INDEX_TYPE_DELETE);
    EXPECT_TRUE(FindAll(m_mgr, "front_door").empty());

    TakeLog();
    m_mgr.WriteIndex(RecPath(m_strB, "cam_1_0", FILE_1), CIndexMgr::INDEX_TYPE_ADD);
    EXPECT_EQ(TakeLog().back(),
              "[wtb][CIndexMgr::WriteIndex] m_mIndex.find(strPrevPath) == m_mIndex.end(), "
              "strPrevPath [" +
                  m_strB + "]");
    m_mgr.WriteIndex(RecPath(m_strA, "cam_01_0", FILE_1), CIndexMgr::INDEX_TYPE_ADD);
    m_mgr.WriteIndex("nonsense", CIndexMgr::INDEX_TYPE_ADD);
    EXPECT_EQ(TakeLog().back(),
              "[wtb][CIndexMgr::WriteIndex] m_mIndex.find(strPrevPath) == m_mIndex.end(), "
              "strPrevPath []");
}

TEST_F(IndexMgr, ADirectoryListedTwiceGetsOneIndex) {
    fs::create_directory(m_strA);
    fs::create_symlink(m_strA, m_strB);
    ASSERT_EQ(m_mgr.Initialize({m_strA, m_strA + "/", m_strA + "//", m_strB}), 0);
    Record(m_strA, "cam_1_0", FILE_1);
    Record(m_strB, "cam_1_0", FILE_2);  // another name of the same directory
    EXPECT_EQ(FindAll(m_mgr, "cam_1_0"),
              (std::vector<std::string>{RecPath(m_strA, "cam_1_0", FILE_1),
                                        RecPath(m_strA, "cam_1_0", FILE_2)}));
}

TEST_F(IndexMgr, OneEnginePerDirectory) {
    ASSERT_EQ(m_mgr.Initialize({m_strA}), 0);
    EXPECT_TRUE(fs::is_directory(m_strA)) << "made first";
    {
        CIndexMgr other(CIndexMgr::STORAGE_TYPE_KESTREL);
        TakeLog();
        EXPECT_EQ(other.Initialize({m_strB, m_strA}), 1);
        EXPECT_NE(TakeLog().back().find("[" + m_strA + "]"), std::string::npos);
        other.Release();
    }
    m_mgr.Release();
    CIndexMgr other;
    EXPECT_EQ(other.Initialize({m_strB, m_strA}), 0);
    other.Release();
}

TEST_F(IndexMgr, ADirectoryThatCannotBeMadeOrLockedIsUsedAllTheSame) {
    CFaultInjection faults;
    faults.Fail(Op::MakeDir, Below(m_strA), EROFS).Times(1);
    faults.Fail(Op::Lock, Any(), ENOLCK);
    ASSERT_EQ(m_mgr.Initialize({m_strA, m_strB}), 0);
    EXPECT_FALSE(fs::exists(m_strA));
    EXPECT_TRUE(m_mgr.IsDirPresent(m_strA));
    fs::create_directories(m_strA + "/RecordFile");
    EXPECT_FALSE(m_mgr.IsDirPresent(m_strA)) << "with recordings that the index does not know";
    fs::remove(m_strA + "/RecordFile");
    EXPECT_TRUE(m_mgr.IsDirPresent(m_strA));
    faults.SetDevice(m_strA, 4711);
    EXPECT_FALSE(m_mgr.IsDirPresent(m_strA)) << "remembered since it was made";
    EXPECT_TRUE(m_mgr.IsDirPresent(m_strB));
}

TEST_F(IndexMgr, TheOldestDayOfAllDisks) {
    ASSERT_EQ(m_mgr.Initialize({m_strA, m_strB}), 0);
    Oldest oldest = QueryOldest();
    EXPECT_EQ(oldest.nFiles, 0);
    EXPECT_EQ(oldest.strDir + oldest.strDate, "") << "nothing there: the pass ends";
    EXPECT_EQ(TakeLog().back(),
              "[wtb][CIndexMgr::QueryOldestRecFileForRemoteBackup] 0 == lsOldestDate.size()");

    const auto a3 = Record(m_strA, "cam_1_0", FILE_3);
    const auto b1 = Record(m_strB, "cam_1_0", FILE_1);
    oldest = QueryOldest();
    EXPECT_EQ(oldest.nFiles, 1);
    EXPECT_EQ(oldest.strDir, m_strB + "/RecordFile");
    EXPECT_EQ(oldest.strDate, "20240305");
    EXPECT_EQ(oldest.lsFile, std::list<std::string>{b1});

    const PassedOverDays setPassedOver = {oldest.strDir + "/" + oldest.strDate};
    oldest = QueryOldest(setPassedOver);
    EXPECT_EQ(oldest.lsFile, std::list<std::string>{a3});
    EXPECT_EQ(
        QueryOldest({m_strB + "/RecordFile/20240305", m_strA + "/RecordFile/20240306"}).strDate,
        "");

    // The same day on both: the folder with the earlier time.
    Record(m_strA, "cam_1_0", FILE_1);
    for (const auto& [strDir, nSeconds] : {std::pair(m_strA, 2000), std::pair(m_strB, 1000)}) {
        fs::last_write_time(strDir + "/RecordFile/20240305",
                            fs::file_time_type(std::chrono::seconds(nSeconds)));
    }
    EXPECT_EQ(QueryOldest().lsFile, std::list<std::string>{b1});
}

TEST_F(IndexMgr, PicturesAreNeverOverwrittenInTheRemoteBackupLayout) {
    ASSERT_EQ(m_mgr.Initialize({m_strA}), 0);
    PutFile(m_strA + "/ImageFile/20240305/cam/20240305_080000.jpg");
    Oldest oldest;
    EXPECT_EQ(m_mgr.QueryOldestImgFile(oldest.strDir, oldest.strDate, oldest.lsFile), 0);
}

TEST_F(IndexMgr, AMissingFileIsForgottenOnlyWhileItsDiskIsThere) {
    ASSERT_EQ(m_mgr.Initialize({m_strA}), 0);
    const auto path = Record(m_strA, "cam_1_0", FILE_1);
    EXPECT_FALSE(m_mgr.ForgetMissingFile(path)) << "it is there";
    fs::remove(path);
    {
        CFaultInjection faults;
        faults.SetDevice(m_strA, 4711);
        EXPECT_FALSE(m_mgr.ForgetMissingFile(path));
        EXPECT_EQ(FindAll(m_mgr, "cam_1_0").size(), 1u);
    }
    EXPECT_TRUE(m_mgr.ForgetMissingFile(path));
    EXPECT_TRUE(FindAll(m_mgr, "cam_1_0").empty());
}

TEST_F(IndexMgr, APulledDiskKeepsItsIndexAndComesBackByItself) {
    const std::string strRec = m_strA + "/deep/rec";
    ASSERT_EQ(m_mgr.Initialize({strRec + "/"}), 0);
    Record(strRec, "cam_1_0", FILE_1);
    const std::string strAway = m_dir / "away";
    {
        CFaultInjection faults;
        faults.SetDevice(m_strA, 4711);
        fs::rename(m_strA, strAway);  // what the mount point hides is another file system
        fs::create_directories(m_strA);
        EXPECT_FALSE(m_mgr.IsDirPresent(strRec)) << "the nearest parent lies elsewhere";
        EXPECT_FALSE(m_mgr.IsDirPresent(strRec + "/"));
        EXPECT_EQ(QueryOldest().strDate, "");
        EXPECT_EQ(FindAll(m_mgr, "cam_1_0").size(), 1u) << "the day did not leave the index";
        EXPECT_TRUE(Tree(m_strA).empty());
        fs::remove(m_strA);
        fs::rename(strAway, m_strA);
    }
    EXPECT_TRUE(m_mgr.IsDirPresent(strRec));
    EXPECT_EQ(QueryOldest().nFiles, 1);

    CFaultInjection faults;
    faults.SetDevice(m_strA, 4711);
    const auto writes = faults.Watch(Op::Open, Ends(".new"));
    m_mgr.Release();
    EXPECT_EQ(writes.Seen(), 0u) << "no flush onto what is not its disk";
    EXPECT_TRUE(fs::exists(strRec + "/RecordFile/index.dirty")) << "so the next start repairs";
}

TEST_F(IndexMgr, WhatAnotherEngineDidToADiskThatWasAwayIsNotLost) {
    ASSERT_EQ(m_mgr.Initialize({m_strA}), 0);
    Record(m_strA, "cam_1_0", FILE_1);
    CFaultInjection faults;
    faults.SetDevice(m_strA, 4711);
    EXPECT_FALSE(m_mgr.IsDirPresent(m_strA));
    faults.ClearDevices();
    CIndexMgr other;
    ASSERT_EQ(other.Initialize({m_strA}), 0) << "the lock went with the disk";
    const auto path = RecPath(m_strA, "cam_1_0", FILE_2);
    PutFile(path);
    other.WriteIndex(path, CIndexMgr::INDEX_TYPE_ADD);
    EXPECT_FALSE(m_mgr.IsDirPresent(m_strA));
    other.Release();

    EXPECT_TRUE(m_mgr.IsDirPresent(m_strA));
    EXPECT_EQ(other.Initialize({m_strA}), 1);
    Record(m_strA, "cam_1_0", FILE_3);
    m_mgr.Release();
    CIndexMgr after;
    ASSERT_EQ(after.Initialize({m_strA}), 0);
    EXPECT_EQ(FindAll(after, "cam_1_0").size(), 3u);
    after.Release();
}

TEST_F(IndexMgr, ASwitchRereadsTheDirectoriesBeforeIt) {
    {
        CIndexMgr before;
        ASSERT_EQ(before.Initialize({m_strA}), 0);
        PutFile(RecPath(m_strA, "cam_1_0", FILE_1));
        before.WriteIndex(RecPath(m_strA, "cam_1_0", FILE_1), CIndexMgr::INDEX_TYPE_ADD);
        before.Release();
    }
    fs::create_directories(m_strB + "/BackupFile");
    const auto vBefore = Tree(m_strA);
    ASSERT_EQ(m_mgr.Initialize({m_strA, m_strB}), 0);
    EXPECT_STREQ(RecDirName(), BACKUP_FOLDER);
    EXPECT_TRUE(FindAll(m_mgr, "cam_1_0").empty()) << "read again, under the name in use";
    EXPECT_EQ(Tree(m_strA), vBefore) << "and not flushed under it";
    const auto path = Record(m_strA, "cam_1_0", FILE_2);
    EXPECT_EQ(FindAll(m_mgr, "cam_1_0"), std::vector<std::string>{path});
}

TEST_F(IndexMgr, UnknownStorageTypesDoNothing) {
    CIndexMgr mgr(static_cast<CIndexMgr::StorageType>(2));
    EXPECT_EQ(mgr.Initialize({m_strA}), 0);
    EXPECT_FALSE(fs::exists(m_strA));
    std::string strDir, strDate;
    std::list<std::string> lsFile;
    EXPECT_EQ(mgr.QueryOldestRecFile(strDir, strDate, lsFile), 0);
    mgr.Release();
}
