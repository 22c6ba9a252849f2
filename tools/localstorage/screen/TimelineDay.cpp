#include "screen/TimelineDay.h"

#include <algorithm>
#include <map>

#include "base/Times.h"

namespace {

/// The longest type of a cell.
unsigned MainType(const timelineRow& stRow, const timeSpan& stCell) {
    std::map<unsigned, UtcTime::duration> mLengths;
    for (const typedSpan& st : stRow.vSpans) {
        const timeSpan stPart = Clip(st.stSpan, stCell);
        if (stPart.Length() > UtcTime::duration(0)) mLengths[st.nType] += stPart.Length();
    }
    const auto it =
        std::max_element(mLengths.begin(), mLengths.end(),
                         [](const auto& a, const auto& b) { return a.second < b.second; });
    return it == mLengths.end() ? 0 : it->first;
}

}  // namespace

std::set<unsigned> timelineDay::Types() const {
    std::set<unsigned> setTypes;
    for (const timelineRow& stRow : vRows) {
        for (const typedSpan& st : stRow.vSpans) setTypes.insert(st.nType);
    }
    return setTypes;
}

timeSpan DayAround(UtcTime tTime) {
    const LocalTime tDay = StartOfDay(ToShown(tTime));
    return {ShownMomentsOf(tDay).tFirst, ShownMomentsOf(tDay + std::chrono::days(1)).tFirst};
}

double PlaceIn(const timeSpan& stDay, UtcTime tTime) {
    return InSeconds(tTime - stDay.tStart) / InSeconds(stDay.Length());
}

double PlaceOfHour(const timeSpan& stDay, std::size_t nHour) {
    const LocalTime tHour = StartOfDay(ToShown(stDay.tStart)) + std::chrono::hours(nHour);
    return PlaceIn(stDay, ShownMomentsOf(tHour).tFirst);
}

std::string DayText(const timeSpan& stDay) {
    return FormatDay(ToShown(stDay.tStart));
}

timelineDay MakeTimeline(const std::vector<recording>& vRecordings, timeSpan stDay) {
    std::map<std::string, timelineRow> mRows;
    for (const recording& st : vRecordings) {
        const timeSpan stPart = Clip(st.Span(), stDay);
        if (stPart.Length() <= UtcTime::duration(0)) continue;
        timelineRow& stRow = mRows[st.strCamera];
        stRow.vSpans.push_back({stPart, st.stName.nType});
        stRow.vCovered.push_back(stPart);
    }
    timelineDay stTimeline{stDay, {}};
    for (auto& [strCamera, stRow] : mRows) {
        stRow.strCamera = strCamera;
        stRow.vCovered = Merge(std::move(stRow.vCovered));
        stTimeline.vRows.push_back(std::move(stRow));
    }
    return stTimeline;
}

std::vector<timelineCell> MakeCells(const timelineRow& stRow, const timeSpan& stDay,
                                    std::size_t nColumns) {
    std::vector<timelineCell> vCells(nColumns);
    const auto Edge = [&](std::size_t n) {
        return stDay.tStart +
               stDay.Length() * static_cast<std::int64_t>(n) / static_cast<std::int64_t>(nColumns);
    };
    for (std::size_t n = 0; n < nColumns; ++n) {
        const timeSpan stCell{Edge(n), Edge(n + 1)};
        UtcTime::duration nCovered(0);
        for (const timeSpan& st : stRow.vCovered) {
            nCovered += std::max(UtcTime::duration(0), Clip(st, stCell).Length());
        }
        if (nCovered == UtcTime::duration(0)) continue;
        vCells[n] = {
            static_cast<double>(nCovered.count()) / static_cast<double>(stCell.Length().count()),
            MainType(stRow, stCell)};
    }
    return vCells;
}

std::string TypeName(unsigned nType) {
    return nType == 0 ? "no type" : "type " + std::to_string(nType);
}
