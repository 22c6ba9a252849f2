#include "Catalogue/FrameRate.h"

#include <algorithm>
#include <array>
#include <vector>

#include "StreamProbe/ForEachUnit.h"

namespace {

/// A parameter set as the numbers in it. Behind the end everything is 0, and the set counts as
/// torn.
class CSetReader {
public:
    /// Of a NAL unit behind its header; the bytes that only prevent start codes are left out.
    explicit CSetReader(std::span<const std::uint8_t> stUnit) {
        int nZeros = 0;
        for (const std::uint8_t by : stUnit) {
            const bool bPrevents = nZeros >= 2 && by == 3;
            nZeros = by == 0 ? nZeros + 1 : 0;
            if (!bPrevents) m_vBytes.push_back(by);
        }
    }

    std::uint32_t Bits(unsigned nCount) {
        std::uint32_t n = 0;
        while (nCount-- > 0) n = n << 1 | Bit();
        return n;
    }
    bool Flag() { return Bit() != 0; }
    void Skip(std::size_t nBits) { m_nAt += nBits; }
    /// Exp-Golomb coded.
    std::uint32_t Number() {
        unsigned nZeros = 0;
        while (!IsTorn() && nZeros < 32 && Bit() == 0) ++nZeros;
        return nZeros < 32 ? (1u << nZeros) - 1 + Bits(nZeros) : 0;
    }
    std::int32_t SignedNumber() {
        const std::uint32_t n = Number();
        return n % 2 == 1 ? static_cast<std::int32_t>(n / 2 + 1)
                          : -static_cast<std::int32_t>(n / 2);
    }
    void SkipNumbers(std::size_t nCount) {
        while (nCount-- > 0 && !IsTorn()) Number();
    }
    bool IsTorn() const { return m_nAt > m_vBytes.size() * 8; }

private:
    std::uint32_t Bit() {
        const std::size_t nAt = m_nAt++;
        return nAt / 8 < m_vBytes.size() ? m_vBytes[nAt / 8] >> (7 - nAt % 8) & 1u : 0;
    }

