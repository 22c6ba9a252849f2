#include <gtest/gtest.h>

#include "../../tools/localstorage/MediaInput.h"
#include "../../tools/localstorage/Output.h"
#include "../../tools/localstorage/RecordingName.h"
#include "../../tools/localstorage/Terminal.h"

namespace {

TEST(RecordingName, NamesThatAreNone) {
    for (const char* pName :
         {"", "x.mp4", "20240305_08150.mp4", "20240305_081500.mp4x", "20240305_081500.jpg",
          "2024030508000_20240305090000_2.mp4", "20240305080000_20240305090000_10.mp4"}) {
        EXPECT_FALSE(ParseRecordingName(pName)) << pName;
    }
    EXPECT_FALSE(ParsePictureName("20240305_081500.mp4"));
}

TEST(MediaInput, MessagesHoldNoPasswords) {
    EXPECT_EQ(WithoutPassword("rtsp://me:p@ss@host:554/path"), "rtsp://host:554/path");
    EXPECT_EQ(WithoutPassword("rtsp://host/a@b"), "rtsp://host/a@b");
    EXPECT_EQ(WithoutPassword("/files/a@b.mp4"), "/files/a@b.mp4");
}

TEST(Output, SizesAndWidths) {
    EXPECT_EQ(FormatBytes(1023), "1023 B");
    EXPECT_EQ(FormatBytes(1536), "1.5 KiB");
    EXPECT_EQ(FormatBytes(1048575), "1.0 MiB");
    EXPECT_EQ(FormatBytes(~0ull), "16384.0 PiB");
    EXPECT_EQ(TextWidth("b\xC3\xBCro"), 4u);
    EXPECT_EQ(CutToWidth("b\xC3\xBCro", 2), "b\xC3\xBC");
    EXPECT_EQ(CutToWidth("abc", 3), "abc");
    EXPECT_EQ(ProgressBar(0.5, 4), "[##..]");
    EXPECT_EQ(ProgressBar(7, 4), "[####]");
}

}  // namespace
