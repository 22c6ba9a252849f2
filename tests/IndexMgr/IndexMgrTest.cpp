#include <gtest/gtest.h>

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

    int QueryOldest(const PassedOverDays& setPassedOver = {}) {
        m_lsFile.clear();
        m_strDir = m_strDate = "";
        return m_mgr.QueryOldestRecFile(m_strDir, m_strDate, m_lsFile, {setPassedOver, {}});
    }

    CTempDir m_dir;
    const std::string m_strA = m_dir / "a";
    const std::string m_strB = m_dir / "b";
    CIndexMgr m_mgr;
    std::string m_strDir, m_strDate;  // of QueryOldest
    Paths m_lsFile;
};

}  // namespace

TEST_F(IndexMgr, MergesDirectoriesByPath) {
    ASSERT_EQ(m_mgr.Initialize({m_strB + "/", m_strA + "/"}), 0);
    const auto b1 = Record(m_strB, "cam_1_0", FILE_1);
    const auto a2 = Record(m_strA + "/", "cam_1_0", FILE_2);  // "//" in front of the record folder
    const auto a1 = Record(m_strA, "cam_1_0", FILE_1);
    Record(m_strA, "other", FILE_1);
    const auto a2Found = RecPath(m_strA, "cam_1_0", FILE_2);
    EXPECT_EQ(FindAll(m_mgr, "cam_1_0"), (Paths{a1, a2Found, b1}));
    EXPECT_EQ(FindAll(m_mgr, "cam_01_0"), Paths()) << "not storable";
    Paths lsPath = {"!", m_strA + "/z"};
    for (const int nType : {1, 2, 9}) {
        m_mgr.QueryRecFile("cam_1_0", RecFileType(nType), Time("20240305093000"),
                           Time("20240305093001"), lsPath);
    }
    EXPECT_EQ(lsPath, (Paths{"!", a2Found, m_strA + "/z"}));
}

TEST_F(IndexMgr, ChangesComeByPath) {
    ASSERT_EQ(m_mgr.Initialize({m_strA}), 0);
    const auto path = Record(m_strA, "front_door", FILE_1);
    m_mgr.WriteIndex(path, CIndexMgr::INDEX_TYPE_NONE);
    EXPECT_EQ(FindAll(m_mgr, "front_door"), Paths{path});
    m_mgr.WriteIndex(path, CIndexMgr::INDEX_TYPE_DELETE);
    EXPECT_EQ(FindAll(m_mgr, "front_door"), Paths());

    m_mgr.WriteIndex(RecPath(m_strB, "cam_1_0", FILE_1), CIndexMgr::INDEX_TYPE_ADD);
    EXPECT_EQ(TakeLog().back(),
              "[wtb][CIndexMgr::WriteIndex] m_mIndex.find(strPrevPath) == m_mIndex.end(), "
              "strPrevPath [" +
                  m_strB + "]");
}

