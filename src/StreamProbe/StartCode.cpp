#include "StreamProbe/StartCode.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace {

using vec16 = std::uint8_t __attribute__((vector_size(16)));
using vec2x64 = std::uint64_t __attribute__((vector_size(16)));

constexpr std::ptrdiff_t BLOCK = sizeof(vec16), STEP = 4 * BLOCK;

inline vec16 Load(const std::uint8_t* pData) {
    vec16 vBytes;
    std::memcpy(&vBytes, pData, sizeof(vBytes));
    return vBytes;
}

// All ones where a byte and the one after it are both zero.
inline auto ZeroPairs(const std::uint8_t* pData) {
    return (Load(pData) | Load(pData + 1)) == 0;
}

// Whether two zeros in a row begin anywhere in the 16 bytes at `pData`; reads 17.
inline bool HasZeroPairInBlock(const std::uint8_t* pData) {
    const auto vPairs = reinterpret_cast<vec2x64>(ZeroPairs(pData));
    return (vPairs[0] | vPairs[1]) != 0;
}

// Whether two zeros in a row begin anywhere in the 64 bytes at `pData`; reads 65. In entropy-coded
// data that is so once in a thousand times.
inline bool HasZeroPair(const std::uint8_t* pData) {
    const auto vPairs = reinterpret_cast<vec2x64>(ZeroPairs(pData) | ZeroPairs(pData + 16) |
                                                  ZeroPairs(pData + 32) | ZeroPairs(pData + 48));
    return (vPairs[0] | vPairs[1]) != 0;
}

// The first start code that begins in [pData, pStop); two more bytes must be readable.
inline const std::uint8_t* FindByByte(const std::uint8_t* pData, const std::uint8_t* pStop) {
    while (pData < pStop && (pData[0] | pData[1] | (pData[2] ^ 1)) != 0) ++pData;
    return pData;
}

}  // namespace

const std::uint8_t* FindStartCode(const std::uint8_t* pData, const std::uint8_t* pEnd) {
    if (pEnd - pData < 3) return pEnd;
    const std::uint8_t* const pStop = pEnd - 2;  // none begins here or behind
    const bool bBlocks = pStop - pData >= BLOCK;
    for (; pStop - pData >= STEP; pData += STEP) {
        if (!HasZeroPair(pData)) continue;
        const std::uint8_t* pFound = FindByByte(pData, pData + STEP);
        if (pFound != pData + STEP) return pFound;
    }
    // The rest in smaller blocks, the last of which reaches back into what was searched.
    while (bBlocks && pData < pStop) {
        pData = std::min(pData, pStop - BLOCK);
        if (HasZeroPairInBlock(pData)) break;
        pData += BLOCK;
    }
    const std::uint8_t* pFound = FindByByte(pData, pStop);
    return pFound == pStop ? pEnd : pFound;
}
