#include <gtest/gtest.h>

#include "IndexMgr/KestrelIndex.h"
#include "IndexMgr/LogCapture.h"
#include "IndexMgr/Records.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"

namespace fs = std::filesystem;

TEST(KestrelIndex, NamesOfFiles) {
    for (const char* pName : {"20240305_080000.mp4", "xxxxxxxx_.mp4"}) {
        EXPECT_TRUE(CKestrelIndex::VerifyRecFile(pName)) << pName;
    }
    for (const char* pName : {"x.mp4", "xxxx.mp4", "20240305-080000.mp4", "20240305_080000.jpg"}) {
        EXPECT_FALSE(CKestrelIndex::VerifyRecFile(pName)) << pName;
    }
}

TEST(KestrelIndex, ListsTheOldestDayOfBothTreesAndCleansUpOnItsWay) {
    CTempDir dir;
    for (const char* pName :
         {"RecordFile/20240306/cam/20240306_080000.mp4",
          "RecordFile/20240305/cam/20240305_090000.mp4",
          "RecordFile/20240305/cam/20240305_080000.mp4",
          "RecordFile/20240305/any name/20240305_1.mp4", "RecordFile/20240305/cam/x.mp4",
          "RecordFile/20240305/stray", "RecordFile/stray", "RecordFile/foreign/x",
          "RecordFile/20240305/cam/folder/x", "ImageFile/20240304/cam/20240304_080000.jpg",
          "ImageFile/20240304/cam/x.jpg"}) {
        PutFile(dir / pName);
    }
    CKestrelIndex index(dir.Path());
    std::string strDir;
    std::list<std::string> lsFile;
    EXPECT_EQ(index.QueryOldestRecFile(strDir, lsFile), 3);
    EXPECT_EQ(strDir, dir / "RecordFile/20240305");
    lsFile.sort();
    EXPECT_EQ(lsFile,
              (std::list<std::string>{dir / "RecordFile/20240305/any name/20240305_1.mp4",
                                      dir / "RecordFile/20240305/cam/20240305_080000.mp4",
                                      dir / "RecordFile/20240305/cam/20240305_090000.mp4"}));
    EXPECT_EQ(Tree(dir / "RecordFile/20240305/cam").size(), 2u) << "foreign entries went";
    EXPECT_EQ(Tree(dir / "RecordFile").size(), 9u);

    lsFile.clear();
    EXPECT_EQ(index.QueryOldestRecFile(strDir, lsFile, {dir / "RecordFile/20240305"}), 1);
    EXPECT_EQ(strDir, dir / "RecordFile/20240306");
    lsFile.clear();
    EXPECT_EQ(index.QueryOldestImgFile(strDir, lsFile), 1);
    EXPECT_EQ(strDir, dir / "ImageFile/20240304");
}

TEST(KestrelIndex, NothingThereIsLogged) {
    CTempDir dir;
    CKestrelIndex index(dir.Path());
    std::string strDir;
    std::list<std::string> lsFile;
    const std::string strFail = " fail, m_strPrevRecPath [" + dir.Path() + "]";
    EXPECT_EQ(index.QueryOldestRecFile(strDir, lsFile), 0);
    EXPECT_EQ(TakeLog().back(), "[wtb][CKestrelIndex::QueryOldestRecFile] GetOldestDate" + strFail);
    EXPECT_EQ(index.QueryOldestImgFile(strDir, lsFile), 0);
    EXPECT_EQ(TakeLog().back(),
              "[wtb][CKestrelIndex::QueryOldestImgFile] GetOldestImgDate" + strFail);
}

TEST(KestrelIndex, AWalkThatBreaksOffRemovesNothing) {
    CTempDir dir;
    PutFile(dir / "RecordFile/20240305/cam/20240305_080000.mp4");
    PutFile(dir / "RecordFile/20240305/cam/x.mp4");
    PutFile(dir / "RecordFile/20240305/stray");
    PutFile(dir / "RecordFile/stray");
    const auto vBefore = Tree(dir.Path());
    CKestrelIndex index(dir.Path());
    std::string strDir;
    std::list<std::string> lsFile;
    CFaultInjection faults;
    auto rule = faults.Fail(Op::ReadDir, Ends("RecordFile"), EIO).From(2);
    EXPECT_EQ(index.QueryOldestRecFile(strDir, lsFile), 0);
    EXPECT_GT(rule.Seen(), 1u);
    EXPECT_EQ(Tree(dir.Path()), vBefore);
}

TEST(KestrelIndex, TheManagerAsksEveryDisk) {
    CTempDir dir;
    PutFile(dir / "a/RecordFile/20240306/cam/20240306_080000.mp4");
    PutFile(dir / "b/RecordFile/20240305/cam/20240305_080000.mp4");
    PutFile(dir / "a/ImageFile/20240301/cam/20240301_080000.jpg");
    CIndexMgr mgr(CIndexMgr::STORAGE_TYPE_KESTREL);
    ASSERT_EQ(mgr.Initialize({dir / "a/", dir / "b/"}), 0);
    std::string strDir, strDate;
    std::list<std::string> lsFile;
    EXPECT_EQ(mgr.QueryOldestRecFile(strDir, strDate, lsFile), 1);
    EXPECT_EQ(strDir, dir / "b/RecordFile");
    EXPECT_EQ(strDate, "20240305");
    EXPECT_EQ(mgr.QueryOldestImgFile(strDir, strDate, lsFile), 1);
    EXPECT_EQ(strDir, dir / "a/ImageFile");
    EXPECT_EQ(lsFile.size(), 2u) << "appended";

    mgr.WriteIndex(RecPath(dir / "a", "cam", "20240305080000_20240305090000_1.mp4"),
                   CIndexMgr::INDEX_TYPE_ADD);
    EXPECT_TRUE(FindAll(mgr, "cam").empty()) << "no index in this layout";
    EXPECT_TRUE(mgr.ForgetMissingFile(dir / "b/RecordFile/20240305/cam/20240305_090000.mp4"));
    EXPECT_FALSE(mgr.ForgetMissingFile(dir / "b/RecordFile/20240305/cam/20240305_080000.mp4"));

    CFaultInjection faults;
    faults.SetDevice(dir / "b", 4711);
    EXPECT_EQ(mgr.QueryOldestRecFile(strDir, strDate, lsFile), 1);
    EXPECT_EQ(strDir, dir / "a/RecordFile") << "the pulled disk has nothing to offer";
    mgr.Release();
}
