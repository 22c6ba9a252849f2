#include "gstreamer/ParameterSets.h"

#include <algorithm>

namespace {

constexpr std::string_view START_CODE{"\0\0\1", 3};

/// What a NAL unit is here; the sets by their places in the array.
enum class ENal { Video, Sequence, Picture, Delimiter, Slice, Other };

ENal NalOf(ECodec eCodec, unsigned char byHead) {
    const bool bH264 = eCodec == ECodec::H264;
    const int nType = bH264 ? byHead & 0x1F : byHead >> 1 & 0x3F;
    if (bH264 ? nType >= 1 && nType <= 5 : nType < 32) return ENal::Slice;
    if (!bH264 && nType == 32) return ENal::Video;
    if (nType == (bH264 ? 7 : 33)) return ENal::Sequence;
    if (nType == (bH264 ? 8 : 34)) return ENal::Picture;
    return nType == (bH264 ? 9 : 35) ? ENal::Delimiter : ENal::Other;
}

/// Where the unit that begins at a start code ends: zeros belong to the next start code.
std::size_t EndOfNal(std::string_view strUnit, std::size_t nBegin) {
    std::size_t nEnd =
        std::min(strUnit.find(START_CODE, nBegin + START_CODE.size()), strUnit.size());
    while (strUnit[nEnd - 1] == '\0') --nEnd;
    return nEnd;
}

}  // namespace

CParameterSets::insertion CParameterSets::Complete(std::string_view strUnit) {
    insertion st;
    Sets aFound;
    std::size_t nNal = strUnit.find(START_CODE);
    while (nNal < strUnit.size() - START_CODE.size()) {
        const ENal eNal = NalOf(m_eCodec, static_cast<unsigned char>(strUnit[nNal + 3]));
        if (eNal == ENal::Slice) break;
        const std::size_t nEnd = EndOfNal(strUnit, nNal);
        if (eNal == ENal::Delimiter) st.nAt = nEnd;  // always the first of its access unit
        if (eNal <= ENal::Picture) {
            std::string& strSets = aFound[static_cast<std::size_t>(eNal)];
            strSets += '\0';  // start codes in front of parameter sets have four bytes
            strSets += strUnit.substr(nNal, nEnd - nNal);
        }
        nNal = strUnit.find(START_CODE, nEnd);
    }
    bool bLacks = false;
    for (std::size_t n = 0; n < aFound.size(); ++n) {
        if (aFound[n].empty()) {
            bLacks |= !m_aSets[n].empty();
        } else {
            m_aSets[n] = aFound[n];
        }
    }
    // All of them, in their order: one may refer to another of its unit or of an earlier one.
    if (bLacks) st.strSets = m_aSets[0] + m_aSets[1] + m_aSets[2];
    return st;
}
