#include "records/Coverage.h"

#include <algorithm>
#include <numeric>

timeSpan Clip(const timeSpan& stSpan, const timeSpan& stRange) {
    return {std::max(stSpan.tStart, stRange.tStart), std::min(stSpan.tEnd, stRange.tEnd)};
}

std::vector<timeSpan> Merge(std::vector<timeSpan> vecSpans) {
    std::sort(vecSpans.begin(), vecSpans.end(),
              [](const timeSpan& a, const timeSpan& b) { return a.tStart < b.tStart; });
    std::vector<timeSpan> vecMerged;
    for (const timeSpan& stSpan : vecSpans) {
        if (stSpan.tEnd <= stSpan.tStart) continue;
        if (vecMerged.empty() || stSpan.tStart > vecMerged.back().tEnd + GAP_TOLERANCE) {
            vecMerged.push_back(stSpan);
        } else {
            vecMerged.back().tEnd = std::max(vecMerged.back().tEnd, stSpan.tEnd);
        }
    }
    return vecMerged;
}

std::vector<timeSpan> GapsBetween(const std::vector<timeSpan>& vecMerged) {
    std::vector<timeSpan> vecGaps;
    for (std::size_t n = 1; n < vecMerged.size(); ++n) {
        vecGaps.push_back({vecMerged[n - 1].tEnd, vecMerged[n].tStart});
    }
    return vecGaps;
}

Seconds TotalLength(const std::vector<timeSpan>& vecSpans) {
    return std::accumulate(
        vecSpans.begin(), vecSpans.end(), Seconds(0),
        [](Seconds nSum, const timeSpan& stSpan) { return nSum + stSpan.Length(); });
}
