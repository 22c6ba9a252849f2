#include "ExpectFrames.h"

namespace {

using namespace nal;

TEST(Frames, H264) {
    const std::string strFront = AUD + SPS + PPS + SEI;
    ExpectFrames("delimiters", {{KEY, strFront + IDR}, {OTHER, AUD + P}, {KEY, strFront + IDR}});
    ExpectFrames("slices", {{KEY, strFront + IDR + IDR_MORE + IDR_MORE},
                            {OTHER, AUD + P + P_MORE},
                            {KEY, SPS + PPS + IDR + IDR_MORE}});
    ExpectFrames("short start codes",
                 {{KEY, Code3(SPS) + Code3(IDR)}, {OTHER, Code3(P)}, {KEY, Code3(IDR)}});
    ExpectFrames("zeros behind a frame", {{KEY, SPS + PPS + IDR + Bytes({0, 0, 0, 0})},
                                          {KEY, SPS + IDR + Bytes({0, 0})},
                                          {OTHER, P}});
    ExpectFrames("filler and end of sequence belong to the frame before",
                 {{KEY, SPS + IDR + FILLER + Bytes({0, 0, 1, 10})}, {KEY, strFront + IDR}});
    ExpectFrames("prefix units between slices",
                 {{KEY, SPS + PPS + PREFIX + IDR + PREFIX + IDR_MORE}, {OTHER, PREFIX + P}});
    ExpectFrames("a unit of one byte and an empty one",
                 {{KEY, SPS + PPS + IDR + Bytes({0, 0, 1, 9, 0, 0, 1}) + P_MORE}, {OTHER, P}});
    ExpectFrames("a last unit that is cut short",
                 {{KEY, SPS + PPS + IDR}, {OTHER, P.substr(0, 6)}});
}

TEST(Frames, H264RecoveryPointsAreKeyFramesWhenThePictureIsIntra) {
    ExpectFrames("open group", {{KEY, SPS + IDR}, {KEY, SPS + PPS + RECOVERY + INTRA}});
    ExpectFrames("no recovery point", {{KEY, SPS + IDR}, {OTHER, SPS + PPS + INTRA}});
    ExpectFrames("not intra", {{KEY, SPS + IDR}, {OTHER, RECOVERY + P}, {OTHER, INTRA}});
    ExpectFrames("gradual", {{KEY, SPS + IDR}, {OTHER, GRADUAL + INTRA}});
}

TEST(Frames, H265) {
    ExpectFrames("all in front", {{KEY, AUD5 + VPS5 + SPS5 + PPS5 + SEI5 + IDR5 + SUFFIX5},
                                  {OTHER, AUD5 + P5 + P5_MORE + SUFFIX5},
                                  {KEY, AUD5 + CRA5}});
    ExpectFrames("short start codes", {{KEY, Code3(VPS5) + Code3(IDR5)}, {OTHER, Code3(P5)}});
}

TEST(Frames, KindOfStreamIsFoundInTheContent) {
    ExpectFrames("in the middle of H.264", {{OTHER, P + P + P_MORE}, {KEY, IDR}, {OTHER, P}});
    ExpectFrames("in the middle of H.265", {{OTHER, P5 + P5}, {KEY, CRA5}, {OTHER, P5}});
    ExpectFrames("H.264, then H.265",
                 {{KEY, AUD + SPS + IDR}, {OTHER, P}, {KEY, AUD5 + WHOLE_IDR5}, {OTHER, P5}});
    ExpectFrames("H.265, then H.264", {{KEY, WHOLE_IDR5}, {KEY, SPS + IDR}});
    ExpectFrames("garbage in front",
                 {{OTHER, Bytes({1, 0, 0, 7, 0, 0, 1, 0xFF, 0, 0, 1})}, {KEY, SPS + PPS + IDR}});
    ExpectFrames("no video", {{OTHER, Bytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0})}});
}

TEST(Frames, HeaderIsAHintThatTheContentOverrides) {
    const auto Marks = [](const std::string& strStream, const std::string& strHead) {
        return Analyse(strStream, 5, 5, strHead).vecMark;
    };
    const StreamMarks vecTwo = {{0, OTHER}, {P.size(), OTHER}}, vecKey = {{0, KEY}};
    EXPECT_EQ(Marks(P + P, SPS + PPS), vecTwo);
    EXPECT_EQ(Marks(P5 + P5, VPS5 + SPS5 + PPS5), vecTwo);
    EXPECT_EQ(Marks(WHOLE_IDR5, SPS + PPS), vecKey);
    EXPECT_EQ(Marks(SPS + PPS + IDR, "any text at all"), vecKey);
}

}  // namespace
