#include <gtest/gtest.h>

#include "IndexMgr/KestrelIndex.h"
#include "IndexMgr/Records.h"
#include "Support/FaultInjection.h"

namespace {

class KestrelIndex : public testing::Test {
protected:
    void Put(const std::vector<std::string>& vNames) {
        for (const std::string& strName : vNames) PutFile(m_dir / strName);
    }

    CTempDir m_dir;
    CKestrelIndex m_index{m_dir.Path()};
    std::string m_strDir;
    Paths m_lsFile;
};

}  // namespace

TEST_F(KestrelIndex, ListsTheOldestDayOfBothTreesAndCleansUpOnItsWay) {
    EXPECT_EQ(m_index.QueryOldestRecFile(m_strDir, m_lsFile), 0);
    EXPECT_EQ(TakeLog().back(),
              "[wtb][CKestrelIndex::QueryOldestRecFile] GetOldestDate fail, m_strPrevRecPath [" +
                  m_dir.Path() + "]");
    const std::string strDay = "RecordFile/20240305/";
    Put({"RecordFile/20240306/cam/20240306_080000.mp4", strDay + "cam/20240305_080000.mp4",
         strDay + "any name/xxxxxxxx_.mp4", strDay + "cam/x.mp4", strDay + "cam/xxxx.mp4",
         strDay + "cam/20240305-080000.mp4", strDay + "cam/20240305_080000.jpg",
         strDay + "cam/folder/x", strDay + "stray", "RecordFile/stray", "RecordFile/foreign/x",
         "ImageFile/20240304/cam/20240304_080000.jpg", "ImageFile/20240304/cam/x.jpg"});
    EXPECT_EQ(m_index.QueryOldestRecFile(m_strDir, m_lsFile), 2);
    EXPECT_EQ(m_strDir, m_dir / "RecordFile/20240305");
    m_lsFile.sort();
    EXPECT_EQ(m_lsFile,
              (Paths{m_strDir + "/any name/xxxxxxxx_.mp4", m_strDir + "/cam/20240305_080000.mp4"}));
    EXPECT_EQ(Tree(m_dir / "RecordFile").size(), 8u) << "foreign entries went";

    EXPECT_EQ(m_index.QueryOldestRecFile(m_strDir, m_lsFile, {m_strDir}), 1);
    EXPECT_EQ(m_strDir, m_dir / "RecordFile/20240306");
    EXPECT_EQ(m_index.QueryOldestImgFile(m_strDir, m_lsFile), 1);
    EXPECT_EQ(m_strDir, m_dir / "ImageFile/20240304");
}

TEST_F(KestrelIndex, AWalkThatBreaksOffRemovesNothing) {
    Put({"RecordFile/20240305/cam/20240305_080000.mp4", "RecordFile/20240305/cam/x.mp4",
         "RecordFile/20240305/stray", "RecordFile/stray", "RecordFile/stray too"});
    const auto vBefore = Tree(m_dir.Path());
    CFaultInjection faults;
    auto rule = faults.Fail(Op::ReadDir, Ends("RecordFile"), EIO).From(5);
    EXPECT_EQ(m_index.QueryOldestRecFile(m_strDir, m_lsFile), 0);
    EXPECT_EQ(rule.Seen(), 5u) << "one of the two was told";
    EXPECT_EQ(Tree(m_dir.Path()), vBefore);
}

TEST_F(KestrelIndex, TheManagerAsksEveryDisk) {
    Put({"a/RecordFile/20240306/cam/20240306_080000.mp4",
         "b/RecordFile/20240305/cam/20240305_080000.mp4",
         "a/ImageFile/20240301/cam/20240301_080000.jpg"});
    CIndexMgr mgr(CIndexMgr::STORAGE_TYPE_KESTREL);
    ASSERT_EQ(mgr.Initialize({m_dir / "a/", m_dir / "b/"}), 0);
    std::string strDate;
    EXPECT_EQ(mgr.QueryOldestRecFile(m_strDir, strDate, m_lsFile), 1);
    EXPECT_EQ(m_strDir + " " + strDate, m_dir / "b/RecordFile 20240305");
    EXPECT_EQ(mgr.QueryOldestImgFile(m_strDir, strDate, m_lsFile), 1);
    EXPECT_EQ(m_strDir, m_dir / "a/ImageFile");
    EXPECT_EQ(m_lsFile.size(), 2u) << "appended";

    mgr.WriteIndex(RecPath(m_dir / "a", "cam", FILE_1), CIndexMgr::INDEX_TYPE_ADD);
    EXPECT_EQ(FindAll(mgr, "cam"), Paths()) << "no index in this layout";
    EXPECT_TRUE(mgr.ForgetMissingFile(m_dir / "b/RecordFile/20240305/cam/20240305_090000.mp4"));
    EXPECT_FALSE(mgr.ForgetMissingFile(m_dir / "b/RecordFile/20240305/cam/20240305_080000.mp4"));

    CFaultInjection faults;
    faults.SetDevice(m_dir / "b", 4711);
    EXPECT_EQ(mgr.QueryOldestRecFile(m_strDir, strDate, m_lsFile), 1);
    EXPECT_EQ(m_strDir, m_dir / "a/RecordFile") << "the pulled disk has nothing to offer";
    mgr.Release();
}
