#include "media/ParameterSets.h"

#include <algorithm>

#include "StreamProbe/ForEachUnit.h"

namespace {

/// One NAL unit of a byte stream.
struct nalUnit {
    Bytes stBytes;  ///< with its start code
    nalHead aHead{};
};

/// Calls `fnUnit` for each NAL unit until it returns false; a zero byte in front of a start code
/// belongs to the unit behind it.
template <typename Function>
void ForEachNal(Bytes stBytes, const Function& fnUnit) {
    const std::uint8_t *const pBegin = stBytes.data(), *const pEnd = pBegin + stBytes.size();
    const auto WithZero = [&](const std::uint8_t* pCode) {
        return pCode > pBegin && pCode < pEnd && pCode[-1] == 0 ? pCode - 1 : pCode;
    };
    ForEachUnit(stBytes, [&](Bytes stUnit) {
        const std::uint8_t* const pUnit = stUnit.data();
        if (pUnit == pEnd) return false;
        return fnUnit(nalUnit{{WithZero(pUnit - START_CODE_SIZE), WithZero(pUnit + stUnit.size())},
                              NalHeadOf(stUnit)});
    });
}

struct parameterSets {
    std::vector<std::uint8_t> vBytes;  ///< the sets themselves, start codes included
    bool bComplete = false;            ///< one of every kind that decoding needs
};

/// Those in front of the first slice.
parameterSets CollectParameterSets(Bytes stBytes, ECodec eCodec) {
    parameterSets stSets;
    unsigned nKinds = 0;
    ForEachNal(stBytes, [&](const nalUnit& st) {
        if (const unsigned nKind = ParameterSetOf(eCodec, st.aHead)) {
            nKinds |= nKind;
            stSets.vBytes.insert(stSets.vBytes.end(), st.stBytes.begin(), st.stBytes.end());
        }
        return GetNalRole(eCodec, st.aHead) < ENalRole::Slice;
    });
    stSets.bComplete = nKinds == AllParameterSets(eCodec);
    return stSets;
}

/// Where parameter sets go into an access unit: behind its delimiter, else in front of everything.
std::size_t ParameterSetPlace(Bytes stUnit, ECodec eCodec) {
    std::size_t nPlace = 0;
    ForEachNal(stUnit, [&](const nalUnit& st) {
        if (IsDelimiter(eCodec, st.aHead)) {
            nPlace =
                static_cast<std::size_t>(st.stBytes.data() + st.stBytes.size() - stUnit.data());
        }
        return false;
    });
    return nPlace;
}

}  // namespace

std::set<std::string> ParameterSetsOf(Bytes stUnit, ECodec eCodec) {
    const parameterSets stSets = CollectParameterSets(stUnit, eCodec);
    if (!stSets.bComplete) return {};
    std::set<std::string> setUnits;
    ForEachNal(stSets.vBytes, [&](const nalUnit& st) {
        const auto itCode = std::find(st.stBytes.begin(), st.stBytes.end(), 1);
        std::string strUnit(itCode, st.stBytes.end());
        strUnit.erase(strUnit.find_last_not_of('\0') + 1);  // zeros may fill up
        setUnits.insert(std::move(strUnit));
        return true;
    });
    return setUnits;
}

ECodec CodecOf(Bytes stUnit, ECodec eKnown) {
    ECodec eCodec = eKnown;
    ForEachNal(stUnit, [&](const nalUnit& st) {
        eCodec = RecogniseCodec(eKnown, st.aHead);
        return eCodec == eKnown && GetNalRole(eKnown, st.aHead) < ENalRole::Slice;
    });
    return eCodec;
}

std::size_t FirstSlicePlace(Bytes stUnit, ECodec eCodec) {
    std::size_t nPlace = stUnit.size();
    ForEachNal(stUnit, [&](const nalUnit& st) {
        const bool bFront = GetNalRole(eCodec, st.aHead) < ENalRole::Slice;
        if (!bFront) nPlace = static_cast<std::size_t>(st.stBytes.data() - stUnit.data());
        return bFront;
    });
    return nPlace;
}

void InsertAt(Bytes stUnit, std::size_t nPlace, Bytes stNew, std::vector<std::uint8_t>& vResult) {
    const Bytes stHead = stUnit.first(nPlace), stRest = stUnit.subspan(nPlace);
    vResult.assign(stHead.begin(), stHead.end());
    vResult.insert(vResult.end(), stNew.begin(), stNew.end());
    vResult.insert(vResult.end(), stRest.begin(), stRest.end());
}

CParameterSetKeeper::CParameterSetKeeper(ECodec eCodec, Bytes stExtra)
    : m_eCodec(eCodec), m_vSets(CollectParameterSets(stExtra, eCodec).vBytes) {}

Bytes CParameterSetKeeper::Complete(Bytes stUnit, bool bKeyFrame) {
    parameterSets stOwn = CollectParameterSets(stUnit, m_eCodec);
    if (stOwn.bComplete) m_vSets = std::move(stOwn.vBytes);
    if (stOwn.bComplete || !bKeyFrame || m_vSets.empty()) return stUnit;
    InsertAt(stUnit, ParameterSetPlace(stUnit, m_eCodec), m_vSets, m_vUnit);
    return m_vUnit;
}
