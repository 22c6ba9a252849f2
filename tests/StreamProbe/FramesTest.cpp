#include <gtest/gtest.h>

#include "Streams.h"

namespace {

using namespace nal;

/// Part of a stream, and what begins with it (VEXANA_FRAME_CONTINUE for nothing).
struct Part {
    std::uint32_t nType;
    std::string strBytes;
};
constexpr std::uint32_t KEY_FRAME = VEXANA_FRAME_I, OTHER = VEXANA_FRAME_OTHER, MORE = 0;

void ExpectFrames(const char* szName, const std::vector<Part>& vecPart) {
    SCOPED_TRACE(szName);
    std::string strStream;
    std::vector<StreamMark> vecMark;
    for (const Part& stPart : vecPart) {
        if (stPart.nType != MORE) vecMark.push_back({strStream.size(), stPart.nType});
        strStream += stPart.strBytes;
    }
    EXPECT_EQ(AnalyseWhole(strStream).vecMark, vecMark);
    ExpectSameHoweverCut(strStream);
}

TEST(Frames, H264) {
    const std::string strFront = AUD + SPS + PPS + SEI;
    ExpectFrames("plain", {{KEY_FRAME, SPS + PPS + IDR}, {OTHER, P}, {OTHER, P}, {KEY_FRAME, IDR}});
    ExpectFrames("delimiters",
                 {{KEY_FRAME, strFront + IDR}, {OTHER, AUD + P}, {KEY_FRAME, strFront + IDR}});
    ExpectFrames("slices", {{KEY_FRAME, strFront + IDR + IDR_MORE + IDR_MORE},
                            {OTHER, AUD + P + PMORE},
                            {KEY_FRAME, SPS + PPS + IDR + IDR_MORE}});
    ExpectFrames("short start codes",
                 {{KEY_FRAME, Code3(AUD) + Code3(SPS) + Code3(PPS) + Code3(IDR)},
                  {OTHER, Code3(P)},
                  {KEY_FRAME, Code3(IDR)}});
    ExpectFrames("zeros behind a frame", {{KEY_FRAME, SPS + PPS + IDR + Bytes({0, 0, 0, 0})},
                                          {KEY_FRAME, SPS + IDR + Bytes({0, 0})},
                                          {OTHER, P}});
    ExpectFrames("filler and end of sequence belong to the frame before",
                 {{KEY_FRAME, SPS + PPS + IDR + FILLER + Bytes({0, 0, 1, 10})},
                  {KEY_FRAME, strFront + IDR}});
    ExpectFrames("prefix units between slices",
                 {{KEY_FRAME, SPS + PPS + PREFIX + IDR + PREFIX + IDR_MORE}, {OTHER, PREFIX + P}});
    ExpectFrames("a unit of one byte and an empty one",
                 {{KEY_FRAME, SPS + PPS + IDR + Bytes({0, 0, 1, 9, 0, 0, 1}) + PMORE}, {OTHER, P}});
}

TEST(Frames, H264RecoveryPointsAreKeyFramesWhenThePictureIsIntra) {
    ExpectFrames("open group",
                 {{KEY_FRAME, SPS + PPS + IDR}, {KEY_FRAME, SPS + PPS + RECOVERY + INTRA}});
    ExpectFrames("no recovery point", {{KEY_FRAME, SPS + PPS + IDR}, {OTHER, SPS + PPS + INTRA}});
    ExpectFrames("not intra", {{KEY_FRAME, SPS + PPS + IDR}, {OTHER, RECOVERY + P}});
    ExpectFrames("gradual", {{KEY_FRAME, SPS + PPS + IDR}, {OTHER, GRADUAL + INTRA}});
    ExpectFrames("of the frame before",
                 {{KEY_FRAME, SPS + PPS + IDR}, {OTHER, RECOVERY + P}, {OTHER, INTRA}});
}

TEST(Frames, H265) {
    const std::string strFront = AUD5 + VPS5 + SPS5 + PPS5 + SEI5;
    ExpectFrames("plain", {{KEY_FRAME, VPS5 + SPS5 + PPS5 + IDR5}, {OTHER, P5}, {KEY_FRAME, CRA5}});
    ExpectFrames("all in front", {{KEY_FRAME, strFront + IDR5 + SUFFIX5},
                                  {OTHER, AUD5 + P5 + P5_MORE + SUFFIX5},
                                  {KEY_FRAME, strFront + CRA5}});
    ExpectFrames("short start codes",
                 {{KEY_FRAME, Code3(VPS5) + Code3(SPS5) + Code3(IDR5)}, {OTHER, Code3(P5)}});
}

TEST(Frames, KindOfStreamIsFoundInTheContent) {
    ExpectFrames("in the middle of H.264", {{OTHER, P + P + PMORE}, {KEY_FRAME, IDR}, {OTHER, P}});
    ExpectFrames("in the middle of H.265", {{OTHER, P5 + P5}, {KEY_FRAME, CRA5}, {OTHER, P5}});
    ExpectFrames("H.264, then H.265", {{KEY_FRAME, AUD + SPS + PPS + IDR},
                                       {OTHER, P},
                                       {KEY_FRAME, AUD5 + VPS5 + SPS5 + PPS5 + IDR5},
                                       {OTHER, P5}});
    ExpectFrames("H.265, then H.264",
                 {{KEY_FRAME, VPS5 + SPS5 + PPS5 + IDR5}, {KEY_FRAME, SPS + IDR}});
    ExpectFrames("garbage in front", {{OTHER, Bytes({1, 0, 0, 7, 0, 0, 1, 0xFF, 0, 0, 1})},
                                      {KEY_FRAME, SPS + PPS + IDR}});
    ExpectFrames("no video", {{OTHER, Bytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0})}});
}

