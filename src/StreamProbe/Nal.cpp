#include "StreamProbe/Nal.h"

namespace {

using enum ENalRole;

// By nal_unit_type. Slices stand here as what they are when they open a picture.
constexpr std::array<ENalRole, 32> H264_ROLES = {
    Other, FirstSlice, FirstSlice, Slice, Slice, FirstKey,  // slices, partitions B and C, IDR
    Front, Front,      Front,      Front,                   // SEI, SPS, PPS, delimiter
    Other, Other,      Other,                               // end of sequence, of stream, filler
    Front, Front,      Front,      Front, Front, Front,     // SPS extension, prefix, subset SPS
    Slice, Slice,      Slice,                               // auxiliary and extension slices
};

constexpr std::array<ENalRole, 64> H265_ROLES = [] {
    std::array<ENalRole, 64> aRoles{};  // Other
    for (std::size_t i = 0; i < 32; ++i) {
        aRoles[i] = i < 10 || i > 21 ? FirstSlice : i < 16 ? Other : FirstKey;
    }
    for (std::size_t i : {32, 33, 34, 35, 39, 41, 42, 43, 44, 48, 49, 50, 51, 52, 53, 54, 55}) {
        aRoles[i] = Front;  // VPS, SPS, PPS, delimiter, prefix SEI, and those reserved beside them
    }
    return aRoles;
}();

constexpr bool IsSlice(ENalRole eRole) {
    return eRole >= Slice;
}

constexpr int H264Type(const nalHead& aHead) {
    return aHead[0] & 0x1F;
}
constexpr int H264RefIdc(const nalHead& aHead) {
    return aHead[0] >> 5;
}
constexpr int H265Type(const nalHead& aHead) {
    return aHead[0] >> 1;
}

constexpr bool IsForbidden(const nalHead& aHead) {
    return (aHead[0] & 0x80) != 0;
}

// A unit of the base layer with a valid temporal id.
constexpr bool IsH265Base(const nalHead& aHead) {
    return (aHead[0] & 0x81) == 0 && aHead[1] >= 1 && aHead[1] <= 7;
}

// The first byte of a slice says both that it is the picture's first (its number 0 is the bit 1)
// and whether it is an I slice (or all of the picture are).
constexpr bool IsFirstH264Slice(const nalHead& aHead) {
    return (aHead[1] & 0x80) != 0;
}
constexpr bool IsFirstH264Intra(const nalHead& aHead) {
    return (aHead[1] & 0xF0) == 0xB0 || aHead[1] == 0x88;
}

constexpr bool IsFirstH265Slice(const nalHead& aHead) {
    return (aHead[2] & 0x80) != 0;
}

constexpr bool IsH264Profile(int nProfile) {
    for (int nKnown : {66, 77, 88, 100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135}) {
        if (nProfile == nKnown) return true;
    }
    return false;
}

// profile_idc, constraint flags with two reserved zeros, level_idc 0.9 to 6.2.
bool IsH264Sps(const nalHead& aHead) {
    return H264Type(aHead) == 7 && H264RefIdc(aHead) != 0 && IsH264Profile(aHead[1]) &&
           (aHead[2] & 0x03) == 0 && aHead[3] >= 9 && aHead[3] <= 62;
}

bool IsH264FirstIdr(const nalHead& aHead) {
    return H264Type(aHead) == 5 && H264RefIdc(aHead) != 0 && IsFirstH264Intra(aHead);
}

// 16 bits of ones stand behind the layer counts.
bool IsH265Vps(const nalHead& aHead) {
    return aHead[0] == 0x40 && aHead[1] == 0x01 && aHead[4] == 0xFF && aHead[5] == 0xFF;
}

// Up to 7 sub-layers, profile space 0, profile 1 to 11.
bool IsH265Sps(const nalHead& aHead) {
    const int nProfile = aHead[3] & 0x1F;
    return aHead[0] == 0x42 && aHead[1] == 0x01 && (aHead[2] & 0x0E) != 0x0E &&
           (aHead[3] & 0xC0) == 0 && nProfile >= 1 && nProfile <= 11;
}

bool IsH265FirstIrap(const nalHead& aHead) {
    return (aHead[0] & 0x81) == 0 && H265_ROLES[H265Type(aHead)] == FirstKey && aHead[1] == 0x01 &&
           IsFirstH265Slice(aHead);
}

ENalRole H264Role(const nalHead& aHead) {
    const ENalRole eRole = H264_ROLES[H264Type(aHead)];
    return IsSlice(eRole) && !IsFirstH264Slice(aHead) ? Slice : eRole;
}

ENalRole H265Role(const nalHead& aHead) {
    if (!IsH265Base(aHead)) return Other;
    const ENalRole eRole = H265_ROLES[H265Type(aHead)];
    return IsSlice(eRole) && !IsFirstH265Slice(aHead) ? Slice : eRole;
}

}  // namespace

ECodec RecogniseCodec(ECodec eKnown, const nalHead& aHead) {
    if (IsForbidden(aHead)) return eKnown;
    if (IsH264Sps(aHead)) return ECodec::H264;
    if (IsH265Vps(aHead) || IsH265Sps(aHead)) return ECodec::H265;
    if (eKnown != ECodec::Unknown) return eKnown;
    return IsH264FirstIdr(aHead)    ? ECodec::H264
           : IsH265FirstIrap(aHead) ? ECodec::H265
                                    : ECodec::Unknown;
}

ENalRole GetNalRole(ECodec eCodec, const nalHead& aHead) {
    if (IsForbidden(aHead)) return Other;
    switch (eCodec) {
        case ECodec::H264:
            return H264Role(aHead);
        case ECodec::H265:
            return H265Role(aHead);
        case ECodec::Unknown:
            break;
    }
    return H264Role(aHead) == Front || H265Role(aHead) == Front ? Front : Slice;
}

bool IsH264Sei(const nalHead& aHead) {
    return aHead[0] == 0x06;
}

unsigned AllParameterSets(ECodec eCodec) {
    constexpr unsigned BOTH = PARAMETER_SET_SEQUENCE | PARAMETER_SET_PICTURE;
    return eCodec == ECodec::H264 ? BOTH : PARAMETER_SET_VIDEO | BOTH;
}

unsigned ParameterSetOf(ECodec eCodec, const nalHead& aHead) {
    const bool bH264 = eCodec == ECodec::H264;
    const int nType = bH264 ? H264Type(aHead) : H265Type(aHead);
    if (!bH264 && nType == 32) return PARAMETER_SET_VIDEO;
    if (nType == (bH264 ? 7 : 33)) return PARAMETER_SET_SEQUENCE;
    return nType == (bH264 ? 8 : 34) ? PARAMETER_SET_PICTURE : 0;
}

bool IsDelimiter(ECodec eCodec, const nalHead& aHead) {
    return eCodec == ECodec::H264 ? H264Type(aHead) == 9 : H265Type(aHead) == 35;
}
