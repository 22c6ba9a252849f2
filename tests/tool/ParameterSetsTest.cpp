#include <string>

#include <gtest/gtest.h>

#include "../../tools/localstorage/ParameterSets.h"

namespace {

using Stream = std::vector<std::uint8_t>;

/// Bytes of a stream from units given as their head byte and payload.
Stream Make(std::initializer_list<Stream> vecUnits, bool bLongCodes = true) {
    Stream vecBytes;
    for (const Stream& vecUnit : vecUnits) {
        if (bLongCodes) vecBytes.push_back(0);
        vecBytes.insert(vecBytes.end(), {0, 0, 1});
        vecBytes.insert(vecBytes.end(), vecUnit.begin(), vecUnit.end());
    }
    return vecBytes;
}

Stream ToStream(Bytes st) {
    return {st.begin(), st.end()};
}

const Stream SPS = {0x67, 1, 2}, PPS = {0x68, 3}, IDR = {0x65, 9, 9}, AUD = {0x09, 0xF0},
             SLICE = {0x41, 7};

TEST(ParameterSets, KeyFramesGetTheSetsTheyLack) {
    CParameterSetKeeper stKeeper(videoCodec::H264, Make({SPS, PPS}));
    EXPECT_EQ(ToStream(stKeeper.Complete(Make({IDR}), true)), Make({SPS, PPS, IDR}));
    EXPECT_EQ(ToStream(stKeeper.Complete(Make({AUD, IDR}), true)), Make({AUD, SPS, PPS, IDR}));
    EXPECT_EQ(ToStream(stKeeper.Complete(Make({SLICE}), false)), Make({SLICE}));
}

TEST(ParameterSets, SetsThatAreThereAreNotDoubled) {
    CParameterSetKeeper stKeeper(videoCodec::H264, Make({SPS, PPS}));
    for (const bool bLongCodes : {false, true}) {
        const Stream vecUnit = Make({AUD, SPS, PPS, IDR}, bLongCodes);
        EXPECT_EQ(ToStream(stKeeper.Complete(vecUnit, true)), vecUnit);
    }
}

TEST(ParameterSets, TheLatestSetsOfTheStreamCount) {
    const Stream NEW_SPS = {0x67, 8, 8};
    CParameterSetKeeper stKeeper(videoCodec::H264, Make({SPS, PPS}));
    stKeeper.Complete(Make({NEW_SPS, PPS, IDR}), true);
    EXPECT_EQ(ToStream(stKeeper.Complete(Make({IDR}), true)), Make({NEW_SPS, PPS, IDR}));
}

TEST(ParameterSets, WithoutAnySetsAFrameStaysAsItIs) {
    CParameterSetKeeper stKeeper(videoCodec::H264, {});
    EXPECT_EQ(ToStream(stKeeper.Complete(Make({IDR}), true)), Make({IDR}));
    EXPECT_EQ(ToStream(stKeeper.Complete({}, true)), Stream());
}

TEST(ParameterSets, H265NeedsThreeKinds) {
    const Stream VPS = {0x40, 1, 1}, SPS265 = {0x42, 1, 2}, PPS265 = {0x44, 1, 3},
                 AUD265 = {0x46, 1, 4}, KEY = {0x26, 1, 5};
    const Stream vecSets = Make({VPS, SPS265, PPS265});
    EXPECT_TRUE(CollectParameterSets(vecSets, videoCodec::H265).bComplete);
    EXPECT_FALSE(CollectParameterSets(Make({SPS265, PPS265}), videoCodec::H265).bComplete);
    CParameterSetKeeper stKeeper(videoCodec::H265, vecSets);
    EXPECT_EQ(ToStream(stKeeper.Complete(Make({AUD265, KEY}), true)),
              Make({AUD265, VPS, SPS265, PPS265, KEY}));
}

}  // namespace
