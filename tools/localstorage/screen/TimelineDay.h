// One day of one or more cameras, ready to be drawn. Pure functions.

#ifndef LOCALSTORAGE_TOOL_SCREEN_TIMELINEDAY_H
#define LOCALSTORAGE_TOOL_SCREEN_TIMELINEDAY_H

#include <set>
#include <string>
#include <vector>

#include "Catalogue/Catalogue.h"

/// A stretch recorded as one type; type 0 stands for the client layout, which knows none.
struct typedSpan {
    timeSpan stSpan;
    unsigned nType = 0;
};

/// A camera's day.
struct timelineRow {
    std::string strCamera;
    std::vector<typedSpan> vSpans;   ///< clipped to the day
    std::vector<timeSpan> vCovered;  ///< merged

    std::vector<timeSpan> Gaps() const { return GapsBetween(vCovered); }
};

struct timelineDay {
    timeSpan stDay;
    std::vector<timelineRow> vRows;  ///< by camera

    std::set<unsigned> Types() const;
};

/// The day in which a time lies, by the clock that is shown: 23 to 25 hours.
timeSpan DayAround(UtcTime tTime);
/// Where a time stands in a day, 0 to 1, and where its hour does, 0 to 24.
double PlaceIn(const timeSpan& stDay, UtcTime tTime);
double PlaceOfHour(const timeSpan& stDay, std::size_t nHour);
std::string DayText(const timeSpan& stDay);

timelineDay MakeTimeline(const std::vector<recording>& vRecordings, timeSpan stDay);

/// One column of a bar: how much of it is recorded, 0 to 1, and as which type for the longest time.
struct timelineCell {
    double fCovered = 0;
    unsigned nType = 0;
};

std::vector<timelineCell> MakeCells(const timelineRow& stRow, const timeSpan& stDay,
                                    std::size_t nColumns);

/// The text that a type has in legends.
std::string TypeName(unsigned nType);

#endif  // LOCALSTORAGE_TOOL_SCREEN_TIMELINEDAY_H
