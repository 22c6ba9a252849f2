// The units of a piece of a stream that lies in memory: NAL units, or the packets of a program
// stream.

#ifndef LOCALSTORAGE_STREAMPROBE_FOREACHUNIT_H
#define LOCALSTORAGE_STREAMPROBE_FOREACHUNIT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "StreamProbe/Nal.h"
#include "StreamProbe/StartCode.h"

constexpr std::size_t START_CODE_SIZE = 3;

/// Calls `fnUnit` with what stands behind each start code, up to the next one, until it returns
/// false. The last unit may be empty.
template <typename UnitFunction>
void ForEachUnit(std::span<const std::uint8_t> stBytes, const UnitFunction& fnUnit) {
    const std::uint8_t* const pEnd = stBytes.data() + stBytes.size();
    const std::uint8_t* pCode = FindStartCode(stBytes.data(), pEnd);
    while (pCode != pEnd) {
        const std::uint8_t* const pUnit = pCode + START_CODE_SIZE;
        pCode = FindStartCode(pUnit, pEnd);
        if (!fnUnit(std::span(pUnit, pCode))) return;
    }
}

inline nalHead NalHeadOf(std::span<const std::uint8_t> stUnit) {
    nalHead aHead{};
    std::copy_n(stUnit.begin(), std::min(stUnit.size(), aHead.size()), aHead.begin());
    return aHead;
}

#endif  // LOCALSTORAGE_STREAMPROBE_FOREACHUNIT_H
