// The deletion scan of the client layout.

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
    CKestrelIndex index(dir.Path(), STORE_FILE_RECORD);
    dayOffer offer;
    CFaultInjection faults;
    auto rule = faults.Fail(Op::ReadDir, Ends("RecordFile"), EIO).From(6);
    EXPECT_FALSE(index.GetOldestDate({}, offer));
    EXPECT_EQ(rule.Seen(), 6u) << "of six entries all but one were told";
    EXPECT_EQ(Tree(dir.Path()), vBefore);

    faults.ClearRules();
    std::vector<recordPath> vFiles;
    ASSERT_TRUE(index.GetOldestDate({}, offer));
    index.ListDay(offer.stDay, vFiles);
    const std::string strOldest = offer.stDay.Path();
    EXPECT_EQ(strOldest, dir / "RecordFile/20240305");
    ASSERT_EQ(vFiles.size(), 2u);
    EXPECT_EQ(vFiles[0].strPath, strOldest + "/any name/xxxxxxxx_.mp4");
    EXPECT_EQ(vFiles[1].strPath, strOldest + "/cam/20240305_080000.mp4");
    EXPECT_EQ(Tree(dir / "RecordFile").size(), 8u) << "foreign entries went";
    EXPECT_TRUE(index.GetOldestDate({strOldest}, offer));
    EXPECT_EQ(offer.stDay.Path(), dir / "RecordFile/20240306");
}