TEST(Frames, HeaderIsAHintThatTheContentOverrides) {
    const auto Marks = [](const std::string& strStream, const std::string& strHead) {
        return Analyse(
                   strStream, [] { return 5; }, strHead)
            .vecMark;
    };
    const std::vector<StreamMark> vecTwo = {{0, OTHER}, {P.size(), OTHER}};
    EXPECT_EQ(Marks(P + P, SPS + PPS), vecTwo);
    EXPECT_EQ(Marks(P5 + P5, VPS5 + SPS5 + PPS5), vecTwo);
    const std::vector<StreamMark> vecKey = {{0, KEY_FRAME}};
    EXPECT_EQ(Marks(VPS5 + SPS5 + PPS5 + IDR5, SPS + PPS), vecKey);
    EXPECT_EQ(Marks(SPS + PPS + IDR, "any text at all"), vecKey);
}

TEST(Frames, StartAfreshAfterAFlush) {
    VEXANA_Handle hStream = nullptr;
    ASSERT_EQ(VEXANA_CreateStreamEx(nullptr, 0, &hStream), VEXANA_OK);
    const std::string strStream = SPS + PPS + IDR + Bytes({0, 0});
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(VEXANA_InputData(hStream, strStream.data(), strStream.size()), VEXANA_OK);
        std::string strBack;
        VEXANA_PACKET stPacket;
        ASSERT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_OK);
        EXPECT_EQ(stPacket.nFrameType, KEY_FRAME);
        strBack.assign(stPacket.pData, stPacket.nLength);
        ASSERT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_NO_PACKET);
        ASSERT_EQ(VEXANA_Flush(hStream), VEXANA_OK);
        ASSERT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_OK);
        EXPECT_EQ(stPacket.nFrameType, MORE);
        EXPECT_EQ(strBack + std::string(stPacket.pData, stPacket.nLength), strStream);
        ASSERT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_NO_PACKET);
    }
    VEXANA_Destroy(hStream);
}

}  // namespace
