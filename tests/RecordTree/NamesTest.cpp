// Every kind of name, good and bad, in both directions; folders that hold index files only.

#include "RecordTree/Names.h"
#include "RecordTree/RecordPath.h"
#include "RecordTree/Tidying.h"
#include "Support/Test.h"

namespace {

// What making a name of the parsed one gives; nothing for a name that is refused.
std::string AgainDay(std::string_view strName) {
    indexLevel1Body st;
    return ConvertStrDateToIndexLevel1Body(strName, st) ? GetDirName(st.stDate) : "";
}
std::string AgainChannel(std::string_view strName) {
    indexLevel2Body st;
    if (!ConvertStrChannelToIndexLevel2Body(strName, st)) return "";
    EXPECT_EQ(st.IsBare(), !VerifyChannelDir(strName));
    return GetDirName(st);
}
std::string AgainSpan(std::string_view strName) {
    indexLevel3Body st;
    return ConvertStrRecFileToIndexLevel3Body(strName, st) ? GetRecFileName(st) : "";
}
template <const char* EXTENSION>
std::string AgainSecond(std::string_view strName) {
    fileTimeInfo st;
    if (!ConvertStrSecondToFileTime(strName, EXTENSION, st)) return "";
    EXPECT_TRUE(IsScannedFile(strName, EXTENSION));
    return GetSecondName(st, EXTENSION);
}

const std::string LONGEST(CAMERA_ID_MAX, 'x');

}  // namespace

TEST(Names, AreValidWhenTheyComeBackAsTheyWentIn) {
    const struct {
        std::string (*pAgain)(std::string_view);
        Texts vGood, vBad;
    } kinds[] = {
        {AgainDay,
         {"20240305", "00000000", "99999999"},
         {"", "2024030", "202403055", "2024-3-5", "2024030x", " 2024035"}},
        {AgainChannel,
         {"cam01_1_0", "cam_65535_255", "_0_0", "a b_1_2", "front_door", "cam01", "a_b_1_0", "_",
          "__", "_1_", "cam_1", "cam_+1_0", "cam_1_0x", "Stra\303\237e", "RecordFile", "...",
          LONGEST},
         {"", ".", "..", "a/b", "a\\b", "a\n", "a\x7f", LONGEST + "x", "cam_01_2", "cam_1_02",
          "cam_1_256", "cam_70000_1", "cam_99999999999999999999_0"}},
        {AgainSpan,
         {"20240305080000_20240305090000_1.mp4", "00000000000000_99999999999999_9.mp4"},
         {"", "20240305080000_20240305090000_1.jpg", "20240305080000_20240305090000_10.mp4",
          "20240305080000_20240305090000_.mp4", "20240305080000-20240305090000_1.mp4",
          "20240305080000_20240305090000-1.mp4", "2024030508000x_20240305090000_1.mp4",
          "20240305080000_2024030509000x_1.mp4", "20240305080000_20240305090000_x.mp4",
          "20240305_080000.mp4", "20240305080000_20240305090000_1.mp4.new"}},
        {AgainSecond<PICTURE_EXTENSION>,
         {"20240305_080000.jpg", "00000000_000000.jpg"},
         {"", "20240305_080000.mp4", "20240305_080000.JPG", "20240305_080000.jpg.jpg", ".jpg"}},
        {AgainSecond<RECORDING_EXTENSION>,
         {"20240305_080000.mp4", "99999999_999999.mp4"},
         {"", "20240305_080000.jpg", "20240305-080000.mp4", "20240305_08000.mp4",
          "20240305_0800000.mp4", "2024030x_080000.mp4", "20240305_08000x.mp4",
          "20240305080000_20240305090000_1.mp4"}},
    };
    for (const auto& kind : kinds) {
        for (const auto& strName : kind.vGood) EXPECT_EQ(kind.pAgain(strName), strName);
        for (const auto& strName : kind.vBad) EXPECT_EQ(kind.pAgain(strName), "") << strName;
    }
}

TEST(Paths, OnlyThoseThatAnIndexHoldsHaveAnEntry) {
    for (const std::string strChannel : {"cam01_1_0", "front_door", "cam_01_2"}) {
        const CChannelFolder folder({"/disk/1", RECORD_FOLDER, "20240305", {}}, strChannel);
        EXPECT_FALSE(folder.File("20240305_080000.mp4").stEntry);
        EXPECT_EQ(folder.Recording({}).stEntry.has_value(), strChannel != "cam_01_2");
    }
}

TEST(Names, OfTheLargestFieldsFit) {
    // As only a damaged index holds them.
    const fileTimeInfo stMost = {65535, 255, 255, 255, 255, 255, 0};
    EXPECT_EQ(GetRecFileName({stMost, stMost, static_cast<RecFileType>(0x80000000), {}}),
              "65535255255255255255_65535255255255255255_-2147483648.mp4");
}

TEST(Tidying, AFolderGoesWithItsIndexFilesAndStaysWithAnythingElse) {
    const CTempDir dir;
    const std::string strChannel = dir / "channel/", strDay = dir / "day";
    for (const char* pOther : {"20240305080000_20240305090000_1.mp4", "notes", "folder/x",
                               "index02.bin", "index03.bin.old", ""}) {
        PutFile(strChannel + "index03.bin");
        PutFile(strChannel + "index03.bin.new");
        PutFile(strChannel + pOther);
        EXPECT_EQ(RemoveIfIndexOnly(dir / "channel", TreeLevel::Channel), *pOther == '\0');
        EXPECT_EQ(fs::exists(strChannel + "index03.bin"), *pOther != '\0') << pOther;
        fs::remove_all(strChannel);
    }
    PutFile(strDay + "/index02.bin");
    EXPECT_TRUE(RemoveIfIndexOnly(strDay, TreeLevel::Day));
    EXPECT_FALSE(RemoveIfIndexOnly(strDay, TreeLevel::Day)) << "there is none";
}
