#include <gtest/gtest.h>

#include "StreamProbe/ProgramStreamUnits.h"
#include "Streams.h"

namespace {

using namespace nal;
constexpr std::uint32_t KEY_FRAME = VEXANA_FRAME_I, OTHER = VEXANA_FRAME_OTHER;

const std::string KEY = SPS + PPS + SEI + IDR;
const std::string KEY5 = VPS5 + SPS5 + PPS5 + IDR5;

/// Packs, and what begins with each (0 for nothing).
struct Part {
    std::uint32_t nType;
    std::string strBytes;
};

void ExpectMarks(const char* szName, const std::vector<Part>& vecPart) {
    SCOPED_TRACE(szName);
    std::string strStream;
    std::vector<StreamMark> vecMark;
    for (const Part& stPart : vecPart) {
        if (stPart.nType != 0) vecMark.push_back({strStream.size(), stPart.nType});
        strStream += stPart.strBytes;
    }
    EXPECT_EQ(AnalyseWhole(strStream).vecMark, vecMark);
    ExpectSameHoweverCut(strStream, 5);
}

TEST(ProgramStream, FrameOfACameraBeginsWithItsPack) {
    const std::string strHead = ps::Pack() + ps::SystemHeader() + ps::Map(0x1B);
    ExpectMarks("a pack each", {{KEY_FRAME, strHead + ps::Video(KEY) + ps::Audio(40)},
                                {OTHER, ps::Pack() + ps::Video(AUD + P) + ps::Audio(40)},
                                {KEY_FRAME, strHead + ps::Video(KEY)},
                                {OTHER, ps::Pack() + ps::Padding(30) + ps::Video(P)}});
    ExpectMarks("H.265",
                {{KEY_FRAME, ps::Pack() + ps::SystemHeader() + ps::Map(0x24) + ps::Video(KEY5)},
                 {OTHER, ps::Pack() + ps::Video(P5)},
                 {KEY_FRAME, ps::Pack() + ps::Video(KEY5)}});
    ExpectMarks(
        "parts in PES packets of their own",
        {{KEY_FRAME, strHead + ps::Video(SPS) + ps::Video(PPS) + ps::Audio(9) + ps::Video(IDR)},
         {OTHER, ps::Pack() + ps::Video(AUD) + ps::Video(P) + ps::Video(PMORE)},
         {KEY_FRAME, strHead + ps::Video(AUD + SPS) + ps::Video(PPS + IDR)}});
    ExpectMarks("frames without a pack", {{KEY_FRAME, strHead + ps::Video(KEY)},
                                          {OTHER, ps::Video(P) + ps::Audio(20)},
                                          {KEY_FRAME, ps::Video(KEY)},
                                          {KEY_FRAME, ps::Map(0x1B) + ps::Video(KEY)}});
    ExpectMarks("no length",
                {{KEY_FRAME, strHead + ps::OpenVideo(KEY)},
                 {OTHER, ps::Pack() + ps::OpenVideo(P) + ps::Audio(30)},
                 {KEY_FRAME, ps::Pack() + ps::OpenVideo(SPS) + ps::OpenVideo(PPS + IDR)}});
    ExpectMarks("MPEG-1", {{KEY_FRAME, ps::Mpeg1Pack() + ps::Mpeg1Video(KEY)},
                           {OTHER, ps::Mpeg1Pack() + ps::Mpeg1Video(P) + Bytes({0, 0, 1, 0xB9})},
                           {KEY_FRAME, ps::Mpeg1Pack() + ps::Mpeg1Video(KEY)}});
    ExpectMarks("zeros between packs",
                {{KEY_FRAME, strHead + ps::Video(KEY) + std::string(9, '\0')},
                 {OTHER, ps::Pack() + ps::Video(P)}});
}

// Every place at which a PES packet can end, with and without a pack in front of the next one.
TEST(ProgramStream, StartCodesAndHeadersMayBeSplitBetweenPackets) {
    const std::string strFront = ps::Pack() + ps::Video(KEY) + ps::Pack() + ps::Video(P);
    for (std::size_t n = 5; n < KEY.size(); ++n) {
        for (const std::string& strBetween :
             {std::string(), ps::Pack(), ps::Audio(7) + ps::Pack()}) {
            const std::string strStream = strFront + ps::Pack() + ps::Video(KEY.substr(0, n)) +
                                          strBetween + ps::Video(KEY.substr(n)) + ps::Pack() +
                                          ps::Video(P);
            ASSERT_EQ(KeyFrames(AnalyseWhole(strStream)),
                      (std::vector<std::size_t>{0, strFront.size()}))
                << n;
            ExpectSameHoweverCut(strStream, 3);
        }
    }
}

TEST(ProgramStream, PackedFramesBeginWithThePackAroundThem) {
    const std::string strTail = "the end of a frame";
    ExpectMarks("in the middle of a packet",
                {{KEY_FRAME, ps::Pack() + ps::Video(KEY + P)},
                 {OTHER, ps::Pack() + ps::Video(strTail + P + P.substr(0, 6))},
                 {KEY_FRAME, ps::Pack() + ps::Video(P.substr(6) + P + KEY + P)},
                 {0, ps::Pack() + ps::Video(strTail) + ps::Pack() + ps::Video(strTail)},
                 {KEY_FRAME, ps::Pack() + ps::Video(strTail + SPS)},
                 {0, ps::Pack() + ps::Video(PPS + IDR)},
                 {OTHER, ps::Pack() + ps::Video(P)}});
    ExpectMarks("joined in the middle", {{OTHER, ps::Pack() + ps::Video(strTail)},
                                         {KEY_FRAME, ps::Pack() + ps::Video(strTail + KEY)},
                                         {OTHER, ps::Pack() + ps::Video(P + P)}});
}

// Deliberate: the pack of the second key frame was passed on already; from then on packs are held.
TEST(ProgramStream, KeyFrameWhosePackIsGoneIsNone) {
    ExpectMarks("first sign of packed frames", {{KEY_FRAME, ps::Pack() + ps::Video(KEY + KEY)},
                                                {KEY_FRAME, ps::Pack() + ps::Video("tail" + KEY)}});
}

TEST(ProgramStream, PayloadOfACameraIsNotCopied) {
    std::vector<std::string> vecFrame;
    std::vector<bool> vecKey;
    for (int i = 0; i < 20; ++i) {
        vecKey.push_back(i % 10 == 0);
        vecFrame.push_back((vecKey.back() ? KEY : P) + std::string(150000, '\x37'));
    }
    const std::string strStream = ps::Camera(vecFrame, vecKey, 0x1B, 65000);
    const StreamResult stResult = Analyse(strStream, [] { return 4096; });
    EXPECT_EQ(stResult.vecMark.size(), vecFrame.size());
    EXPECT_EQ(KeyFrames(stResult).size(), 2u);
    EXPECT_LT(stResult.nCopied, strStream.size() / 100);
}

TEST(ProgramStream, MissingBytesAreGotOver) {
    std::string strStart = ps::Pack() + ps::Video(KEY) + ps::Pack() + ps::Video(P);
    const std::string strFrame = ps::Pack() + ps::Video(P + std::string(200, '\x44'));
    const std::string strKey = ps::Pack() + ps::SystemHeader() + ps::Map(0x1B) + ps::Video(KEY);
    for (std::size_t nMissing = 1; nMissing < 200; nMissing += 7) {
        const std::string strLost = strFrame.substr(0, strFrame.size() - nMissing);
        const std::string strStream = strStart + strLost + strKey + strFrame;
        ASSERT_EQ(KeyFrames(AnalyseWhole(strStream)),
                  (std::vector<std::size_t>{0, strStart.size() + strLost.size()}))
            << nMissing;
    }
}

// What looks like a bare stream behind a broken packet is its inside; after a MiB it is believed.
TEST(ProgramStream, NothingIsCutInsideABrokenPacket) {
    const std::string strBroken = ps::Pack() + ps::Video(KEY) + "junk";
    const std::string strKey = SPS + PPS + IDR + std::string(1 << 20, '\x33');
    const std::string strStream = strBroken + strKey + strKey;
    EXPECT_EQ(KeyFrames(AnalyseWhole(strStream)),
              (std::vector<std::size_t>{0, strBroken.size() + strKey.size()}));
    const std::string strFalse = KEY + ps::Pack() + "no unit follows";
    EXPECT_EQ(KeyFrames(AnalyseWhole(strFalse + KEY)),
              (std::vector<std::size_t>{0, strFalse.size()}));
}

TEST(ProgramStreamUnits, ShapesAndMaps) {
    const auto Shape = [](const std::string& strUnit) {
        return GetUnitShape(reinterpret_cast<const std::uint8_t*>(strUnit.data()), strUnit.size());
    };
    EXPECT_EQ(Shape(ps::Pack()).nSkip, 2u);
    EXPECT_EQ(Shape(ps::Video("abcdefg")).nPayload, 7u);
    EXPECT_EQ(Shape(ps::Mpeg1Video("abcdefg")).nPayload, 7u);
    EXPECT_TRUE(Shape(ps::OpenVideo("a")).bOpen);
    EXPECT_FALSE(Shape(Bytes({0, 0, 1, 0xBA, 0x80})).bValid);
    EXPECT_FALSE(Shape(Bytes({0, 0, 1, 0x67})).bValid);
    // A header longer than its packet, and stuffing without end.
    EXPECT_FALSE(Shape(Bytes({0, 0, 1, 0xE0, 0, 4, 0x80, 0, 2})).bValid);
    EXPECT_FALSE(Shape(Bytes({0, 0, 1, 0xE0, 0, 99}) + std::string(17, '\xFF')).bValid);
    const auto Codec = [](const std::string& strMap) {
        return GetMapCodec(reinterpret_cast<const std::uint8_t*>(strMap.data()), strMap.size());
    };
    EXPECT_EQ(Codec(ps::Map(0x1B)), ECodec::H264);
    EXPECT_EQ(Codec(ps::Map(0x24)), ECodec::H265);
    EXPECT_EQ(Codec(ps::Map(0x02)), ECodec::Unknown);
    for (std::size_t n = 6; n < ps::Map(0x1B).size(); ++n) {
        Codec(ps::Map(0x1B).substr(0, n));  // reads no further than it may
    }
    EXPECT_EQ(Codec(Bytes({0, 0, 1, 0xBC, 0, 12, 0xE0, 0xFF, 0xFF, 0xFF}) + std::string(8, '\xFF')),
              ECodec::Unknown);
}

}  // namespace
