// What bad input and bad callers get.

#include <filesystem>
#include <random>

#include <gtest/gtest.h>

#include "Streams.h"
#include "Support/TempDir.h"

namespace {

using namespace nal;
using namespace ps;

constexpr std::size_t LIMIT = std::size_t{4} << 20;
using Positions = std::vector<std::size_t>;

TEST(Limits, WhatIsUndecidedIsPassedOnAt4MiB) {
    const auto Expect = [](const std::string& strStream, const Positions& vecKey) {
        EXPECT_EQ(KeyFrames(strStream), vecKey);
        EXPECT_EQ(DifferenceWhenCut(strStream, {4096, 700001}, 5), "");
    };
    // Units in front of a frame; the six bytes that tell the slice's kind come on top.
    const std::string strSei = Nal({0x06}) + std::string(LIMIT - SPS.size() - 15, '\x11');
    const std::string strFits = SPS + strSei + IDR + P, strTooLong = SPS + strSei + 'x' + IDR + P;
    Expect(strFits + WHOLE_IDR, {0, strFits.size()});
    Expect(strTooLong + WHOLE_IDR, {strTooLong.size()});  // the first's beginning is gone

    // A pack without an end: a frame begins with the first PES packet behind it.
    const std::string strFill = Video(std::string(60000, '\x22'));
    std::string strPack = PACK;
    while (strPack.size() < LIMIT) strPack += strFill;
    const std::string strLate = strPack + Video(WHOLE_IDR) + strFill;
    Expect(strLate + PACK + Video(WHOLE_IDR) + PACK, {strPack.size(), strLate.size()});
}

// The seeds of the fuzzer, and what becomes of them when bytes are changed and missing.
TEST(Limits, BrokenStreamsComeOutTheSameHoweverCut) {
    std::mt19937 objRandom(7);
    for (const auto& objEntry : std::filesystem::directory_iterator(FUZZ_SEEDS)) {
        const std::string strSeed = GetFile(objEntry.path());
        ASSERT_FALSE(strSeed.empty());
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
    // A packet is shorter than it says.
    const std::string strLong = PACK + Video(P + std::string(200, '\x44'));
    for (std::size_t nMissing = 1; nMissing < 200; nMissing += 7) {
        const std::string strLost = strPacked + strLong.substr(0, strLong.size() - nMissing);
        EXPECT_EQ(KeyFrames(strLost + strPacked), (Positions{0, strLost.size()})) << nMissing;
    }
    // What looks like a bare stream behind a broken packet is its inside; after a MiB it counts.
    const std::string strBroken = PACK + Video(WHOLE_IDR) + "junk";
    const std::string strKey = WHOLE_IDR + std::string(1 << 20, '\x33');
    EXPECT_EQ(KeyFrames(strBroken + strKey + strKey),
              (Positions{0, strBroken.size() + strKey.size()}));
    // What looks like a unit of a program stream and is none.
    for (const std::string& strFalse :
         {PACK + "no unit follows", Bytes({0, 0, 1, 0xBA, 0x80}),      // no pack of any version
          Bytes({0, 0, 1, 0xE0, 0, 4, 0x80, 0, 2}),                    // longer than its packet
          Bytes({0, 0, 1, 0xE0, 0, 99}) + std::string(2000, '\xFF')})  // stuffing without end
        EXPECT_EQ(KeyFrames(WHOLE_IDR + strFalse + WHOLE_IDR),
                  (Positions{0, WHOLE_IDR.size() + strFalse.size()}));
}

TEST(Limits, CallsOutOfOrderAreRefused) {
    VEXANA_Handle hStream = nullptr;
    VEXANA_PACKET stPacket;
    EXPECT_EQ(VEXANA_CreateStreamEx(nullptr, 0, nullptr), VEXANA_FAILED);
    EXPECT_EQ(VEXANA_InputData(hStream, "x", 1), VEXANA_FAILED);
    EXPECT_EQ(VEXANA_Flush(hStream), VEXANA_FAILED);
    EXPECT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_NO_PACKET);
    VEXANA_Destroy(hStream);
    ASSERT_EQ(VEXANA_CreateStreamEx(nullptr, 0, &hStream), VEXANA_OK);
    EXPECT_EQ(VEXANA_InputData(hStream, nullptr, 1), VEXANA_FAILED);
    EXPECT_EQ(VEXANA_InputData(hStream, "abc", 3), VEXANA_OK);
    EXPECT_EQ(VEXANA_InputData(hStream, "abc", 3), VEXANA_FAILED) << "packets not taken";
    EXPECT_EQ(VEXANA_Flush(hStream), VEXANA_FAILED) << "packets not taken";
    EXPECT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_OK);
    EXPECT_EQ(VEXANA_GetOnePacketEx(hStream, stPacket), VEXANA_NO_PACKET);
    EXPECT_EQ(VEXANA_Flush(hStream), VEXANA_OK);
    VEXANA_Destroy(hStream);
}

}  // namespace
