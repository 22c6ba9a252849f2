// Which parts of a time range recordings cover, and where the gaps are. Pure functions.

#ifndef LOCALSTORAGE_TOOL_RECORDS_COVERAGE_H
#define LOCALSTORAGE_TOOL_RECORDS_COVERAGE_H

#include <vector>

#include "base/Times.h"

/// A stretch of time from its first second up to, not including, its end.
struct timeSpan {
    LocalTime tStart;
    LocalTime tEnd;

    Seconds Length() const { return tEnd - tStart; }
    bool operator==(const timeSpan&) const = default;
};

/// Names count in whole seconds, so recordings that touch may lie this far apart: no gap yet.
constexpr Seconds GAP_TOLERANCE{2};

/// The part of `stSpan` that lies in `stRange`; empty (end not after start) when there is none.
timeSpan Clip(const timeSpan& stSpan, const timeSpan& stRange);

/// Spans in order, overlapping and touching ones made one.
std::vector<timeSpan> Merge(std::vector<timeSpan> vSpans);

/// What lies between merged spans.
std::vector<timeSpan> GapsBetween(const std::vector<timeSpan>& vMerged);

/// Sum of the lengths.
Seconds TotalLength(const std::vector<timeSpan>& vSpans);

#endif  // LOCALSTORAGE_TOOL_RECORDS_COVERAGE_H
