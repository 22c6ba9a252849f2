// The manager: directories under several names, pulled disks, a switch of the record folder.

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
    recordPath Record(const std::string& strRecDir, const std::string& strChannel,
                      const std::string& strFile) {
        const recordPath stPath = TypedPath(strRecDir, strChannel, strFile, m_mgr.RecordFolder());
        PutFile(stPath.strPath);
        m_mgr.WriteIndex(stPath, CIndexMgr::INDEX_TYPE_ADD);
        return stPath;
    }

    // In the place of the first.
    void PutOtherDisk(CFaultInjection& faults) {
        faults.SetDevice(m_strA, 4711);
        faults.Fail(Op::Open, Ends(DIRECTORY_FILE), ENOENT);
    }

    CTempDir m_dir;
    const std::string m_strA = m_dir / "a";
    const std::string m_strB = m_dir / "b";
    CIndexMgr m_mgr;
};

}  // namespace

TEST_F(IndexMgr, ADirectoryListedTwiceGetsOneIndexAndHasOneEngine) {
    fs::create_directory(m_strA);
    fs::create_symlink(m_strA, m_strB);
    ASSERT_EQ(m_mgr.Initialize({m_strA, m_strA, m_strA + "/", m_strB}), 0);
    const auto path = Record(m_strA, "cam_1_0", FILE_1);
    Record(m_strB, "cam_1_0", FILE_2);  // another name of the same directory
    EXPECT_EQ(FindAll(m_mgr, "cam_1_0"), (Paths{path.strPath, RecPath(m_strA, "cam_1_0", FILE_2)}));

    CIndexMgr other(CIndexMgr::STORAGE_TYPE_KESTREL);
    EXPECT_EQ(other.Initialize({m_dir / "c", m_strA}), 1);
    m_mgr.Release();
    EXPECT_EQ(other.Initialize({m_strA}), 0);
    other.Release();
}

TEST_F(IndexMgr, APulledDiskKeepsItsIndexAndComesBackByItself) {
    const std::string strRec = m_strA + "/deep/rec", strAway = m_dir / "away";
    ASSERT_EQ(m_mgr.Initialize({strRec}), 0);
    const auto path = Record(strRec, "cam_1_0", FILE_1);
    m_mgr.Release();
    ASSERT_EQ(m_mgr.Initialize({strRec}), 0);
    {
        CFaultInjection faults;
        PutOtherDisk(faults);
        fs::rename(m_strA, strAway);  // what the mount point hides is another file system
        fs::create_directories(m_strA);
        EXPECT_FALSE(m_mgr.IsDirPresent(strRec)) << "the nearest parent lies elsewhere";
        fs::create_directories(strRec + "/RecordFile");
        m_mgr.WriteIndex(TypedPath(strRec, "cam_1_0", FILE_3), CIndexMgr::INDEX_TYPE_ADD);
        EXPECT_FALSE(m_mgr.ForgetMissingFile(path));
        EXPECT_EQ(FindAll(m_mgr, "cam_1_0").front(), path.strPath) << "it did not leave the index";
        EXPECT_EQ(Tree(m_strA).size(), 3u) << "nothing is made, no marker either";
        fs::remove_all(m_strA);
        fs::rename(strAway, m_strA);
    }
    EXPECT_TRUE(m_mgr.IsDirPresent(strRec));
    EXPECT_FALSE(m_mgr.ForgetMissingFile(path)) << "it is there";
    fs::remove(path.strPath);
    EXPECT_TRUE(m_mgr.ForgetMissingFile(path));
    Record(strRec, "cam_1_0", FILE_2);

    CFaultInjection faults;
    PutOtherDisk(faults);
    const auto writes = faults.Watch(Op::Write, Ends(".bin"));
    m_mgr.Release();
    EXPECT_EQ(writes.Seen(), 0u) << "no flush onto what is not its disk";
    EXPECT_TRUE(fs::exists(strRec + "/RecordFile/index.dirty")) << "so the next start repairs";
}

TEST_F(IndexMgr, WhatAnotherEngineDidToADiskThatWasAwayIsNotLost) {
    ASSERT_EQ(m_mgr.Initialize({m_strA}), 0);
    Record(m_strA, "cam_1_0", FILE_1);
    CFaultInjection faults;
    faults.SetDevice(m_strA, 4710);
    EXPECT_TRUE(m_mgr.IsDirPresent(m_strA)) << "mounted anew, under another number";
    PutOtherDisk(faults);
    EXPECT_FALSE(m_mgr.IsDirPresent(m_strA));
    faults.ClearDevices();
    faults.ClearRules();
    CIndexMgr other;
    ASSERT_EQ(other.Initialize({m_strA}), 0) << "the lock went with the disk";
    const auto path = TypedPath(m_strA, "cam_1_0", FILE_2);
    PutFile(path.strPath);
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
