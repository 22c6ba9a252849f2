// Which parts of a time range recordings cover, and where the gaps are. Pure functions.

#ifndef LOCALSTORAGE_CATALOGUE_COVERAGE_H
#define LOCALSTORAGE_CATALOGUE_COVERAGE_H

#include <vector>

#include "Catalogue/LocalTime.h"

/// A stretch of time up to, not including, its end.
struct timeSpan {
    UtcTime tStart;
    UtcTime tEnd;

    UtcTime::duration Length() const { return tEnd - tStart; }
    bool operator==(const timeSpan&) const = default;
};

/// All of time, with room to reckon beyond it.
constexpr timeSpan EVER{UtcTime(UtcTime::duration::min() / 2),
                        UtcTime(UtcTime::duration::max() / 2)};

/// From the beginning of the machine's day on.
timeSpan SinceMidnight(UtcTime tNow);

/// Names count in whole seconds, so recordings that touch may lie this far apart: no gap yet.
constexpr Seconds GAP_TOLERANCE{2};

/// The part of `stSpan` that lies in `stRange`; empty (end not after start) when there is none.
timeSpan Clip(const timeSpan& stSpan, const timeSpan& stRange);

/// Whether they have any time in common.
bool Overlap(const timeSpan& stOne, const timeSpan& stOther);

/// By so much at both ends; less than nothing makes it narrower.
constexpr timeSpan Widened(const timeSpan& st, Seconds nBy) {
    return {st.tStart - nBy, st.tEnd + nBy};
}

/// Spans in order, overlapping and touching ones made one.
std::vector<timeSpan> Merge(std::vector<timeSpan> vSpans);

/// What lies between merged spans.
std::vector<timeSpan> GapsBetween(const std::vector<timeSpan>& vMerged);

/// Sum of the lengths.
UtcTime::duration TotalLength(const std::vector<timeSpan>& vSpans);

#endif  // LOCALSTORAGE_CATALOGUE_COVERAGE_H
