#include "media/ParameterSets.h"

#include <cstring>

namespace {

/// One NAL unit: where its start code and its bytes begin, and where it ends.
struct nalUnit {
    std::size_t nCode = 0, nBegin = 0, nEnd = 0;
};

/// Position of the next three-byte start code at or after `nFrom`; the end when there is none.
std::size_t FindStartCode(Bytes stBytes, std::size_t nFrom) {
    for (std::size_t n = nFrom + 2; n < stBytes.size(); ++n) {
        const void* pOne = std::memchr(stBytes.data() + n, 1, stBytes.size() - n);
        if (!pOne) break;
        n = static_cast<std::size_t>(static_cast<const std::uint8_t*>(pOne) - stBytes.data());
        if (stBytes[n - 1] == 0 && stBytes[n - 2] == 0) return n - 2;
    }
    return stBytes.size();
}

/// Calls `fnUnit` for each NAL unit until it returns false; a zero byte in front of a start code
/// belongs to the unit behind it.
template <typename Function>
void ForEachUnit(Bytes stBytes, const Function& fnUnit) {
    const auto CodeStart = [&](std::size_t nCode) {
        return nCode > 0 && nCode < stBytes.size() && stBytes[nCode - 1] == 0 ? nCode - 1 : nCode;
    };
    std::size_t nCode = FindStartCode(stBytes, 0);
    while (nCode + 3 < stBytes.size()) {
        const std::size_t nNext = FindStartCode(stBytes, nCode + 3);
        if (!fnUnit(nalUnit{CodeStart(nCode), nCode + 3, CodeStart(nNext)})) return;
        nCode = nNext;
    }
}

unsigned KindOf(std::uint8_t byHead, videoCodec eCodec) {
    return eCodec == videoCodec::H264 ? byHead & 0x1F : byHead >> 1 & 0x3F;
}

/// Bit of the parameter-set kind; 0 for any other unit.
unsigned SetBit(unsigned nKind, videoCodec eCodec) {
    if (eCodec == videoCodec::H264) return nKind == 7 ? 1 : nKind == 8 ? 2 : 0;
    return nKind == 32 ? 1 : nKind == 33 ? 2 : nKind == 34 ? 4 : 0;
}

unsigned AllSetBits(videoCodec eCodec) {
    return eCodec == videoCodec::H264 ? 3 : 7;
}

bool IsDelimiter(unsigned nKind, videoCodec eCodec) {
    return nKind == (eCodec == videoCodec::H264 ? 9u : 35u);
}

/// Slices end the part of an access unit that may hold parameter sets.
bool IsSlice(unsigned nKind, videoCodec eCodec) {
    return eCodec == videoCodec::H264 ? nKind >= 1 && nKind <= 5 : nKind < 32;
}

}  // namespace

parameterSets CollectParameterSets(Bytes stBytes, videoCodec eCodec) {
    parameterSets stSets;
    unsigned nBits = 0;
    ForEachUnit(stBytes, [&](const nalUnit& stUnit) {
        const unsigned nKind = KindOf(stBytes[stUnit.nBegin], eCodec);
        if (const unsigned nBit = SetBit(nKind, eCodec)) {
            nBits |= nBit;
            const Bytes stSet = stBytes.subspan(stUnit.nCode, stUnit.nEnd - stUnit.nCode);
            stSets.vecBytes.insert(stSets.vecBytes.end(), stSet.begin(), stSet.end());
        }
        return !IsSlice(nKind, eCodec);
    });
    stSets.bComplete = nBits == AllSetBits(eCodec);
    return stSets;
}

std::size_t ParameterSetPlace(Bytes stUnit, videoCodec eCodec) {
    std::size_t nPlace = 0;
    ForEachUnit(stUnit, [&](const nalUnit& st) {
        if (IsDelimiter(KindOf(stUnit[st.nBegin], eCodec), eCodec)) nPlace = st.nEnd;
        return false;
    });
    return nPlace;
}

CParameterSetKeeper::CParameterSetKeeper(videoCodec eCodec, Bytes stExtra)
    : m_eCodec(eCodec), m_vecSets(CollectParameterSets(stExtra, eCodec).vecBytes) {}

Bytes CParameterSetKeeper::Complete(Bytes stUnit, bool bKeyFrame) {
    parameterSets stOwn = CollectParameterSets(stUnit, m_eCodec);
    if (stOwn.bComplete) m_vecSets = std::move(stOwn.vecBytes);
    if (stOwn.bComplete || !bKeyFrame || m_vecSets.empty()) return stUnit;
    const std::size_t nPlace = ParameterSetPlace(stUnit, m_eCodec);
    const Bytes stHead = stUnit.first(nPlace), stRest = stUnit.subspan(nPlace);
    m_vecUnit.assign(stHead.begin(), stHead.end());
    m_vecUnit.insert(m_vecUnit.end(), m_vecSets.begin(), m_vecSets.end());
    m_vecUnit.insert(m_vecUnit.end(), stRest.begin(), stRest.end());
    return m_vecUnit;
}
