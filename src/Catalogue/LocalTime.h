// Times: moments in UTC, and what a clock on the wall shows then, as names of files carry it.
//
// A local time counts in seconds of the wall clock; no time zone enters, so a day has 24 hours and
// names order as times do. ToLocal and MomentsOf lead from one to the other by the machine's time
// zone: at the end of summer time a clock shows an hour twice, at its beginning it leaves one out.
// Any thread.

#ifndef LOCALSTORAGE_CATALOGUE_LOCALTIME_H
#define LOCALSTORAGE_CATALOGUE_LOCALTIME_H

#include <chrono>

#include "localstorage/LocalStorage.h"

using LocalTime = std::chrono::local_seconds;
using Seconds = std::chrono::seconds;
/// Microseconds since 1970, UTC.
using UtcTime = std::chrono::sys_time<std::chrono::microseconds>;

/// The fields of a time as six numbers.
struct timeFields {
    int nYear = 0, nMonth = 0, nDay = 0, nHour = 0, nMinute = 0, nSecond = 0;
};

/// Fields outside their ranges carry over, so that every name has a time.
LocalTime FromFields(const timeFields& stFields);
timeFields ToFields(LocalTime tTime);
tagBlockTime ToBlockTime(LocalTime tTime);

UtcTime Now();

/// What the machine's clocks show then.
LocalTime ToLocal(UtcTime tTime);

/// When a clock shows a time that is so far ahead of UTC, and how far ahead one is that shows it
/// then.
UtcTime AtOffset(LocalTime tTime, Seconds nOffset);
Seconds OffsetOf(LocalTime tShown, UtcTime tTime);

/// When the machine's clocks show a time: one moment, but for the hour that comes twice. A time
/// that they leave out is that of the clock that was not put forward.
struct localMoments {
    UtcTime tFirst, tSecond;

    bool IsTwice() const { return tFirst != tSecond; }
};
localMoments MomentsOf(LocalTime tTime);

/// Midnight at the beginning of the day.
LocalTime StartOfDay(LocalTime tTime);

#endif  // LOCALSTORAGE_CATALOGUE_LOCALTIME_H
