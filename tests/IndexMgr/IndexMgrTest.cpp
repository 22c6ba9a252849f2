// The manager: directories under several names, pulled disks, a switch of the record folder; and
// the deletion scan of the client layout.

#include "IndexMgr/KestrelIndex.h"
#include "IndexMgr/RecordDisk.h"
#include "IndexMgr/Records.h"

class IndexMgr : public CRecordDirTest {
protected:
    // In the place of the first.
    void PutOtherDisk() {
        m_faults.SetDevice(m_strA, 4711);
        m_faults.Fail(Op::Open, Ends(DIRECTORY_FILE), ENOENT);
    }
    void PutDiskBack() {
        m_faults.ClearDevices();
        m_faults.ClearRules();
    }

    const std::string m_strA = m_dir / "a", m_strB = m_dir / "b";
};

TEST_F(IndexMgr, ADirectoryListedTwiceGetsOneIndexAndHasOneEngine) {
    fs::create_directory(m_strA);
    fs::create_symlink(m_strA, m_strB);
    ASSERT_EQ(m_mgr.Initialize({m_strA, m_strA, m_strA + "/", m_strB}), 0);
    RecordBy(m_mgr, m_strA, FILE_1);
    RecordBy(m_mgr, m_strB, FILE_2);  // another name of the same directory
    EXPECT_EQ(FindAll(m_mgr, "cam_1_0"),
              (Paths{RecPath(m_strA, "cam_1_0", FILE_1), RecPath(m_strA, "cam_1_0", FILE_2)}));

    CIndexMgr other(CIndexMgr::STORAGE_TYPE_KESTREL);
    EXPECT_EQ(other.Initialize({m_dir / "c", m_strA}), 1);
    m_mgr.Release();
    EXPECT_EQ(other.Initialize({m_strA}), 0);
    other.Release();
}

TEST_F(IndexMgr, APulledDiskKeepsItsIndexAndComesBackByItself) {
    const std::string strRec = m_strA + "/deep/rec", strAway = m_dir / "away";
    ASSERT_EQ(m_mgr.Initialize({strRec}), 0);
    const auto path = RecordBy(m_mgr, strRec, FILE_1);
    m_mgr.Release();
    ASSERT_EQ(m_mgr.Initialize({strRec}), 0);
    PutOtherDisk();
    fs::rename(m_strA, strAway);  // what the mount point hides is another file system
    fs::create_directories(m_strA);
    EXPECT_FALSE(m_mgr.Disk(strRec)->IsPresent()) << "the nearest parent lies elsewhere";
    fs::create_directories(strRec + "/RecordFile");
    m_mgr.WriteIndex(TypedPath(strRec, "cam_1_0", FILE_3), CIndexMgr::INDEX_TYPE_ADD);
    EXPECT_FALSE(m_mgr.Disk(strRec)->ForgetMissingFile(path));
    EXPECT_EQ(FindAll(m_mgr, "cam_1_0").front(), path.strPath) << "it did not leave the index";
    EXPECT_EQ(Tree(m_strA).size(), 3u) << "nothing is made, no marker either";
    fs::remove_all(m_strA);
    fs::rename(strAway, m_strA);
    PutDiskBack();
    EXPECT_TRUE(m_mgr.Disk(strRec)->IsPresent());
    EXPECT_FALSE(m_mgr.Disk(strRec)->ForgetMissingFile(path)) << "it is there";
    fs::remove(path.strPath);
    EXPECT_TRUE(m_mgr.Disk(strRec)->ForgetMissingFile(path));
    RecordBy(m_mgr, strRec, FILE_2);
    PutOtherDisk();
    const auto writes = m_faults.Watch(Op::Write, Ends(".bin"));
    m_mgr.Release();
    EXPECT_EQ(writes.Seen(), 0u) << "no flush onto what is not its disk";
    EXPECT_TRUE(fs::exists(strRec + "/RecordFile/index.dirty")) << "so the next start repairs";
}

TEST_F(IndexMgr, WhatAnotherEngineDidToADiskThatWasAwayIsNotLost) {
    ASSERT_EQ(m_mgr.Initialize({m_strA}), 0);
    RecordBy(m_mgr, m_strA, FILE_1);
    m_faults.SetDevice(m_strA, 4710);
    EXPECT_TRUE(m_mgr.Disk(m_strA)->IsPresent()) << "mounted anew, under another number";
    PutOtherDisk();
    EXPECT_FALSE(m_mgr.Disk(m_strA)->IsPresent());
    PutDiskBack();
    CIndexMgr other;
    ASSERT_EQ(other.Initialize({m_strA}), 0) << "the lock went with the disk";
    RecordBy(other, m_strA, FILE_2);
    EXPECT_FALSE(m_mgr.Disk(m_strA)->IsPresent());
    other.Release();

    EXPECT_TRUE(m_mgr.Disk(m_strA)->IsPresent());
    EXPECT_EQ(other.Initialize({m_strA}), 1);
    RecordBy(m_mgr, m_strA, FILE_3);
    m_mgr.Release();
    ASSERT_EQ(other.Initialize({m_strA}), 0);
    EXPECT_EQ(FindAll(other, "cam_1_0").size(), 3u);
    other.Release();
}

TEST_F(IndexMgr, TheClientLayoutListsItsOldestDayAndCleansUpUnlessAWalkBreaksOff) {
    const std::string strDay = m_strFolder + "/20240305";
    for (const char* pName :
         {"20240306/cam/20240306_080000.mp4", "20240305/cam/20240305_080000.mp4",
          "20240305/any name/xxxxxxxx_.mp4", "20240305/cam/xxxx.mp4",
          "20240305/cam/20240305-080000.mp4", "20240305/cam/20240305_080000.jpg",
          "20240305/cam/folder/x", "20240305/stray", "stray", "foreign/x"}) {
        PutFile(m_strFolder + "/" + pName);
    }
    const Texts vBefore = Tree(m_dir.Path());
    CKestrelIndex index(m_dir.Path(), STORE_FILE_RECORD);
    dayOffer offer;
    const auto reads = m_faults.Fail(Op::ReadDir, Ends("RecordFile"), EIO).From(6);
    EXPECT_FALSE(index.GetOldestDate({}, offer));
    EXPECT_EQ(reads.Seen(), 6u) << "of six entries all but one were told";
    EXPECT_EQ(Tree(m_dir.Path()), vBefore);

    m_faults.ClearRules();
    std::vector<recordPath> vFiles;
    ASSERT_TRUE(index.GetOldestDate({}, offer));
    index.ListDay(offer.stDay, vFiles);
    EXPECT_EQ(offer.stDay.Path(), strDay);
    ASSERT_EQ(vFiles.size(), 2u);
    EXPECT_EQ(vFiles[0].strPath, strDay + "/any name/xxxxxxxx_.mp4");
    EXPECT_EQ(vFiles[1].strPath, strDay + "/cam/20240305_080000.mp4");
    EXPECT_EQ(Tree(m_strFolder).size(), 8u) << "foreign entries went";
    EXPECT_TRUE(index.GetOldestDate({strDay}, offer));
    EXPECT_EQ(offer.stDay.Path(), m_strFolder + "/20240306");
}
