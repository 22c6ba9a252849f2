#include <gtest/gtest.h>

#include "Streams.h"

namespace {

using namespace nal;

/// Part of a stream, and what begins with it (VEXANA_FRAME_CONTINUE for nothing).
struct Part {
    std::uint32_t nType;
    std::string strBytes;
};
constexpr std::uint32_t kI = VEXANA_FRAME_I, kOther = VEXANA_FRAME_OTHER, kMore = 0;

void ExpectFrames(const char* szName, const std::vector<Part>& vecPart) {
    SCOPED_TRACE(szName);
    std::string strStream;
    std::vector<StreamMark> vecMark;
    for (const Part& stPart : vecPart) {
        if (stPart.nType != kMore) {
            vecMark.push_back({strStream.size(), stPart.nType});
        }
        strStream += stPart.strBytes;
    }
    EXPECT_EQ(AnalyseWhole(strStream).vecMark, vecMark);
    ExpectSameHoweverCut(strStream);
}

TEST(Frames, H264) {
    const std::string strFront = kAud + kSps + kPps + kSei;
    ExpectFrames("plain", {{kI, kSps + kPps + kIdr}, {kOther, kP}, {kOther, kP}, {kI, kIdr}});
    ExpectFrames("delimiters", {{kI, strFront + kIdr}, {kOther, kAud + kP}, {kI, strFront + kIdr}});
    ExpectFrames("slices", {{kI, strFront + kIdr + kIdrMore + kIdrMore},
                            {kOther, kAud + kP + kPMore},
                            {kI, kSps + kPps + kIdr + kIdrMore}});
    ExpectFrames("short start codes", {{kI, Code3(kAud) + Code3(kSps) + Code3(kPps) + Code3(kIdr)},
                                       {kOther, Code3(kP)},
                                       {kI, Code3(kIdr)}});
    ExpectFrames("zeros behind a frame", {{kI, kSps + kPps + kIdr + Bytes({0, 0, 0, 0})},
                                          {kI, kSps + kIdr + Bytes({0, 0})},
                                          {kOther, kP}});
    ExpectFrames(
        "filler and end of sequence belong to the frame before",
        {{kI, kSps + kPps + kIdr + kFiller + Bytes({0, 0, 1, 10})}, {kI, strFront + kIdr}});
    ExpectFrames("prefix units between slices",
                 {{kI, kSps + kPps + kPrefix + kIdr + kPrefix + kIdrMore}, {kOther, kPrefix + kP}});
    ExpectFrames("a unit of one byte and an empty one",
                 {{kI, kSps + kPps + kIdr + Bytes({0, 0, 1, 9, 0, 0, 1}) + kPMore}, {kOther, kP}});
}

TEST(Frames, H264RecoveryPointsAreKeyFramesWhenThePictureIsIntra) {
    ExpectFrames("open group", {{kI, kSps + kPps + kIdr}, {kI, kSps + kPps + kRecovery + kIntra}});
    ExpectFrames("no recovery point", {{kI, kSps + kPps + kIdr}, {kOther, kSps + kPps + kIntra}});
    ExpectFrames("not intra", {{kI, kSps + kPps + kIdr}, {kOther, kRecovery + kP}});
    ExpectFrames("gradual", {{kI, kSps + kPps + kIdr}, {kOther, kGradual + kIntra}});
    ExpectFrames("of the frame before",
                 {{kI, kSps + kPps + kIdr}, {kOther, kRecovery + kP}, {kOther, kIntra}});
}

TEST(Frames, H265) {
    const std::string strFront = kAud5 + kVps5 + kSps5 + kPps5 + kSei5;
    ExpectFrames("plain", {{kI, kVps5 + kSps5 + kPps5 + kIdr5}, {kOther, kP5}, {kI, kCra5}});
    ExpectFrames("all in front", {{kI, strFront + kIdr5 + kSuffix5},
                                  {kOther, kAud5 + kP5 + kP5More + kSuffix5},
                                  {kI, strFront + kCra5}});
    ExpectFrames("short start codes",
                 {{kI, Code3(kVps5) + Code3(kSps5) + Code3(kIdr5)}, {kOther, Code3(kP5)}});
}

TEST(Frames, KindOfStreamIsFoundInTheContent) {
    ExpectFrames("in the middle of H.264", {{kOther, kP + kP + kPMore}, {kI, kIdr}, {kOther, kP}});
    ExpectFrames("in the middle of H.265", {{kOther, kP5 + kP5}, {kI, kCra5}, {kOther, kP5}});
    ExpectFrames("H.264, then H.265", {{kI, kAud + kSps + kPps + kIdr},
                                       {kOther, kP},
                                       {kI, kAud5 + kVps5 + kSps5 + kPps5 + kIdr5},
                                       {kOther, kP5}});
    ExpectFrames("H.265, then H.264", {{kI, kVps5 + kSps5 + kPps5 + kIdr5}, {kI, kSps + kIdr}});
    ExpectFrames("garbage in front",
                 {{kOther, Bytes({1, 0, 0, 7, 0, 0, 1, 0xFF, 0, 0, 1})}, {kI, kSps + kPps + kIdr}});
    ExpectFrames("no video", {{kOther, Bytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0})}});
}

TEST(Frames, HeaderIsAHintThatTheContentOverrides) {
    const auto Marks = [](const std::string& strStream, const std::string& strHead) {
        return Analyse(
                   strStream, [] { return 5; }, strHead)
            .vecMark;
    };
    const std::vector<StreamMark> vecTwo = {{0, kOther}, {kP.size(), kOther}};
    EXPECT_EQ(Marks(kP + kP, kSps + kPps), vecTwo);
    EXPECT_EQ(Marks(kP5 + kP5, kVps5 + kSps5 + kPps5), vecTwo);
    const std::vector<StreamMark> vecKey = {{0, kI}};
    EXPECT_EQ(Marks(kVps5 + kSps5 + kPps5 + kIdr5, kSps + kPps), vecKey);
    EXPECT_EQ(Marks(kSps + kPps + kIdr, "any text at all"), vecKey);
}

TEST(Frames, StartAfreshAfterAFlush) {
    VEXANA_Handle hStream = nullptr;
    ASSERT_EQ(VEXANA_CreateStreamEx(nullptr, 0, &hStream), VEXANA_OK);
    const std::string strStream = kSps + kPps + kIdr + Bytes({0, 0});
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(VEXANA_InputData(hStream, strStream.data(), strStream.size()), VEXANA_OK);
        std::string strBack;
        VEXANA_PACKET stPacket;
        ASSERT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_OK);
        EXPECT_EQ(stPacket.nFrameType, kI);
        strBack.assign(stPacket.pData, stPacket.nLength);
        ASSERT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_NO_PACKET);
        ASSERT_EQ(VEXANA_Flush(hStream), VEXANA_OK);
        ASSERT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_OK);
        EXPECT_EQ(stPacket.nFrameType, kMore);
        EXPECT_EQ(strBack + std::string(stPacket.pData, stPacket.nLength), strStream);
        ASSERT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_NO_PACKET);
    }
    VEXANA_Destroy(hStream);
}

}  // namespace
