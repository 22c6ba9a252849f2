#include <gtest/gtest.h>

#include "StreamProbe/ProgramStreamUnits.h"
#include "Streams.h"

namespace {

using namespace nal;
constexpr std::uint32_t kI = VEXANA_FRAME_I, kOther = VEXANA_FRAME_OTHER;

const std::string kKey = kSps + kPps + kSei + kIdr;
const std::string kKey5 = kVps5 + kSps5 + kPps5 + kIdr5;

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
        if (stPart.nType != 0) {
            vecMark.push_back({strStream.size(), stPart.nType});
        }
        strStream += stPart.strBytes;
    }
    EXPECT_EQ(AnalyseWhole(strStream).vecMark, vecMark);
    ExpectSameHoweverCut(strStream, 5);
}

TEST(ProgramStream, FrameOfACameraBeginsWithItsPack) {
    const std::string strHead = ps::Pack() + ps::SystemHeader() + ps::Map(0x1B);
    ExpectMarks("a pack each", {{kI, strHead + ps::Video(kKey) + ps::Audio(40)},
                                {kOther, ps::Pack() + ps::Video(kAud + kP) + ps::Audio(40)},
                                {kI, strHead + ps::Video(kKey)},
                                {kOther, ps::Pack() + ps::Padding(30) + ps::Video(kP)}});
    ExpectMarks("H.265", {{kI, ps::Pack() + ps::SystemHeader() + ps::Map(0x24) + ps::Video(kKey5)},
                          {kOther, ps::Pack() + ps::Video(kP5)},
                          {kI, ps::Pack() + ps::Video(kKey5)}});
    ExpectMarks("parts in PES packets of their own",
                {{kI, strHead + ps::Video(kSps) + ps::Video(kPps) + ps::Audio(9) + ps::Video(kIdr)},
                 {kOther, ps::Pack() + ps::Video(kAud) + ps::Video(kP) + ps::Video(kPMore)},
                 {kI, strHead + ps::Video(kAud + kSps) + ps::Video(kPps + kIdr)}});
    ExpectMarks("frames without a pack", {{kI, strHead + ps::Video(kKey)},
                                          {kOther, ps::Video(kP) + ps::Audio(20)},
                                          {kI, ps::Video(kKey)},
                                          {kI, ps::Map(0x1B) + ps::Video(kKey)}});
    ExpectMarks("no length", {{kI, strHead + ps::OpenVideo(kKey)},
                              {kOther, ps::Pack() + ps::OpenVideo(kP) + ps::Audio(30)},
                              {kI, ps::Pack() + ps::OpenVideo(kSps) + ps::OpenVideo(kPps + kIdr)}});
    ExpectMarks("MPEG-1", {{kI, ps::Mpeg1Pack() + ps::Mpeg1Video(kKey)},
                           {kOther, ps::Mpeg1Pack() + ps::Mpeg1Video(kP) + Bytes({0, 0, 1, 0xB9})},
                           {kI, ps::Mpeg1Pack() + ps::Mpeg1Video(kKey)}});
    ExpectMarks("zeros between packs", {{kI, strHead + ps::Video(kKey) + std::string(9, '\0')},
                                        {kOther, ps::Pack() + ps::Video(kP)}});
}

// Every place at which a PES packet can end, with and without a pack in front of the next one.
TEST(ProgramStream, StartCodesAndHeadersMayBeSplitBetweenPackets) {
    const std::string strFront = ps::Pack() + ps::Video(kKey) + ps::Pack() + ps::Video(kP);
    for (std::size_t n = 5; n < kKey.size(); ++n) {
        for (const std::string& strBetween :
             {std::string(), ps::Pack(), ps::Audio(7) + ps::Pack()}) {
            const std::string strStream = strFront + ps::Pack() + ps::Video(kKey.substr(0, n)) +
                                          strBetween + ps::Video(kKey.substr(n)) + ps::Pack() +
                                          ps::Video(kP);
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
                {{kI, ps::Pack() + ps::Video(kKey + kP)},
                 {kOther, ps::Pack() + ps::Video(strTail + kP + kP.substr(0, 6))},
                 {kI, ps::Pack() + ps::Video(kP.substr(6) + kP + kKey + kP)},
                 {0, ps::Pack() + ps::Video(strTail) + ps::Pack() + ps::Video(strTail)},
                 {kI, ps::Pack() + ps::Video(strTail + kSps)},
                 {0, ps::Pack() + ps::Video(kPps + kIdr)},
                 {kOther, ps::Pack() + ps::Video(kP)}});
    ExpectMarks("joined in the middle", {{kOther, ps::Pack() + ps::Video(strTail)},
                                         {kI, ps::Pack() + ps::Video(strTail + kKey)},
                                         {kOther, ps::Pack() + ps::Video(kP + kP)}});
}

// Deliberate: the pack of the second key frame was passed on already; from then on packs are held.
TEST(ProgramStream, KeyFrameWhosePackIsGoneIsNone) {
    ExpectMarks("first sign of packed frames", {{kI, ps::Pack() + ps::Video(kKey + kKey)},
                                                {kI, ps::Pack() + ps::Video("tail" + kKey)}});
}

TEST(ProgramStream, PayloadOfACameraIsNotCopied) {
    std::vector<std::string> vecFrame;
    std::vector<bool> vecKey;
    for (int i = 0; i < 20; ++i) {
        vecKey.push_back(i % 10 == 0);
        vecFrame.push_back((vecKey.back() ? kKey : kP) + std::string(150000, '\x37'));
    }
    const std::string strStream = ps::Camera(vecFrame, vecKey, 0x1B, 65000);
    const StreamResult stResult = Analyse(strStream, [] { return 4096; });
    EXPECT_EQ(stResult.vecMark.size(), vecFrame.size());
    EXPECT_EQ(KeyFrames(stResult).size(), 2u);
    EXPECT_LT(stResult.nCopied, strStream.size() / 100);
}

TEST(ProgramStream, MissingBytesAreGotOver) {
    std::string strStart = ps::Pack() + ps::Video(kKey) + ps::Pack() + ps::Video(kP);
    const std::string strFrame = ps::Pack() + ps::Video(kP + std::string(200, '\x44'));
    const std::string strKey = ps::Pack() + ps::SystemHeader() + ps::Map(0x1B) + ps::Video(kKey);
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
    const std::string strBroken = ps::Pack() + ps::Video(kKey) + "junk";
    const std::string strKey = kSps + kPps + kIdr + std::string(1 << 20, '\x33');
    const std::string strStream = strBroken + strKey + strKey;
    EXPECT_EQ(KeyFrames(AnalyseWhole(strStream)),
              (std::vector<std::size_t>{0, strBroken.size() + strKey.size()}));
    const std::string strFalse = kKey + ps::Pack() + "no unit follows";
    EXPECT_EQ(KeyFrames(AnalyseWhole(strFalse + kKey)),
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
