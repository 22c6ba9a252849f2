#include "Catalogue/UtcStamp.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {

constexpr std::uint8_t USER_DATA_UNREGISTERED = 5;
constexpr std::string_view IDENTIFIER = "MISPmicrosectime";
constexpr std::uint8_t CLOCK_MAY_BE_OFF = 0x9F;  // nobody vouches for a host's clock
constexpr std::uint8_t SEPARATOR = 0xFF;         // keeps start codes out of the number
constexpr std::size_t PAIRS = 4;                 // of bytes of the number, highest first
constexpr std::size_t NUMBER_SIZE = PAIRS * 3 - 1;
constexpr std::size_t PAYLOAD_SIZE = IDENTIFIER.size() + 1 + NUMBER_SIZE;

std::uint64_t PairShift(std::size_t nPair) {
    return 16 * (PAIRS - 1 - nPair);
}

}  // namespace

std::vector<std::uint8_t> MakeUtcStamp(ECodec eCodec, UtcTime tTime) {
    std::vector<std::uint8_t> v = {0, 0, 0, 1};
    if (eCodec == ECodec::H264) {
        v.push_back(0x06);
    } else {
        v.push_back(0x4E);
        v.push_back(0x01);
    }
    v.push_back(USER_DATA_UNREGISTERED);
    v.push_back(PAYLOAD_SIZE);
    std::copy(IDENTIFIER.begin(), IDENTIFIER.end(), std::back_inserter(v));
    v.push_back(CLOCK_MAY_BE_OFF);
    const auto nTime = static_cast<std::uint64_t>(tTime.time_since_epoch().count());
    for (std::size_t nPair = 0; nPair < PAIRS; ++nPair) {
        if (nPair > 0) v.push_back(SEPARATOR);
        const std::uint64_t nBits = nTime >> PairShift(nPair);
        v.push_back(static_cast<std::uint8_t>(nBits >> 8));
        v.push_back(static_cast<std::uint8_t>(nBits));
    }
    v.push_back(0x80);  // the end of the unit
    return v;
}

std::optional<UtcTime> FindUtcStamp(std::span<const std::uint8_t> stBytes) {
    auto it = stBytes.begin();
    for (;;) {
        it = std::search(it, stBytes.end(), IDENTIFIER.begin(), IDENTIFIER.end());
        const std::size_t nBehind = IDENTIFIER.size() + 1 + NUMBER_SIZE;
        if (static_cast<std::size_t>(stBytes.end() - it) < nBehind) return std::nullopt;
        const auto itNumber = it + IDENTIFIER.size() + 1;
        std::uint64_t nTime = 0;
        bool bWhole = true;
        for (std::size_t nPair = 0; nPair < PAIRS; ++nPair) {
            const auto itPair = itNumber + static_cast<std::ptrdiff_t>(3 * nPair);
            nTime |= (std::uint64_t{itPair[0]} << 8 | itPair[1]) << PairShift(nPair);
            bWhole &= nPair + 1 == PAIRS || itPair[2] == SEPARATOR;
        }
        if (bWhole) return UtcTime(std::chrono::microseconds(nTime));
        ++it;
    }
}