    std::vector<std::uint8_t> m_vBytes;
    std::size_t m_nAt = 0;  // in bits
};

void SkipScalingList(CSetReader& set, unsigned nSize) {
    int nLast = 8, nNext = 8;
    for (unsigned n = 0; n < nSize && nNext != 0 && !set.IsTorn(); ++n) {
        nNext = (nLast + set.SignedNumber() + 256) % 256;
        if (nNext != 0) nLast = nNext;
    }
}

// What only some profiles of H.264 state.
void SkipHighProfile(CSetReader& set) {
    const std::uint32_t nChroma = set.Number();
    if (nChroma == 3) set.Skip(1);
    set.SkipNumbers(2);
    set.Skip(1);
    if (!set.Flag()) return;
    for (unsigned n = 0; n < (nChroma == 3 ? 12u : 8u); ++n) {
        if (set.Flag()) SkipScalingList(set, n < 6 ? 16 : 64);
    }
}

void SkipPictureOrder(CSetReader& set) {
    const std::uint32_t nKind = set.Number();
    if (nKind == 0) set.SkipNumbers(1);
    if (nKind != 1) return;
    set.Skip(1);
    set.SkipNumbers(2);
    set.SkipNumbers(set.Number());
}

// What both formats state of how a picture is shown, up to the chroma's place.
void SkipShape(CSetReader& set) {
    constexpr std::uint32_t EXTENDED = 255;
    if (set.Flag() && set.Bits(8) == EXTENDED) set.Skip(32);
    if (set.Flag()) set.Skip(1);
    if (set.Flag()) {
        set.Skip(4);
        if (set.Flag()) set.Skip(24);
    }
    if (set.Flag()) set.SkipNumbers(2);
}

// A frame takes so many ticks of the clock.
std::optional<double> ReadTiming(CSetReader& set, unsigned nTicks) {
    if (!set.Flag()) return std::nullopt;
    const double dUnits = set.Bits(32), dScale = set.Bits(32);
    const double dRate = dUnits > 0 ? dScale / dUnits / nTicks : 0;
    if (set.IsTorn() || dRate < 1 || dRate > 1000) return std::nullopt;
    return dRate;
}

std::optional<double> RateOfH264(CSetReader& set) {
    constexpr std::array HIGH = {44u,  83u,  86u,  100u, 110u, 118u, 122u,
                                 128u, 134u, 135u, 138u, 139u, 244u};
    const std::uint32_t nProfile = set.Bits(8);
    set.Skip(16);
    set.Number();
    if (std::find(HIGH.begin(), HIGH.end(), nProfile) != HIGH.end()) SkipHighProfile(set);
    set.Number();
    SkipPictureOrder(set);
    set.Number();
    set.Skip(1);
    set.SkipNumbers(2);
    if (!set.Flag()) set.Skip(1);
    set.Skip(1);
    if (set.Flag()) set.SkipNumbers(4);
    if (!set.Flag()) return std::nullopt;
    SkipShape(set);
    return ReadTiming(set, 2);  // fields
}

// Profile, tier and level of the stream and of its layers.
void SkipProfile(CSetReader& set, unsigned nLayers) {
    constexpr std::size_t PROFILE = 88, LEVEL = 8;
    set.Skip(PROFILE + LEVEL);
    std::size_t nBits = 0;
    for (unsigned n = 0; n < nLayers; ++n) {
        if (set.Flag()) nBits += PROFILE;
        if (set.Flag()) nBits += LEVEL;
    }
    if (nLayers > 0) nBits += std::size_t{2} * (8 - nLayers);
    set.Skip(nBits);
}

void SkipScalingLists(CSetReader& set) {
    for (unsigned nSize = 0; nSize < 4; ++nSize) {
        for (unsigned n = 0; n < (nSize == 3 ? 2u : 6u); ++n) {
            const bool bOwn = set.Flag();
            set.SkipNumbers(bOwn ? (nSize > 1 ? 1u : 0u) + std::min(64u, 16u << 2 * nSize) : 1u);
        }
    }
}

// `nBefore` pictures are in the set before this one, which gives them back anew.
std::uint32_t SkipReferences(CSetReader& set, bool bFirst, std::uint32_t nBefore) {
    if (bFirst || !set.Flag()) {
        const std::uint32_t nPictures = set.Number() + set.Number();
        for (std::uint32_t n = 0; n < nPictures && !set.IsTorn(); ++n) {
            set.Number();
            set.Skip(1);
        }
        return nPictures;
    }
    set.Skip(1);
    set.Number();
    std::uint32_t nPictures = 0;
    for (std::uint32_t n = 0; n <= nBefore && !set.IsTorn(); ++n) {
        const bool bUsed = set.Flag();
        if (bUsed || set.Flag()) ++nPictures;
    }
    return nPictures;
}

void SkipAllReferences(CSetReader& set, std::uint32_t nOrderBits) {
    const std::uint32_t nSets = set.Number();
    for (std::uint32_t n = 0, nPictures = 0; n < nSets && !set.IsTorn(); ++n) {
        nPictures = SkipReferences(set, n == 0, nPictures);
    }
    if (!set.Flag()) return;
    const std::uint32_t nLong = set.Number();
    for (std::uint32_t n = 0; n < nLong && !set.IsTorn(); ++n) set.Skip(nOrderBits + 1);
}

std::optional<double> RateOfH265(CSetReader& set) {
    set.Skip(4);
    const std::uint32_t nLayers = set.Bits(3);
    set.Skip(1);
    SkipProfile(set, nLayers);
    set.Number();
    if (set.Number() == 3) set.Skip(1);
    set.SkipNumbers(2);
    if (set.Flag()) set.SkipNumbers(4);
    set.SkipNumbers(2);
    const std::uint32_t nOrderBits = set.Number() + 4;
    set.SkipNumbers(std::size_t{3} * (set.Flag() ? nLayers + 1 : 1));
    set.SkipNumbers(6);
    if (set.Flag() && set.Flag()) SkipScalingLists(set);
    set.Skip(2);
    if (set.Flag()) {
        set.Skip(8);
        set.SkipNumbers(2);
        set.Skip(1);
    }
    SkipAllReferences(set, nOrderBits);
    set.Skip(2);
    if (!set.Flag()) return std::nullopt;
    SkipShape(set);
    set.Skip(3);
    if (set.Flag()) set.SkipNumbers(4);
    return ReadTiming(set, 1);
}

}  // namespace

std::optional<double> FrameRateOf(ECodec eCodec, std::span<const std::uint8_t> stHead) {
    const std::size_t nHeader = eCodec == ECodec::H265 ? 2 : 1;
    std::optional<double> dRate;
    ForEachUnit(stHead, [&](std::span<const std::uint8_t> stUnit) {
        const bool bSequence = stUnit.size() > nHeader &&
                               ParameterSetOf(eCodec, NalHeadOf(stUnit)) == PARAMETER_SET_SEQUENCE;
        if (!bSequence) return true;
        CSetReader set(stUnit.subspan(nHeader));
        dRate = eCodec == ECodec::H265 ? RateOfH265(set) : RateOfH264(set);
        return false;
    });
    return dRate;
}
