// Local times as the tool's users type them and as file names carry them.
//
// Everything here counts in seconds of the local clock, as the names of recordings do: no time zone
// enters, so a day has 24 hours and names order as times do. Only Now and FromUnix ask the system.

#ifndef LOCALSTORAGE_TOOL_BASE_TIMES_H
#define LOCALSTORAGE_TOOL_BASE_TIMES_H

#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "localstorage/LocalStorage.h"

using LocalTime = std::chrono::local_seconds;
using Seconds = std::chrono::seconds;

/// The fields of a time as six numbers.
struct timeFields {
    int nYear = 0, nMonth = 0, nDay = 0, nHour = 0, nMinute = 0, nSecond = 0;
};

/// Fields outside their ranges carry over, so that every name has a time.
LocalTime FromFields(const timeFields& stFields);
timeFields ToFields(LocalTime tTime);
tagBlockTime ToBlockTime(LocalTime tTime);

/// The system's local time.
LocalTime Now();
LocalTime FromUnix(std::time_t nTime);

/// Midnight at the beginning of the day.
LocalTime StartOfDay(LocalTime tTime);

/// Reads a time that a person typed: `2024-03-05T08:00:00`, `2024-03-05 08:00`, `2024-03-05`,
/// `08:00`, `now`, `today`, `yesterday`, the latter two also with a time behind them, or an age
/// such as `-2h`, `-90s`, `-1d12h`. Nothing when it is none of them or no such time exists.
std::optional<LocalTime> ParseTime(std::string_view strText, LocalTime tNow);

/// Reads a span such as `90`, `90s`, `15m`, `1h30m`, `2d`; a bare number counts in seconds.
std::optional<Seconds> ParseSpan(std::string_view strText);

std::string FormatTime(LocalTime tTime);   ///< 2024-03-05 08:00:00
std::string FormatIso(LocalTime tTime);    ///< 2024-03-05T08:00:00
std::string FormatDay(LocalTime tTime);    ///< 2024-03-05
std::string FormatClock(LocalTime tTime);  ///< 08:00:00
std::string FormatSpan(Seconds nSpan);     ///< 03:04:05; from two days on 2d 03:04:05

#endif  // LOCALSTORAGE_TOOL_BASE_TIMES_H
