#include "Catalogue/Coverage.h"

#include <algorithm>
#include <numeric>

timeSpan SinceMidnight(UtcTime tNow) {
    return {MomentsOf(StartOfDay(ToLocal(tNow))).tFirst, EVER.tEnd};
}

timeSpan Clip(const timeSpan& stSpan, const timeSpan& stRange) {
    return {std::max(stSpan.tStart, stRange.tStart), std::min(stSpan.tEnd, stRange.tEnd)};
}

bool Overlap(const timeSpan& stOne, const timeSpan& stOther) {
    return stOne.tStart < stOther.tEnd && stOther.tStart < stOne.tEnd;
}

std::vector<timeSpan> Merge(std::vector<timeSpan> vSpans) {
    std::sort(vSpans.begin(), vSpans.end(),
              [](const timeSpan& a, const timeSpan& b) { return a.tStart < b.tStart; });
    std::vector<timeSpan> vMerged;
    for (const timeSpan& stSpan : vSpans) {
        if (stSpan.tEnd <= stSpan.tStart) continue;
        if (vMerged.empty() || stSpan.tStart > vMerged.back().tEnd + GAP_TOLERANCE) {
            vMerged.push_back(stSpan);
        } else {
            vMerged.back().tEnd = std::max(vMerged.back().tEnd, stSpan.tEnd);
        }
    }
    return vMerged;
}

std::vector<timeSpan> GapsBetween(const std::vector<timeSpan>& vMerged) {
    std::vector<timeSpan> vGaps;
    for (std::size_t n = 1; n < vMerged.size(); ++n) {
        vGaps.push_back({vMerged[n - 1].tEnd, vMerged[n].tStart});
    }
    return vGaps;
}

UtcTime::duration TotalLength(const std::vector<timeSpan>& vSpans) {
    return std::accumulate(
        vSpans.begin(), vSpans.end(), UtcTime::duration(0),
        [](UtcTime::duration nSum, const timeSpan& stSpan) { return nSum + stSpan.Length(); });
}
