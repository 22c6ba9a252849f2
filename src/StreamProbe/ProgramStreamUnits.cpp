#include "StreamProbe/ProgramStreamUnits.h"

#include "StreamProbe/SystemLayer.h"

namespace {

constexpr std::size_t LENGTH_END = 6;  // start code and 16-bit length
constexpr std::size_t MPEG2_PES_HEAD = 9;

unitShape NeedMore(std::size_t nHeader) {
    return {.nHeader = nHeader};
}
unitShape Damaged() {
    return {.bKnown = true, .bValid = false};
}

// MPEG-2: 10 bytes of clock and rate, the last of which counts stuffing bytes. MPEG-1: 8 bytes.
unitShape PackShape(const std::uint8_t* pUnit, std::size_t nSize) {
    if (nSize < 5) return NeedMore(5);
    if ((pUnit[4] & 0xF0) == 0x20) return {.bKnown = true, .nHeader = 5, .nSkip = 7};
    if ((pUnit[4] & 0xC0) != 0x40) return Damaged();
    if (nSize < 14) return NeedMore(14);
    return {.bKnown = true, .nHeader = 14, .nSkip = static_cast<std::size_t>(pUnit[13] & 7)};
}

// A payload after `nHeader` bytes of header and `nSkip` of extension.
unitShape VideoShape(std::size_t nLength, std::size_t nHeader, std::size_t nSkip) {
    if (nLength == 0) return {.bKnown = true, .nHeader = nHeader, .nSkip = nSkip, .bOpen = true};
    const std::size_t nTotal = LENGTH_END + nLength;
    if (nHeader + nSkip > nTotal) return Damaged();
    return {
        .bKnown = true, .nHeader = nHeader, .nSkip = nSkip, .nPayload = nTotal - nHeader - nSkip};
}

// MPEG-1: stuffing, then maybe the buffer size, then time stamps or the byte 0x0F for none.
unitShape Mpeg1VideoShape(const std::uint8_t* pUnit, std::size_t nSize, std::size_t nLength) {
    constexpr std::size_t MAX_STUFFING = 16;
    std::size_t n = LENGTH_END;
    while (n < nSize && pUnit[n] == 0xFF) ++n;
    if (n > LENGTH_END + MAX_STUFFING) return Damaged();
    if (n < nSize && (pUnit[n] & 0xC0) == 0x40) n += 2;
    if (n >= nSize) return NeedMore(n + 1);
    switch (pUnit[n] >> 4) {
        case 0x2:
            return VideoShape(nLength, n + 1, 4);
        case 0x3:
            return VideoShape(nLength, n + 1, 9);
        default:
            return pUnit[n] == 0x0F ? VideoShape(nLength, n + 1, 0) : Damaged();
    }
}

unitShape PesShape(const std::uint8_t* pUnit, std::size_t nSize, std::size_t nLength) {
    if (nSize < LENGTH_END + 1) return NeedMore(LENGTH_END + 1);
    if ((pUnit[LENGTH_END] & 0xC0) != 0x80) return Mpeg1VideoShape(pUnit, nSize, nLength);
    if (nSize < MPEG2_PES_HEAD) return NeedMore(MPEG2_PES_HEAD);
    return VideoShape(nLength, MPEG2_PES_HEAD, pUnit[MPEG2_PES_HEAD - 1]);
}

unitShape MapShape(std::size_t nSize, std::size_t nLength) {
    if (LENGTH_END + nLength > UNIT_HEAD_SIZE) {
        return {.bKnown = true, .nHeader = LENGTH_END, .nSkip = nLength};
    }
    return {.bKnown = nSize >= LENGTH_END + nLength, .nHeader = LENGTH_END + nLength};
}

}  // namespace

EUnit GetUnit(std::uint8_t byCode) {
    switch (byCode) {
        case 0xB9:
            return EUnit::End;
        case 0xBA:
            return EUnit::Pack;
        case 0xBB:
            return EUnit::System;
        case 0xBC:
            return EUnit::Map;
        default:
            return byCode < FIRST_SYSTEM_CODE ? EUnit::Foreign
                   : (byCode & 0xF0) == 0xE0  ? EUnit::Video
                                              : EUnit::Other;
    }
}

unitShape GetUnitShape(const std::uint8_t* pUnit, std::size_t nSize) {
    const EUnit eUnit = GetUnit(pUnit[3]);
    if (eUnit == EUnit::Foreign) return Damaged();
    if (eUnit == EUnit::End) return {.bKnown = true};
    if (eUnit == EUnit::Pack) return PackShape(pUnit, nSize);
    if (nSize < LENGTH_END) return NeedMore(LENGTH_END);
    const std::size_t nLength = Get16(pUnit + 4);
    switch (eUnit) {
        case EUnit::Map:
            return MapShape(nSize, nLength);
        case EUnit::Video:
            return PesShape(pUnit, nSize, nLength);
        default:
            return {.bKnown = true, .nHeader = LENGTH_END, .nSkip = nLength};
    }
}

// After the length: 2 bytes, descriptors with their length, and the length of the list of streams,
// each with type, id and descriptors with their length; a checksum of 4 bytes ends it.
ECodec GetMapCodec(const std::uint8_t* pMap, std::size_t nSize) {
    constexpr std::size_t INFO = 8;
    if (nSize < INFO + 8) return ECodec::Unknown;
    std::size_t n = INFO + 2 + Get16(pMap + INFO) + 2;
    ECodec eCodec = ECodec::Unknown;
    while (n + 8 <= nSize && eCodec == ECodec::Unknown) {
        eCodec = GetTypeCodec(pMap[n]);
        n += 4 + Get16(pMap + n + 2);
    }
    return eCodec;
}
