#include <gtest/gtest.h>

#include "IndexMgr/KestrelIndex.h"
#include "IndexMgr/Records.h"
#include "Support/FaultInjection.h"

TEST(KestrelIndex, ListsTheOldestDayAndCleansUpOnItsWayUnlessAWalkBreaksOff) {
    const CTempDir dir;
    const std::string strDay = "RecordFile/20240305/";
    for (const std::string& strName :
         {std::string("RecordFile/20240306/cam/20240306_080000.mp4"),
          strDay + "cam/20240305_080000.mp4", strDay + "any name/xxxxxxxx_.mp4",
          strDay + "cam/xxxx.mp4", strDay + "cam/20240305-080000.mp4",
          strDay + "cam/20240305_080000.jpg", strDay + "cam/folder/x", strDay + "stray",
          std::string("RecordFile/stray"), std::string("RecordFile/foreign/x")}) {
        PutFile(dir / strName);
    }
    const auto vBefore = Tree(dir.Path());
    CKestrelIndex index{dir.Path()};
    std::string strDir;
    Paths lsFile;
    CFaultInjection faults;
    auto rule = faults.Fail(Op::ReadDir, Ends("RecordFile"), EIO).From(6);
    EXPECT_EQ(index.QueryOldestRecFile(strDir, lsFile), 0);
    EXPECT_EQ(rule.Seen(), 6u) << "of six entries all but one were told";
    EXPECT_EQ(Tree(dir.Path()), vBefore);

    faults.ClearRules();
    EXPECT_EQ(index.QueryOldestRecFile(strDir, lsFile), 2);
    EXPECT_EQ(strDir, dir / "RecordFile/20240305");
    lsFile.sort();
    EXPECT_EQ(lsFile,
              (Paths{strDir + "/any name/xxxxxxxx_.mp4", strDir + "/cam/20240305_080000.mp4"}));
    EXPECT_EQ(Tree(dir / "RecordFile").size(), 8u) << "foreign entries went";
    EXPECT_EQ(index.QueryOldestRecFile(strDir, lsFile, {strDir}), 1);
    EXPECT_EQ(strDir, dir / "RecordFile/20240306");
}
