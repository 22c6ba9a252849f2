#include <gtest/gtest.h>

#include "IndexMgr/IndexMgr.h"
#include "IndexMgr/Names.h"
#include "IndexMgr/Records.h"

TEST(Names, CameraIdentifiersThatMayNameAFolder) {
    for (const char* pName : {"cam01", "a", ".hidden", "...", "x y",
                              "K\xc3\xbc"
                              "che"}) {
        EXPECT_TRUE(IsCameraID(pName)) << pName;
    }
    for (const char* pName : {"", ".", "..", "a/b", "a\\b", "a\nb", "a\x7f", "../x"}) {
        EXPECT_FALSE(IsCameraID(pName)) << pName;
    }
    EXPECT_TRUE(IsCameraID(std::string(63, 'x')));
    EXPECT_FALSE(IsCameraID(std::string(64, 'x')));
    EXPECT_FALSE(IsCameraID(std::string_view("a\0b", 3)));
}

TEST(Names, ChannelForms) {
    const struct {
        const char* pName;
        ChannelForm eForm;
    } cases[] = {
        {"cam01_1_0", ChannelForm::Numbered},
        {"cam_65535_255", ChannelForm::Numbered},
        {"_1_2", ChannelForm::Numbered},
        {"cam_0_0", ChannelForm::Numbered},
        {"cam01", ChannelForm::Bare},
        {"front_door", ChannelForm::Bare},
        {"a_b_1_0", ChannelForm::Bare},
        {"x_-1_2", ChannelForm::Bare},
        {"x_+1_2", ChannelForm::Bare},
        {"x__2", ChannelForm::Bare},
        {"x_1_", ChannelForm::Bare},
        {"x_1 _2", ChannelForm::Bare},
        {"cam_1", ChannelForm::Bare},
        {"_", ChannelForm::Bare},
        {"cam_01_2", ChannelForm::NotStorable},
        {"cam_1_02", ChannelForm::NotStorable},
        {"cam_1_256", ChannelForm::NotStorable},
        {"cam_70000_1", ChannelForm::NotStorable},
        {"cam_99999999999999999999_1", ChannelForm::NotStorable},
        {"..", ChannelForm::NotStorable},
        {"a/b", ChannelForm::NotStorable},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ClassifyChannel(c.pName), c.eForm) << c.pName;
        EXPECT_EQ(VerifyChannelDir(c.pName), c.eForm == ChannelForm::Numbered) << c.pName;
        indexLevel2Body st;
        ASSERT_EQ(ConvertStrChannelToIndexLevel2Body(c.pName, st),
                  c.eForm != ChannelForm::NotStorable);
        if (c.eForm == ChannelForm::NotStorable) continue;
        EXPECT_EQ(st.GetDirName(), c.pName);
        EXPECT_EQ(st.IsBare(), c.eForm == ChannelForm::Bare) << c.pName;
    }
    EXPECT_EQ(ClassifyChannel(std::string(60, 'x') + "_1_2"), ChannelForm::NotStorable);
}

TEST(Names, DaysAreEightDigitsOfAnyValue) {
    for (const char* pName : {"20240305", "20231399", "00000000"}) {
        ASSERT_TRUE(VerifyDateDir(pName)) << pName;
        EXPECT_EQ(Day(pName).GetDirName(), pName);
    }
    for (const char* pName : {"", "2023131", "202401011", "2023-1-1", "2024 305", "+2024030"}) {
        EXPECT_FALSE(VerifyDateDir(pName)) << pName;
    }
}

TEST(Names, RecordFiles) {
    const std::string strGood = "20160307081500_20160307083000_1.mp4";
    indexLevel3Body st;
    ASSERT_TRUE(ConvertStrRecFileToIndexLevel3Body(strGood, st));
    EXPECT_EQ(st.stStartTime.GetString(), "20160307081500");
    EXPECT_EQ(st.stEndTime.GetString(), "20160307083000");
    EXPECT_EQ(st.enumRecFileType, 1u);
    EXPECT_EQ(st.GetRecFileName(), strGood);
    EXPECT_TRUE(VerifyRecFile("99999999999999_00000000000000_9.mp4"));
    for (const char* pName :
         {"", "20160307081500_20160307083000_10.mp4", "20160307081500_20160307083000_1.avi",
          "20160307081500-20160307083000_1.mp4", "20160307081500_20160307083000_x.mp4",
          "2016030708150 _20160307083000_1.mp4", "0160307081500_20160307083000_1.mp4",
          "20160307081500_20160307083000_1.MP4"}) {
        EXPECT_FALSE(ConvertStrRecFileToIndexLevel3Body(pName, st)) << pName;
        EXPECT_EQ(st.GetRecFileName(), strGood) << "untouched";
    }
}

TEST(Names, PathsAreCutFromTheEnd) {
    recFilePath st;
    ASSERT_TRUE(SplitRecFilePath("/RecordFile/disk//RecordFile/20240305/cam/x.mp4", st));
    EXPECT_EQ(st.strRecDir, "/RecordFile/disk");
    EXPECT_EQ(st.strRecFolder, "RecordFile");
    EXPECT_EQ(st.strDay, "20240305");
    EXPECT_EQ(st.strChannel, "cam");
    EXPECT_EQ(st.strFile, "x.mp4");
    EXPECT_FALSE(SplitRecFilePath("RecordFile/20240305/cam/x.mp4", st));
    ASSERT_TRUE(SplitRecFilePath("/RecordFile/20240305/cam/x.mp4", st));
    EXPECT_EQ(st.strRecDir, "") << "the root itself";
}

TEST(Names, ParseRecFilePathVerifiesEveryName) {
    const CIndexMgr mgr;
    std::string strDir = "before";
    indexLevel1Body st1;
    indexLevel2Body st2;
    indexLevel3Body st3;
    for (const char* pPath : {"/d/Other/20240305/cam/20240305080000_20240305090000_1.mp4",
                              "/d/RecordFile/2024035/cam/20240305080000_20240305090000_1.mp4",
                              "/d/RecordFile/20240305/cam_01_2/20240305080000_20240305090000_1.mp4",
                              "/d/RecordFile/20240305/cam/20240305_080000.mp4", "nothing", ""}) {
        EXPECT_FALSE(mgr.ParseRecFilePath(pPath, strDir, st1, st2, st3)) << pPath;
        EXPECT_EQ(strDir, "before");
    }
    ASSERT_TRUE(mgr.ParseRecFilePath(
        "/d/RecordFile/20240305/cam/20240305080000_20240305090000_1.mp4", strDir, st1, st2, st3));
    EXPECT_EQ(strDir, "/d");
    EXPECT_EQ(st1.GetDirName(), "20240305");
    EXPECT_EQ(st2.GetDirName(), "cam");
    EXPECT_EQ(st3.GetRecFileName(), "20240305080000_20240305090000_1.mp4");
}
