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

const Stream kSps = {0x67, 1, 2}, kPps = {0x68, 3}, kIdr = {0x65, 9, 9}, kAud = {0x09, 0xF0},
             kSlice = {0x41, 7};

TEST(ParameterSets, KeyFramesGetTheSetsTheyLack) {
    CParameterSetKeeper stKeeper(videoCodec::H264, Make({kSps, kPps}));
    EXPECT_EQ(ToStream(stKeeper.Complete(Make({kIdr}), true)), Make({kSps, kPps, kIdr}));
    EXPECT_EQ(ToStream(stKeeper.Complete(Make({kAud, kIdr}), true)),
              Make({kAud, kSps, kPps, kIdr}));
    EXPECT_EQ(ToStream(stKeeper.Complete(Make({kSlice}), false)), Make({kSlice}));
}

TEST(ParameterSets, SetsThatAreThereAreNotDoubled) {
    CParameterSetKeeper stKeeper(videoCodec::H264, Make({kSps, kPps}));
    for (const bool bLongCodes : {false, true}) {
        const Stream vecUnit = Make({kAud, kSps, kPps, kIdr}, bLongCodes);
        EXPECT_EQ(ToStream(stKeeper.Complete(vecUnit, true)), vecUnit);
    }
}

TEST(ParameterSets, TheLatestSetsOfTheStreamCount) {
    const Stream kNewSps = {0x67, 8, 8};
    CParameterSetKeeper stKeeper(videoCodec::H264, Make({kSps, kPps}));
    stKeeper.Complete(Make({kNewSps, kPps, kIdr}), true);
    EXPECT_EQ(ToStream(stKeeper.Complete(Make({kIdr}), true)), Make({kNewSps, kPps, kIdr}));
}

TEST(ParameterSets, WithoutAnySetsAFrameStaysAsItIs) {
    CParameterSetKeeper stKeeper(videoCodec::H264, {});
    EXPECT_EQ(ToStream(stKeeper.Complete(Make({kIdr}), true)), Make({kIdr}));
    EXPECT_EQ(ToStream(stKeeper.Complete({}, true)), Stream());
}

TEST(ParameterSets, H265NeedsThreeKinds) {
    const Stream kVps = {0x40, 1, 1}, kSps265 = {0x42, 1, 2}, kPps265 = {0x44, 1, 3},
                 kAud265 = {0x46, 1, 4}, kKey = {0x26, 1, 5};
    const Stream vecSets = Make({kVps, kSps265, kPps265});
    EXPECT_TRUE(CollectParameterSets(vecSets, videoCodec::H265).bComplete);
    EXPECT_FALSE(CollectParameterSets(Make({kSps265, kPps265}), videoCodec::H265).bComplete);
    CParameterSetKeeper stKeeper(videoCodec::H265, vecSets);
    EXPECT_EQ(ToStream(stKeeper.Complete(Make({kAud265, kKey}), true)),
              Make({kAud265, kVps, kSps265, kPps265, kKey}));
}

}  // namespace
