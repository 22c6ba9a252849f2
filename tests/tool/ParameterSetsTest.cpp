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

Stream Complete(CParameterSetKeeper& stKeeper, const Stream& vecUnit, bool bKey = true) {
    const Bytes st = stKeeper.Complete(vecUnit, bKey);
    return {st.begin(), st.end()};
}

const Stream SPS = {0x67, 1, 2}, PPS = {0x68, 3}, IDR = {0x65, 9, 9}, AUD = {0x09, 0xF0};

TEST(ParameterSets, KeyFramesGetTheSetsTheyLack) {
    const Stream SLICE = {0x41, 7}, NEW_SPS = {0x67, 8, 8};
    CParameterSetKeeper stKeeper(videoCodec::H264, Make({SPS, PPS}));
    EXPECT_EQ(Complete(stKeeper, Make({AUD, IDR})), Make({AUD, SPS, PPS, IDR}));
    EXPECT_EQ(Complete(stKeeper, Make({SLICE}), false), Make({SLICE}));
    for (const bool bLongCodes : {false, true}) {
        const Stream vecWhole = Make({AUD, NEW_SPS, PPS, IDR}, bLongCodes);
        EXPECT_EQ(Complete(stKeeper, vecWhole), vecWhole) << "not doubled";
    }
    EXPECT_EQ(Complete(stKeeper, Make({IDR})), Make({NEW_SPS, PPS, IDR})) << "the latest count";
}

TEST(ParameterSets, WithoutAnySetsAFrameStaysAsItIs) {
    CParameterSetKeeper stKeeper(videoCodec::H264, {});
    EXPECT_EQ(Complete(stKeeper, Make({IDR})), Make({IDR}));
    EXPECT_EQ(Complete(stKeeper, {}), Stream());
}

TEST(ParameterSets, H265NeedsThreeKinds) {
    const Stream VPS = {0x40, 1, 1}, SPS265 = {0x42, 1, 2}, PPS265 = {0x44, 1, 3},
                 AUD265 = {0x46, 1, 4}, KEY = {0x26, 1, 5};
    EXPECT_FALSE(CollectParameterSets(Make({SPS265, PPS265}), videoCodec::H265).bComplete);
    CParameterSetKeeper stKeeper(videoCodec::H265, Make({VPS, SPS265, PPS265}));
    EXPECT_EQ(Complete(stKeeper, Make({AUD265, KEY})), Make({AUD265, VPS, SPS265, PPS265, KEY}));
}

}  // namespace
