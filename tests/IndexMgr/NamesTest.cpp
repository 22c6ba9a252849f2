#include <gtest/gtest.h>

#include "IndexMgr/IndexMgr.h"
#include "IndexMgr/Names.h"
#include "IndexMgr/Records.h"

TEST(Names, ChannelForms) {
    const std::string str63(63, 'x'), str64(64, 'x'), strLongWithNumbers = str63 + "_1_2";
    using Names = std::vector<std::string>;
    const struct {
        ChannelForm eForm;
        Names vNames;
    } cases[] = {
        {ChannelForm::Numbered, {"cam01_1_0", "cam_65535_255", "_1_2", "cam_0_0"}},
        {ChannelForm::Bare,
         {"a", "front_door", "a_b_1_0", "x_-1_2", "x_+1_2", "x__2", "x_1_", "x_1 _2", "cam_1", "_",
          "...", ".hidden", "x y", "\xc3\xbc", str63}},
        {ChannelForm::NotStorable,
         {"cam_01_2", "cam_1_02", "cam_1_256", "cam_70000_1", "cam_99999999999999999999_1", "", ".",
          "..", "../x", "a/b", "a\\b", "a\nb", "a\x7f", std::string("a\0b", 3), str64,
          strLongWithNumbers}},
    };
    indexLevel2Body st;
    for (const auto& c : cases) {
        for (const std::string& strName : c.vNames) {
            EXPECT_EQ(ClassifyChannel(strName), c.eForm) << strName;
            ASSERT_EQ(ConvertStrChannelToIndexLevel2Body(strName, st),
                      c.eForm != ChannelForm::NotStorable)
                << strName;
            if (c.eForm == ChannelForm::NotStorable) continue;
            EXPECT_EQ(st.GetDirName(), strName);
            EXPECT_EQ(st.IsBare(), c.eForm == ChannelForm::Bare) << strName;
        }
    }
}

TEST(Names, DaysAreEightDigitsOfAnyValue) {
    for (const char* pName : {"20240305", "20231399", "00000000"}) {
        EXPECT_EQ(Day(pName).GetDirName(), pName);
    }
    for (const char* pName : {"", "2023131", "202401011", "2023-1-1", "2024 305", "+2024030"}) {
        EXPECT_FALSE(VerifyDateDir(pName)) << pName;
    }
}

TEST(Names, RecordFiles) {
    const std::string strGood = "20160307081500_20160308083010_1.mp4";
    indexLevel3Body st;
    EXPECT_TRUE(ConvertStrRecFileToIndexLevel3Body("99999999999999_00000000000000_9.mp4", st));
    EXPECT_TRUE(ConvertStrRecFileToIndexLevel3Body(strGood, st));
    EXPECT_EQ(st.GetRecFileName(), strGood);
    for (const char* pName :
         {"", "20160307081500_20160307083000_10.mp4", "20160307081500_20160307083000_1.avi",
          "20160307081500-20160307083000_1.mp4", "20160307081500_20160307083000-1.mp4",
          "20160307081500_20160307083000_x.mp4", "2016030708150 _20160307083000_1.mp4",
          "0160307081500_20160307083000_1.mp4"}) {
        EXPECT_FALSE(ConvertStrRecFileToIndexLevel3Body(pName, st)) << pName;
        EXPECT_EQ(st.GetRecFileName(), strGood) << "untouched";
    }
}

TEST(Names, ParseRecFilePathVerifiesEveryName) {
    const CIndexMgr mgr;
    std::string strDir = "before";
    indexLevel1Body st1;
    indexLevel2Body st2;
    indexLevel3Body st3;
    for (const char* pFolder : {"/d/Other/20240305/cam/", "/d/RecordFile/2024035/cam/",
                                "/d/RecordFile/20240305/cam_01_2/", "/d/RecordFile/20240305/cam/x",
                                "RecordFile/20240305/cam/", ""}) {
        EXPECT_FALSE(mgr.ParseRecFilePath(std::string(pFolder) + FILE_1, strDir, st1, st2, st3))
            << pFolder;
        EXPECT_EQ(strDir, "before");
    }
    const std::string strTail = std::string("20240305/cam/") + FILE_1;
    EXPECT_TRUE(
        mgr.ParseRecFilePath("/RecordFile/d//RecordFile/" + strTail, strDir, st1, st2, st3));
    EXPECT_EQ(strDir, "/RecordFile/d") << "cut from the end";
    EXPECT_EQ(st1.GetDirName() + "/" + st2.GetDirName() + "/" + st3.GetRecFileName(), strTail);
}
