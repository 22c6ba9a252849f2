// What bad input and bad callers get.

#include <random>

#include <gtest/gtest.h>

#include "Streams.h"

namespace {

constexpr std::size_t LIMIT = std::size_t{4} << 20;

std::size_t SomePiece(std::mt19937& objRandom) {
    return 1 + objRandom() % (objRandom() % 4 == 0 ? 1000000 : 5000);
}

// Bytes in are bytes out, marks are the same, however cut; and no more than the limit is held.
void ExpectBounded(const std::string& strStream, std::size_t nMaxHeld) {
    const StreamResult stWhole = AnalyseWhole(strStream);
    ASSERT_EQ(stWhole.strBytes, strStream);
    for (unsigned nSeed = 0; nSeed < 5; ++nSeed) {
        std::mt19937 objRandom(nSeed);
        const StreamResult stCut = Analyse(strStream, [&] { return SomePiece(objRandom); });
        ASSERT_EQ(stCut.strBytes, strStream);
        ASSERT_EQ(stCut.vecMark, stWhole.vecMark);
        EXPECT_LE(stCut.nMaxHeld, nMaxHeld);
    }
}

TEST(Limits, UnitsInFrontOfAFrameArePassedOnAt4MiB) {
    using namespace nal;
    const std::string strSei = Bytes({0, 0, 0, 1, 0x06}) + std::string(LIMIT + 1000, '\x11');
    const std::string strStart = SPS + PPS + IDR;
    // What follows is no key frame: its beginning is gone. The next one is.
    const std::string strStream = strStart + SPS + strSei + IDR + P + SPS + PPS + IDR;
    ExpectBounded(strStream, LIMIT);
    const std::vector<std::size_t> vecKey = {0, strStream.size() - strStart.size()};
    EXPECT_EQ(KeyFrames(AnalyseWhole(strStream)), vecKey);
}

TEST(Limits, OneByteLessThan4MiBInFrontIsStillAKeyFrame) {
    using namespace nal;
    // The six bytes that tell the slice's kind come on top.
    for (int nTooMuch : {0, 1}) {
        const std::string strSei =
            Bytes({0, 0, 0, 1, 0x06}) + std::string(LIMIT - SPS.size() - 15 + nTooMuch, '\x11');
        const std::string strStream = SPS + strSei + IDR + P;
        ExpectBounded(strStream, LIMIT);
        EXPECT_EQ(KeyFrames(AnalyseWhole(strStream)).size(), nTooMuch == 0 ? 1u : 0u);
    }
}

TEST(Limits, PackWithoutAnEndIsPassedOnAt4MiB) {
    using namespace nal;
    std::string strStream = ps::Pack() + ps::Video(std::string(100, '\x22'));
    while (strStream.size() < LIMIT + 100000) strStream += ps::Video(std::string(60000, '\x22'));
    const std::size_t nLast = strStream.size();
    strStream += ps::Pack() + ps::Video(SPS + PPS + IDR) + ps::Pack();
    ExpectBounded(strStream, LIMIT);
    EXPECT_EQ(KeyFrames(AnalyseWhole(strStream)), std::vector<std::size_t>{nLast});
}

TEST(Limits, GarbagePassesThrough) {
    std::mt19937 objRandom(7);
    const std::string aPieces[] = {nal::SPS,
                                   nal::IDR,
                                   nal::P,
                                   nal::AUD,
                                   nal::VPS5,
                                   nal::IDR5,
                                   nal::SEI,
                                   nal::RECOVERY,
                                   ps::Pack(),
                                   ps::Mpeg1Pack(),
                                   ps::SystemHeader(),
                                   ps::Map(0x24),
                                   ps::Padding(20),
                                   ps::Video(nal::SPS + nal::IDR),
                                   ps::OpenVideo(nal::P),
                                   ps::Mpeg1Video(nal::IDR5),
                                   Bytes({0, 0, 1}),
                                   Bytes({0, 0, 0, 0, 0}),
                                   Bytes({0, 0, 1, 0xBA}),
                                   Bytes({0, 0, 1, 0xE0})};
    for (int nRound = 0; nRound < 60; ++nRound) {
        std::string strStream;
        for (int i = 0; i < 40; ++i) {
            std::string strPiece = aPieces[objRandom() % std::size(aPieces)];
            if (objRandom() % 3 == 0) strPiece.resize(objRandom() % (strPiece.size() + 1));
            if (objRandom() % 3 == 0 && !strPiece.empty()) {
                strPiece[objRandom() % strPiece.size()] = static_cast<char>(objRandom() % 4);
            }
            strStream += strPiece;
        }
        ExpectSameHoweverCut(strStream, 4);
    }
}

TEST(Limits, StreamIsFoundAgainAfterGarbage) {
    using namespace nal;
    std::mt19937 objRandom(3);
    std::string strGarbage(100000, '\0');
    for (char& ch : strGarbage) ch = static_cast<char>(objRandom() % 5);
    const std::string strKey = SPS + PPS + IDR;
    const std::string strPack = ps::Pack() + ps::Video(strKey);
    for (const std::string& strStream : {strKey + P, strPack + ps::Pack() + ps::Video(P)}) {
        const std::string strAll = strStream + strGarbage + Bytes({9}) + strStream;
        const std::vector<std::size_t> vecKey = KeyFrames(AnalyseWhole(strAll));
        ASSERT_FALSE(vecKey.empty());
        EXPECT_EQ(vecKey.back(), strAll.size() - strStream.size());
    }
}

TEST(Limits, CallsOutOfOrderAreRefused) {
    EXPECT_EQ(VEXANA_CreateStreamEx(nullptr, 0, nullptr), VEXANA_FAILED);
    EXPECT_EQ(VEXANA_InputData(nullptr, "x", 1), VEXANA_FAILED);
    EXPECT_EQ(VEXANA_Flush(nullptr), VEXANA_FAILED);
    VEXANA_Destroy(nullptr);
    VEXANA_Handle hStream = nullptr;
    VEXANA_PACKET stPacket;
    EXPECT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_NO_PACKET);
    ASSERT_EQ(VEXANA_CreateStreamEx(nullptr, 0, &hStream), VEXANA_OK);
    EXPECT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_NO_PACKET);
    EXPECT_EQ(VEXANA_InputData(hStream, nullptr, 1), VEXANA_FAILED);
    EXPECT_EQ(VEXANA_InputData(hStream, "abc", 3), VEXANA_OK);
    EXPECT_EQ(VEXANA_InputData(hStream, "abc", 3), VEXANA_FAILED) << "packets not taken";
    EXPECT_EQ(VEXANA_Flush(hStream), VEXANA_FAILED) << "packets not taken";
    EXPECT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_OK);
    EXPECT_EQ(stPacket.nLength, 3u);
    EXPECT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_NO_PACKET);
    EXPECT_EQ(VEXANA_InputData(hStream, nullptr, 0), VEXANA_OK);
    EXPECT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_NO_PACKET);
    EXPECT_EQ(VEXANA_Flush(hStream), VEXANA_OK);
    EXPECT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_NO_PACKET);
    VEXANA_Destroy(hStream);
}

}  // namespace
