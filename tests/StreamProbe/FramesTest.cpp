// Streams made by hand, and how they must be divided.

#include <gtest/gtest.h>

#include "Streams.h"

namespace {

using namespace nal;
using namespace ps;

// The parts, strung together, are divided so however the stream is cut.
void ExpectFrames(const std::string& strName, const std::vector<Part>& vecPart) {
    SCOPED_TRACE(strName);
    std::string strStream;
    StreamMarks vecMark;
    for (const Part& stPart : vecPart) {
        if (stPart.nType != MORE) vecMark.push_back({strStream.size(), stPart.nType});
        strStream += stPart.strBytes;
    }
    EXPECT_EQ(Analyse(strStream).vecMark, vecMark);
    EXPECT_EQ(DifferenceWhenCut(strStream), "");
}

TEST(Frames, UnitsBelongToTheFrameBehindOrBefore) {
    ExpectFrames("zeros behind a frame", {{KEY, SPS + PPS + IDR + Bytes({0, 0, 0, 0})},
                                          {KEY, SPS + IDR + Bytes({0, 0})},
                                          {OTHER, P}});
    ExpectFrames("filler and end of sequence",
                 {{KEY, SPS + IDR + FILLER + Bytes({0, 0, 1, 10})}, {KEY, WHOLE_IDR}});
    ExpectFrames("prefix units between slices",
                 {{KEY, SPS + PPS + PREFIX + IDR + PREFIX + IDR_MORE}, {OTHER, PREFIX + P}});
    ExpectFrames("a unit of one byte and an empty one",
                 {{KEY, SPS + PPS + IDR + Bytes({0, 0, 1, 9, 0, 0, 1}) + P_MORE}, {OTHER, P}});
    ExpectFrames("a last unit that is cut short",
                 {{KEY, SPS + PPS + IDR}, {OTHER, P.substr(0, 6)}});
    ExpectFrames(
        "slices of other views, a forbidden bit",
        {{KEY, SPS + IDR + Nal({0x74, 0x80, 9, 9, 9, 9}) + Nal({0x89, 0xF0})}, {OTHER, P}});
    ExpectFrames("H.265: another layer, no temporal id, reserved types, BLA",
                 {{KEY, WHOLE_IDR5 + Nal({0x26, 0x09, 0x80, 9, 9, 9}) + Nal({0x26, 0, 0x80, 9, 9})},
                  {OTHER, Nal({0x2C, 0x01, 0x80, 9, 9, 9}) + Nal({0x14, 0x01, 0x80, 9, 9, 9})},
                  {KEY, Nal({0x20, 0x01, 0x80, 9, 9, 9})}});
    ExpectFrames("H.265", {{KEY, AUD5 + VPS5 + SPS5 + PPS5 + SEI5 + IDR5 + SUFFIX5},
                           {OTHER, AUD5 + P5 + P5_MORE + SUFFIX5},
                           {KEY, AUD5 + CRA5}});
}

// Found among messages of any length, and only where the picture is intra.
TEST(Frames, H264RecoveryPointsAreKeyFrames) {
    const std::string strSei = Nal({0x06}), strPoint = Bytes({6, 1, 0xC4, 0x80});
    const struct {
        std::uint32_t nType;
        std::string strFrame;
    } cases[] = {
        {KEY, strSei + strPoint + INTRA},
        {KEY, strSei + strPoint + Nal({0x41, 0xB4, 0x99})},  // this slice is I
        {OTHER, strSei + strPoint + P},                      // it is not
        {OTHER, INTRA},                                      // no recovery point
        {KEY, strSei + Bytes({1, 0}) + strPoint + INTRA},    // an empty message in front
        {KEY, strSei + Bytes({5, 0xFF, 0x10}) + std::string(0x10F, 'x') + strPoint + INTRA},
        {KEY, strSei + Bytes({5, 6, 0, 3, 0, 0, 3, 1, 6}) + strPoint + INTRA},  // emulation byte
        {OTHER, strSei + Bytes({5, 3}) + strPoint + INTRA},         // inside another message
        {KEY, strSei + Bytes({0xFF, 5, 1, 9}) + strPoint + INTRA},  // type 260
        {OTHER, strSei + Bytes({0xFF}) + strPoint + INTRA},         // type 261
        {OTHER, strSei + Bytes({6, 2, 0x46, 0x80, 0x80}) + INTRA},  // gradual
    };
    for (const auto& stCase : cases) {
        ExpectFrames(testing::PrintToString(stCase.strFrame),
                     {{KEY, SPS + IDR}, {stCase.nType, stCase.strFrame}, {OTHER, INTRA}});
    }
}

TEST(Frames, KindOfStreamIsFoundInTheContent) {
    ExpectFrames("in the middle of H.264", {{OTHER, P + P + P_MORE}, {KEY, IDR}, {OTHER, P}});
    ExpectFrames("in the middle of H.265", {{OTHER, P5 + P5}, {KEY, CRA5}, {OTHER, P5}});
    ExpectFrames("H.264, H.265, H.264", {{KEY, AUD + SPS + IDR},
                                         {OTHER, P},
                                         {KEY, AUD5 + WHOLE_IDR5},
                                         {OTHER, P5},
                                         {KEY, SPS + IDR}});
    ExpectFrames("garbage in front",
                 {{OTHER, Bytes({1, 0, 0, 7, 0, 0, 1, 0xFF, 0, 0, 1})}, {KEY, SPS + PPS + IDR}});
    ExpectFrames("what only looks like parameter sets",
                 {{OTHER, P + Nal({0x67, 0x42, 0xC3, 0x1E, 9, 9}) + P + P},
                  {MORE, Nal({0x67, 0x42, 0xC0, 0xFF, 9, 9}) + P + P},
                  {MORE, Nal({0x40, 0x01, 0x0C, 0x01, 0xFF, 0x00}) + P5 + P5}});
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

TEST(Frames, FrameOfACameraBeginsWithItsPack) {
    const std::string strHead = PACK + SYSTEM_HEADER + Map(0x1B);
    const std::string strPadding = Unit(0xBE, std::string(30, '\xFF'));
    ExpectFrames("padding and zeros between packets",
                 {{KEY, strHead + Video(WHOLE_IDR) + std::string(9, '\0')},
                  {OTHER, PACK + strPadding + Video(P)}});
    ExpectFrames("joined in the middle: only the map tells",
                 {{OTHER, PACK + Map(0x24) + Video(P5)}, {OTHER, PACK + Video(P5)}});
    ExpectFrames("a map too long to look at",
                 {{KEY, PACK + Unit(0xBC, std::string(5000, '\1')) + Video(WHOLE_IDR)}});
    ExpectFrames("parts in PES packets of their own",
                 {{KEY, strHead + Video(SPS) + Video(PPS) + Audio(9) + Video(IDR)},
                  {OTHER, PACK + Video(AUD) + Video(P) + Video(P_MORE)},
                  {KEY, strHead + Video(AUD + SPS) + Video(PPS + IDR)}});
    ExpectFrames("frames without a pack", {{KEY, strHead + Video(WHOLE_IDR)},
                                           {OTHER, Video(P) + Audio(20)},
                                           {KEY, Video(WHOLE_IDR)},
                                           {KEY, Map(0x1B) + Video(WHOLE_IDR)}});
    ExpectFrames("no length", {{KEY, strHead + OpenVideo(WHOLE_IDR)},
                               {OTHER, PACK + OpenVideo(P) + Audio(30)},
                               {KEY, PACK + OpenVideo(SPS) + OpenVideo(PPS + IDR)}});
    const std::string strTwoTimes = Bytes({0x31, 0, 1, 0, 1, 0x11, 0, 1, 0, 1});
    ExpectFrames("MPEG-1, headers of all kinds",
                 {{KEY, MPEG1_PACK + Unit(0xE0, strTwoTimes + WHOLE_IDR)},
                  {OTHER, MPEG1_PACK + Unit(0xE0, '\x0F' + P)}});
    ExpectFrames("MPEG-1", {{KEY, MPEG1_PACK + Mpeg1Video(WHOLE_IDR)},
                            {OTHER, MPEG1_PACK + Mpeg1Video(P) + Bytes({0, 0, 1, 0xB9})},
                            {KEY, MPEG1_PACK + Mpeg1Video(WHOLE_IDR)}});
}

// Every place at which a PES packet can end, with and without a pack in front of the next one.
TEST(Frames, StartCodesAndHeadersMayBeSplitBetweenPackets) {
    const std::string strP = PACK + Video(P);
    for (std::size_t n = 5; n < WHOLE_IDR.size(); ++n) {
        for (const std::string& strBetween : {std::string(), PACK, Audio(7) + PACK}) {
            const std::string strSplit =
                Video(WHOLE_IDR.substr(0, n)) + strBetween + Video(WHOLE_IDR.substr(n));
            ExpectFrames(std::to_string(n), {{KEY, PACK + Video(WHOLE_IDR)},
                                             {OTHER, strP},
                                             {KEY, PACK + strSplit},
                                             {OTHER, strP}});
        }
    }
}

TEST(Frames, PackedFramesBeginWithThePackAroundThem) {
    const std::string strTail = "the end of a frame";
    ExpectFrames("in the middle of a packet",
                 {{KEY, PACK + Video(WHOLE_IDR + P)},
                  {OTHER, PACK + Video(strTail + P + P.substr(0, 6))},
                  {KEY, PACK + Video(P.substr(6) + P + WHOLE_IDR + P)},
                  {MORE, PACK + Video(strTail) + PACK + Video(strTail)},
                  {KEY, PACK + Video(strTail + SPS)},
                  {MORE, PACK + Video(PPS + IDR)},
                  {OTHER, PACK + Video(P)}});
    ExpectFrames("joined in the middle", {{OTHER, PACK + Video(strTail)},
                                          {KEY, PACK + Video(strTail + WHOLE_IDR)},
                                          {OTHER, PACK + Video(P + P)}});
    // The next pack ends the key frame's only slice and goes on with a start code of this one.
    const std::string strShort = PACK + Video(SPS + PPS + Bytes({0, 0, 1, 0x65, 0x88, 0, 0}));
    ExpectFrames("two in a pack, the first settled by the next",
                 {{KEY, strShort}, {MORE, PACK + Video(P.substr(3))}, {OTHER, PACK + Video(P)}});
    ExpectFrames("and filler that belongs to none", {{KEY, PACK + Video(WHOLE_IDR + P)},
                                                     {KEY, strShort},
                                                     {OTHER, PACK + Video(FILLER.substr(3) + P)}});
    // Deliberate: the pack of the second key frame was passed on already; now packs are held.
    ExpectFrames("first sign of packed frames", {{KEY, PACK + Video(WHOLE_IDR + WHOLE_IDR)},
                                                 {KEY, PACK + Video("tail" + WHOLE_IDR)}});
}

TEST(Frames, PayloadOfACameraIsNotCopied) {
    const std::string strSlice(150000, '\x37');
    const std::vector<Part> vecFrame = {{KEY, WHOLE_IDR + strSlice}, {OTHER, P + strSlice},
                                        {OTHER, P + strSlice},       {OTHER, P + strSlice},
                                        {KEY, WHOLE_IDR + strSlice}, {OTHER, P + strSlice}};
    const std::string strStream = Camera(vecFrame, 0x1B, 65000);
    const StreamResult stResult = Analyse(strStream, 4096, 4096);
    EXPECT_EQ(stResult.vecMark.size(), vecFrame.size());
    EXPECT_LT(stResult.nCopied, strStream.size() / 100);
}

}  // namespace
