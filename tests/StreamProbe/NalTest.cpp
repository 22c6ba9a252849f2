#include <string>

#include <gtest/gtest.h>

#include "StreamProbe/Nal.h"
#include "StreamProbe/RecoveryPoint.h"
#include "StreamProbe/StartCode.h"
#include "Streams.h"

namespace {

using enum ENalRole;

struct NalCase {
    ECodec eCodec;
    nalHead aHead;
    ENalRole eRole;
};

TEST(Nal, RolesFollowTypeAndFirstSliceBit) {
    const NalCase aCases[] = {
        {ECodec::H264, {0x65, 0x88}, FirstKey},
        {ECodec::H264, {0x65, 0x48}, Slice},       // IDR, but not its first slice
        {ECodec::H264, {0x41, 0x88}, FirstIntra},  // all slices are I
        {ECodec::H264, {0x41, 0xB4}, FirstIntra},  // this slice is I
        {ECodec::H264, {0x41, 0x9A}, FirstSlice},  // P
        {ECodec::H264, {0x01, 0x00}, Slice},
        {ECodec::H264, {0x09, 0xF0}, Front},
        {ECodec::H264, {0x6E, 0x40}, Front},  // prefix unit
        {ECodec::H264, {0x74, 0x80}, Slice},  // extension slice of another view
        {ECodec::H264, {0x0C, 0xFF}, Other},  // filler
        {ECodec::H264, {0x0A}, Other},        // end of sequence
        {ECodec::H264, {0xE7, 0x64}, Other},  // forbidden bit
        {ECodec::H265, {0x26, 0x01, 0x80}, FirstKey},
        {ECodec::H265, {0x20, 0x01, 0x80}, FirstKey},  // BLA
        {ECodec::H265, {0x2A, 0x01, 0x80}, FirstKey},  // CRA
        {ECodec::H265, {0x2A, 0x01, 0x40}, Slice},
        {ECodec::H265, {0x2C, 0x01, 0x80}, FirstSlice},  // reserved
        {ECodec::H265, {0x02, 0x01, 0x80}, FirstSlice},
        {ECodec::H265, {0x14, 0x01, 0x80}, Other},  // reserved, no slice
        {ECodec::H265, {0x40, 0x01}, Front},
        {ECodec::H265, {0x4E, 0x01}, Front},        // prefix SEI
        {ECodec::H265, {0x50, 0x01}, Other},        // suffix SEI
        {ECodec::H265, {0x26, 0x09, 0x80}, Other},  // another layer
        {ECodec::H265, {0x26, 0x00, 0x80}, Other},  // no such temporal id
        {ECodec::Unknown, {0x09, 0xF0}, Front},
        {ECodec::Unknown, {0x46, 0x01}, Front},
        {ECodec::Unknown, {0x41, 0x9A}, Slice},
    };
    for (const NalCase& stCase : aCases) {
        EXPECT_EQ(GetNalRole(stCase.eCodec, stCase.aHead), stCase.eRole)
            << std::hex << int{stCase.aHead[0]} << ' ' << int{stCase.aHead[1]};
    }
}

TEST(Nal, WhatOnlyLooksLikeAParameterSetTellsNoCodec) {
    for (const nalHead& aHead :
         {nalHead{0x41, 0x9A}, nalHead{0x02, 0x01, 0xD0}, nalHead{0x67, 0x42, 0xC3, 0x1E},
          nalHead{0x67, 0x42, 0xC0, 0xFF}, nalHead{0x40, 0x01, 0x0C, 0x01, 0xFF, 0x00}}) {
        EXPECT_EQ(RecogniseCodec(ECodec::Unknown, aHead), ECodec::Unknown);
    }
}

TEST(RecoveryPoint, IsFoundAmongMessagesOfAnyLength) {
    const std::string strLong = Bytes({5, 0xFF, 0x10}) + std::string(0x10F, 'x');
    const std::pair<std::string, bool> aCases[] = {
        {Bytes({6, 1, 0xC4, 0x80}), true},
        {Bytes({1, 0, 6, 1, 0xC4, 0x80}), true},  // an empty one in front
        {strLong + Bytes({6, 1, 0xC4, 0x80}), true},
        // 4 bytes 0 0 1 6 once the emulation prevention is out
        {Bytes({5, 4, 0, 0, 3, 1, 6, 6, 1, 0xC4, 0x80}), true},
        {Bytes({6, 1, 0x46, 0x80}), false},        // gradual: 1 frame or more
        {Bytes({5, 3, 6, 1, 0xC4, 0x80}), false},  // inside another message
        {Bytes({0xFF, 6, 1, 0xC4, 0x80}), false},  // type 261
    };
    for (const auto& [strSei, bExpected] : aCases) {
        CRecoveryPointScan objScan;
        bool bFound = false;
        for (char ch : strSei) bFound |= objScan.Push(static_cast<std::uint8_t>(ch));
        EXPECT_EQ(bFound, bExpected) << testing::PrintToString(strSei);
    }
}

// Start codes at every place of a buffer, among pairs of zeros that are none.
TEST(StartCode, IsFoundWhereverItStands) {
    for (std::size_t nSize : {3u, 17u, 66u, 67u, 130u, 200u}) {
        for (std::size_t i = 0; i + 3 <= nSize; ++i) {
            std::vector<std::uint8_t> vecOne(nSize, 3);
            for (std::size_t n = 0; n + 1 < nSize; n += 7) vecOne[n] = vecOne[n + 1] = 0;
            vecOne[i] = vecOne[i + 1] = 0;
            vecOne[i + 2] = 1;
            const std::uint8_t* p = vecOne.data();
            EXPECT_EQ(FindStartCode(p, p + nSize), p + i);
            EXPECT_EQ(FindStartCode(p, p + i + 2), p + i + 2) << "cut off";
        }
    }
}

}  // namespace
