#include "ExpectFrames.h"
#include "StreamProbe/ProgramStreamUnits.h"

namespace {

using namespace nal;
using namespace ps;

using Positions = std::vector<std::size_t>;

TEST(ProgramStream, FrameOfACameraBeginsWithItsPack) {
    const std::string strHead = PACK + SYSTEM_HEADER + Map(0x1B);
    const std::string strPadding = Unit(0xBE, std::string(30, '\xFF'));
    ExpectFrames("a pack each", {{KEY, strHead + Video(WHOLE_IDR) + Audio(40)},
                                 {OTHER, PACK + Video(AUD + P) + Audio(40)},
                                 {KEY, strHead + Video(WHOLE_IDR)},
                                 {OTHER, PACK + strPadding + Video(P)}});
    ExpectFrames("H.265", {{KEY, PACK + SYSTEM_HEADER + Map(0x24) + Video(WHOLE_IDR5)},
                           {OTHER, PACK + Video(P5)}});
    ExpectFrames("joined in the middle: only the map tells",
                 {{OTHER, PACK + Map(0x24) + Video(P5)}, {OTHER, PACK + Video(P5)}});
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
    ExpectFrames("MPEG-1", {{KEY, MPEG1_PACK + Mpeg1Video(WHOLE_IDR)},
                            {OTHER, MPEG1_PACK + Mpeg1Video(P) + Bytes({0, 0, 1, 0xB9})},
                            {KEY, MPEG1_PACK + Mpeg1Video(WHOLE_IDR)}});
    ExpectFrames("zeros between packs",
                 {{KEY, PACK + Video(WHOLE_IDR) + std::string(9, '\0')}, {OTHER, PACK + Video(P)}});
}

// Every place at which a PES packet can end, with and without a pack in front of the next one.
TEST(ProgramStream, StartCodesAndHeadersMayBeSplitBetweenPackets) {
    const std::string strP = PACK + Video(P);
    for (std::size_t n = 5; n < WHOLE_IDR.size(); ++n) {
        for (const std::string& strBetween : {std::string(), PACK, Audio(7) + PACK}) {
            const std::string strSplit =
                Video(WHOLE_IDR.substr(0, n)) + strBetween + Video(WHOLE_IDR.substr(n));
            ExpectFrames(std::to_string(n).c_str(), {{KEY, PACK + Video(WHOLE_IDR)},
                                                     {OTHER, strP},
                                                     {KEY, PACK + strSplit},
                                                     {OTHER, strP}});
        }
    }
}

TEST(ProgramStream, PackedFramesBeginWithThePackAroundThem) {
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
}

// Deliberate: the pack of the second key frame was passed on already; from then on packs are held.
TEST(ProgramStream, KeyFrameWhosePackIsGoneIsNone) {
    ExpectFrames("first sign of packed frames", {{KEY, PACK + Video(WHOLE_IDR + WHOLE_IDR)},
                                                 {KEY, PACK + Video("tail" + WHOLE_IDR)}});
}

TEST(ProgramStream, PayloadOfACameraIsNotCopied) {
    const std::string strSlice(150000, '\x37');
    std::vector<Part> vecFrame;
    for (int i = 0; i < 20; ++i) {
        vecFrame.push_back(i % 10 == 0 ? Part{KEY, WHOLE_IDR + strSlice}
                                       : Part{OTHER, P + strSlice});
    }
    const std::string strStream = Camera(vecFrame, 0x1B, 65000);
    const StreamResult stResult = Analyse(strStream, 4096, 4096);
    EXPECT_EQ(stResult.vecMark.size(), vecFrame.size());
    EXPECT_EQ(KeyFrames(stResult.vecMark).size(), 2u);
    EXPECT_LT(stResult.nCopied, strStream.size() / 100);
}

TEST(ProgramStream, MissingBytesAreGotOver) {
    const std::string strStart = PACK + Video(WHOLE_IDR) + PACK + Video(P);
    const std::string strFrame = PACK + Video(P + std::string(200, '\x44'));
    const std::string strKey = PACK + SYSTEM_HEADER + Map(0x1B) + Video(WHOLE_IDR);
    for (std::size_t nMissing = 1; nMissing < 200; nMissing += 7) {
        const std::string strLost = strStart + strFrame.substr(0, strFrame.size() - nMissing);
        EXPECT_EQ(KeyFrames(strLost + strKey + strFrame), (Positions{0, strLost.size()}))
            << nMissing;
    }
}

// What looks like a bare stream behind a broken packet is its inside; after a MiB it is believed.
TEST(ProgramStream, NothingIsCutInsideABrokenPacket) {
    const std::string strBroken = PACK + Video(WHOLE_IDR) + "junk";
    const std::string strKey = WHOLE_IDR + std::string(1 << 20, '\x33');
    EXPECT_EQ(KeyFrames(strBroken + strKey + strKey),
              (Positions{0, strBroken.size() + strKey.size()}));
    const std::string strFalse = WHOLE_IDR + PACK + "no unit follows";
    EXPECT_EQ(KeyFrames(strFalse + WHOLE_IDR), (Positions{0, strFalse.size()}));
}

TEST(ProgramStreamUnits, BadHeadersAndMapsAreRefused) {
    const auto IsValid = [](const std::vector<int>& vecUnit) {
        const std::vector<std::uint8_t> vecByte(vecUnit.begin(), vecUnit.end());
        return GetUnitShape(vecByte.data(), vecByte.size()).bValid;
    };
    EXPECT_FALSE(IsValid({0, 0, 1, 0xBA, 0x80}));
    EXPECT_FALSE(IsValid({0, 0, 1, 0xE0, 0, 4, 0x80, 0, 2})) << "longer than its packet";
    std::vector<int> vecStuffing(23, 0xFF);
    std::copy_n(std::begin({0, 0, 1, 0xE0, 0, 99}), 6, vecStuffing.begin());
    EXPECT_FALSE(IsValid(vecStuffing)) << "stuffing without end";

    const auto Codec = [](const std::string& strMap) {
        const std::vector<std::uint8_t> vecByte(strMap.begin(), strMap.end());
        return GetMapCodec(vecByte.data(), vecByte.size());
    };
    EXPECT_EQ(Codec(Map(0x1B)), ECodec::H264);
    EXPECT_EQ(Codec(Map(0x02)), ECodec::Unknown);
    for (std::size_t n = 6; n < Map(0x1B).size(); ++n) {
        EXPECT_EQ(Codec(Map(0x1B).substr(0, n)), ECodec::Unknown) << "cut off at " << n;
    }
    EXPECT_EQ(Codec(Unit(0xBC, Bytes({0xE0, 0xFF, 0xFF, 0xFF}) + std::string(8, '\xFF'))),
              ECodec::Unknown);
}

}  // namespace
