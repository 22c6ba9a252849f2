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

inline bool HasZero(vec16 vBytes) {
    const auto vZeros = reinterpret_cast<vec2x64>(vBytes == 0);
    return (vZeros[0] | vZeros[1]) != 0;
}

// Of the 16 bytes at `pData`: zero where two zeros in a row begin; reads 17. In entropy-coded data
// that is so once in 65,536 bytes.
inline vec16 Pairs(const std::uint8_t* pData) {
    return Load(pData) | Load(pData + 1);
}

// Zero where a start code begins; reads 18.
inline vec16 Codes(const std::uint8_t* pData) {
    return Pairs(pData) | (Load(pData + 2) ^ 1);
}

inline vec16 Least(vec16 vOne, vec16 vOther) {
    return vOne < vOther ? vOne : vOther;
}

// Holds a zero when one of the 64 bytes at `pData` is zero in Pairs or Codes.
template <vec16 (*OfBlock)(const std::uint8_t*)>
inline vec16 OfStep(const std::uint8_t* pData) {
    return Least(Least(OfBlock(pData), OfBlock(pData + BLOCK)),
                 Least(OfBlock(pData + 2 * BLOCK), OfBlock(pData + 3 * BLOCK)));
}

inline bool IsInBlock(const std::uint8_t* pData) {
    return HasZero(Codes(pData));
}
inline bool IsInStep(const std::uint8_t* pData) {
    return HasZero(OfStep<Pairs>(pData)) && HasZero(OfStep<Codes>(pData));
}

// The first start code that begins in [pData, pStop), or `pStop`; two more bytes must be readable.
inline const std::uint8_t* FindByByte(const std::uint8_t* pData, const std::uint8_t* pStop) {
    while (pData < pStop && (pData[0] | pData[1] | (pData[2] ^ 1)) != 0) ++pData;
    return pData;
}

// The same for at least `SIZE` bytes, so many at once. The last of them reach back into what was
// searched.
template <std::ptrdiff_t SIZE, bool (*IsIn)(const std::uint8_t*)>
inline const std::uint8_t* FindBySize(const std::uint8_t* pData, const std::uint8_t* pStop) {
    for (; pData < pStop; pData += SIZE) {
        pData = std::min(pData, pStop - SIZE);
        if (IsIn(pData)) return FindByByte(pData, pStop);
    }
    return pStop;
}

}  // namespace

const std::uint8_t* FindStartCode(const std::uint8_t* pData, const std::uint8_t* pEnd) {
    const std::ptrdiff_t nSize = pEnd - pData - 2;
    if (nSize <= 0) return pEnd;
    const std::uint8_t* const pStop = pEnd - 2;  // none begins here or behind
    const std::uint8_t* const pFound = nSize >= STEP    ? FindBySize<STEP, IsInStep>(pData, pStop)
                                       : nSize >= BLOCK ? FindBySize<BLOCK, IsInBlock>(pData, pStop)
                                                        : FindByByte(pData, pStop);
    return pFound == pStop ? pEnd : pFound;
}

bool TouchesStartCode(const std::uint8_t* pData, const std::uint8_t* pEnd) {
    if (pEnd[-1] == 0) return true;
    const std::uint8_t* const pLast = pEnd - STEP - 1;
    if (pLast >= pData) {
        vec16 vLeast = OfStep<Pairs>(pLast);
        for (const std::uint8_t* p = pData; p < pLast; p += STEP) {
            vLeast = Least(vLeast, OfStep<Pairs>(p));
        }
        if (!HasZero(vLeast)) return false;
    }
    return FindStartCode(pData, pEnd) != pEnd;
}
