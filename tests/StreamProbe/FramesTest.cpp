// Streams made by hand, and how they must be divided: what real ones hold seldom, and broken ones.

#include <filesystem>
#include <random>

#include <gtest/gtest.h>

#include "Streams.h"
#include "Support/TempDir.h"

namespace {

// The parts, strung together, are divided so however the stream is cut.
void ExpectFrames(const std::string& strName, const std::vector<Part>& vPart) {
    SCOPED_TRACE(strName);
    std::string strStream;
    StreamMarks vMark;
    for (const Part& stPart : vPart) {
        if (stPart.nType != MORE) vMark.emplace_back(strStream.size(), stPart.nType);
        strStream += stPart.strBytes;
    }
    EXPECT_EQ(Analyse(strStream).vMark, vMark);
    EXPECT_EQ(DifferenceWhenCut(strStream), "");
}

TEST(Frames, KindOfStreamIsFoundInTheContent) {
    ExpectFrames("in the middle of H.264", {{OTHER, P + P}, {KEY, IDR}, {OTHER, P}});
    ExpectFrames("H.264, H.265, H.264", {{KEY, SPS + IDR + Bytes({0, 0, 0})},
                                         {OTHER, P},
                                         {KEY, WHOLE_IDR5},
                                         {OTHER, P5},
                                         {KEY, SPS + IDR}});
    ExpectFrames("garbage in front",
                 {{OTHER, Bytes({1, 0, 0, 7, 0, 0, 1, 0xFF, 0, 0, 1})}, {KEY, SPS + PPS + IDR}});
}

TEST(Frames, FrameOfACameraBeginsWithItsPack) {
    const std::string strHead = PACK + Map(0x1B);
    ExpectFrames("joined in the middle: only the map tells",
                 {{OTHER, PACK + Map(0x24) + Video(P5)}, {OTHER, PACK + Video(P5)}});
    ExpectFrames("parts in PES packets of their own",
                 {{KEY, strHead + Video(SPS) + Video(PPS) + AUDIO + Video(IDR)},
                  {OTHER, PACK + Video(P) + Video(P_MORE)},
                  {KEY, strHead + Video(SPS) + Video(PPS + IDR)}});
    // Every place at which a PES packet can end, with and without a pack in front of the next one.
    for (std::size_t n = 5; n < WHOLE_IDR.size(); ++n) {
        for (const std::string& strBetween : {std::string(), PACK, AUDIO + PACK}) {
            const std::string strSplit =
                Video(WHOLE_IDR.substr(0, n)) + strBetween + Video(WHOLE_IDR.substr(n));
            ExpectFrames(std::to_string(n), {{KEY, PACK + Video(WHOLE_IDR)},
                                             {OTHER, PACK + Video(P)},
                                             {KEY, PACK + strSplit},
                                             {OTHER, PACK + Video(P)}});
        }
    }
}

TEST(Frames, ShortFrameAtTheEndOfAPacketHidesNoKeyFrame) {
    for (const char* pSlice : {"\x9A\x80", "\x9A\x21\x80", "\x9A\x21\x42\x80"}) {
        for (std::size_t n = 0; n < 8; ++n) {  // start codes of 3 and 4 bytes, zeros behind
            const std::string strP =
                (Nal({0x61}) + pSlice).substr(n % 2) + std::string(n / 2, '\0');
            const std::vector<Part> vGroup = {{KEY, PACK + Video(WHOLE_IDR.substr(n % 2))},
                                              {OTHER, PACK + Video(strP)},
                                              {OTHER, PACK + Video(strP)}};
            std::vector<Part> vPart = vGroup;
            vPart.insert(vPart.end(), vGroup.begin(), vGroup.end());
            ExpectFrames(strP, vPart);
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
}

TEST(Frames, PayloadOfACameraIsNotCopied) {
    const std::string strSlice(150000, '\x37');
    const std::vector<Part> vFrame = {
        {KEY, WHOLE_IDR + strSlice}, {OTHER, P + strSlice}, {KEY, WHOLE_IDR + strSlice}};
    const std::string strStream = Camera(vFrame, 0x1B, 65000);
    const StreamResult stResult = Analyse(strStream, 4096, 4096);
    EXPECT_EQ(stResult.vMark.size(), vFrame.size());
    EXPECT_LT(stResult.nCopied, strStream.size() / 100);
}

TEST(Limits, WhatIsUndecidedIsPassedOnAt4MiB) {
    constexpr std::size_t LIMIT = std::size_t{4} << 20;
    // Units in front of a frame; the six bytes that tell the slice's kind come on top.
    const std::string strSei = Nal({0x06}) + std::string(LIMIT - SPS.size() - 15, '\x11');
    const std::string strFits = SPS + strSei + IDR + P, strTooLong = SPS + strSei + 'x' + IDR + P;
    EXPECT_EQ(KeyFrames(strFits + WHOLE_IDR), (std::vector<std::size_t>{0, strFits.size()}));
    EXPECT_EQ(KeyFrames(strTooLong + WHOLE_IDR), std::vector<std::size_t>{strTooLong.size()});
    EXPECT_EQ(DifferenceWhenCut(strTooLong + WHOLE_IDR, {4096, 700001}, 5), "");
}

// The seeds of the fuzzer, and what becomes of them when bytes are changed and missing.
TEST(Limits, BrokenStreamsComeOutTheSameHoweverCut) {
    std::mt19937 objRandom(7);
    for (const auto& objEntry : std::filesystem::directory_iterator(FUZZ_SEEDS)) {
        const std::string strSeed = GetFile(objEntry.path());
        for (int nFaults = 0; nFaults < 20; ++nFaults) {
            std::string strStream = strSeed + strSeed;
            for (int i = 0; i < nFaults; ++i) {
                strStream[objRandom() % strStream.size()] = static_cast<char>(objRandom() % 4);
                strStream.erase(objRandom() % strStream.size(), objRandom() % 4);
            }
            ASSERT_EQ(DifferenceWhenCut(strStream), "") << objEntry.path() << ' ' << nFaults;
        }
    }
}

TEST(Limits, StreamIsFoundAgain) {
    std::mt19937 objRandom(3);
    std::string strGarbage(100000, '\x09');
    for (char& ch : strGarbage) ch = static_cast<char>(objRandom() % 5);
    strGarbage += '\x09';
    const std::string strPacked = PACK + Video(WHOLE_IDR) + PACK + Video(P);
    for (const std::string& strStream : {WHOLE_IDR + P, strPacked}) {
        const std::string strFront = strStream + strGarbage;
        EXPECT_EQ(KeyFrames(strFront + strStream).back(), strFront.size());
    }
}

}  // namespace