TEST_F(IndexMgr, ADirectoryListedTwiceGetsOneIndexAndHasOneEngine) {
    fs::create_directory(m_strA);
    fs::create_symlink(m_strA, m_strB);
    ASSERT_EQ(m_mgr.Initialize({m_strA, m_strA + "/", m_strA + "//", m_strB}), 0);
    const auto path = Record(m_strA, "cam_1_0", FILE_1);
    Record(m_strB, "cam_1_0", FILE_2);  // another name of the same directory
    EXPECT_EQ(FindAll(m_mgr, "cam_1_0"), (Paths{path, RecPath(m_strA, "cam_1_0", FILE_2)}));

    CIndexMgr other(CIndexMgr::STORAGE_TYPE_KESTREL);
    EXPECT_EQ(other.Initialize({m_dir / "c", m_strA}), 1);
    EXPECT_NE(TakeLog().back().find("[" + m_strA + "]"), std::string::npos);
    EXPECT_TRUE(fs::is_directory(m_dir / "c")) << "made, so that it can be locked";
    m_mgr.Release();
    EXPECT_EQ(other.Initialize({m_strA}), 0);
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
    EXPECT_EQ(ChooseOldestDay({{"20240305", 2}, {"20240306", 0}, {"20240305", 1}}), 2u);
    EXPECT_EQ(ChooseOldestDay({{"20240305", 1}, {"20240305", 1}}), 0u);

    ASSERT_EQ(m_mgr.Initialize({m_strA, m_strB}), 0);
    EXPECT_EQ(QueryOldest(), 0);
    EXPECT_EQ(m_strDir + m_strDate, "") << "nothing there: the pass ends";
    EXPECT_EQ(TakeLog().back(),
              "[wtb][CIndexMgr::QueryOldestRecFileForRemoteBackup] 0 == lsOldestDate.size()");
    const auto a3 = Record(m_strA, "cam_1_0", FILE_3);
    const auto b1 = Record(m_strB, "cam_1_0", FILE_1);
    EXPECT_EQ(QueryOldest(), 1);
    EXPECT_EQ(m_strDir + " " + m_strDate, m_strB + "/RecordFile 20240305");
    EXPECT_EQ(m_lsFile, Paths{b1});
    QueryOldest({m_strB + "/RecordFile/20240305"});
    EXPECT_EQ(m_lsFile, Paths{a3});
    QueryOldest({m_strB + "/RecordFile/20240305", m_strA + "/RecordFile/20240306"});
    EXPECT_EQ(m_strDate, "");
    // Pictures are never overwritten in this layout.
    PutFile(m_strA + "/ImageFile/20240305/cam/20240305_080000.jpg");
    EXPECT_EQ(m_mgr.QueryOldestImgFile(m_strDir, m_strDate, m_lsFile), 0);
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
        EXPECT_EQ(FindAll(m_mgr, "cam_1_0"), Paths{path});
    }
    EXPECT_TRUE(m_mgr.ForgetMissingFile(path));
    EXPECT_EQ(FindAll(m_mgr, "cam_1_0"), Paths());
}

TEST_F(IndexMgr, APulledDiskKeepsItsIndexAndComesBackByItself) {
    const std::string strRec = m_strA + "/deep/rec", strAway = m_dir / "away";
    ASSERT_EQ(m_mgr.Initialize({strRec + "/"}), 0);
    const auto path = Record(strRec, "cam_1_0", FILE_1);
    m_mgr.Release();
    ASSERT_EQ(m_mgr.Initialize({strRec + "/"}), 0);
    {
        CFaultInjection faults;
        faults.SetDevice(m_strA, 4711);
        fs::rename(m_strA, strAway);  // what the mount point hides is another file system
        fs::create_directories(m_strA);
        EXPECT_FALSE(m_mgr.IsDirPresent(strRec + "/")) << "the nearest parent lies elsewhere";
        fs::create_directories(strRec + "/RecordFile");
        m_mgr.WriteIndex(RecPath(strRec, "cam_1_0", FILE_3), CIndexMgr::INDEX_TYPE_ADD);
        QueryOldest();
        EXPECT_EQ(m_strDate, "");
        EXPECT_EQ(FindAll(m_mgr, "cam_1_0").front(), path) << "the day did not leave the index";
        EXPECT_EQ(Tree(m_strA).size(), 3u) << "nothing is made, no marker either";
        fs::remove_all(m_strA);
        fs::rename(strAway, m_strA);
    }
    EXPECT_TRUE(m_mgr.IsDirPresent(strRec));
    EXPECT_EQ(QueryOldest(), 1);
    Record(strRec, "cam_1_0", FILE_2);

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
    ASSERT_EQ(other.Initialize({m_strA}), 0);
    EXPECT_EQ(FindAll(other, "cam_1_0").size(), 3u);
    other.Release();
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
    EXPECT_EQ(FindAll(m_mgr, "cam_1_0"), Paths()) << "read again, under the name in use";
    EXPECT_EQ(Tree(m_strA), vBefore) << "and not flushed under it";
    const auto path = Record(m_strA, "cam_1_0", FILE_2);
    EXPECT_EQ(FindAll(m_mgr, "cam_1_0"), Paths{path});
}
