// What bad input and bad callers get.

#include <filesystem>
#include <random>

#include <gtest/gtest.h>

#include "Streams.h"
#include "Support/TempDir.h"

namespace {

using namespace nal;

constexpr std::size_t LIMIT = std::size_t{4} << 20;

void ExpectKeyFrames(const std::string& strStream, const std::vector<std::size_t>& vecExpected) {
    EXPECT_EQ(KeyFrames(strStream), vecExpected);
    EXPECT_EQ(DifferenceWhenCut(strStream, {4096, 700001}, 5), "");
}

TEST(Limits, UnitsInFrontOfAFrameArePassedOnAt4MiB) {
    // The six bytes that tell the slice's kind come on top.
    const std::size_t nMost = LIMIT - SPS.size() - 15;
    for (const std::size_t nTooMuch : {std::size_t{0}, std::size_t{1}, std::size_t{100000}}) {
        const std::string strSei = Nal({0x06}) + std::string(nMost + nTooMuch, '\x11');
        const std::string strStream = SPS + strSei + IDR + P;
        // Past the limit it is no key frame: its beginning is gone. The next one is.
        std::vector<std::size_t> vecKey = {0, strStream.size()};
        if (nTooMuch > 0) vecKey.erase(vecKey.begin());
        ExpectKeyFrames(strStream + WHOLE_IDR, vecKey);
    }
}

TEST(Limits, PackWithoutAnEndIsPassedOnAt4MiB) {
    const std::string strFill = ps::Video(std::string(60000, '\x22'));
    std::string strStream = ps::PACK;
    while (strStream.size() < LIMIT) strStream += strFill;
    // The pack is gone, so a frame begins with the first PES packet behind it.
    const std::size_t nLate = strStream.size();
    strStream += ps::Video(WHOLE_IDR) + strFill;
    const std::string strKey = ps::PACK + ps::Video(WHOLE_IDR) + ps::PACK;
    ExpectKeyFrames(strStream + strKey, {nLate, strStream.size()});
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

TEST(Limits, StreamIsFoundAgainAfterGarbage) {
    std::mt19937 objRandom(3);
    std::string strGarbage(100000, '\0');
    for (char& ch : strGarbage) ch = static_cast<char>(objRandom() % 5);
    const std::string strPack = ps::PACK + ps::Video(WHOLE_IDR);
    for (const std::string& strStream : {WHOLE_IDR + P, strPack + ps::PACK + ps::Video(P)}) {
        const std::string strFront = strStream + strGarbage + Bytes({9});
        const std::vector<std::size_t> vecKey = KeyFrames(strFront + strStream);
        ASSERT_FALSE(vecKey.empty());
        EXPECT_EQ(vecKey.back(), strFront.size());
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
