// Times as users type and read them.

#ifndef LOCALSTORAGE_TOOL_BASE_TIMES_H
#define LOCALSTORAGE_TOOL_BASE_TIMES_H

#include <optional>
#include <string>
#include <string_view>

#include "Catalogue/LocalTime.h"

/// The clock by which times are typed and printed, for the whole program.
enum class shownClock {
    LOCAL,              ///< the machine's; the offset stands behind times that come twice
    LOCAL_WITH_OFFSET,  ///< the machine's, the offset behind every time
    UTC
};
void SetShownClock(shownClock eClock);

/// What that clock shows then.
LocalTime ToShown(UtcTime tTime);
/// When it shows a time.
localMoments ShownMomentsOf(LocalTime tTime);

/// Reads a time that a person typed: `2024-03-05T08:00:00`, `2024-03-05 08:00`, `2024-03-05`,
/// `08:00`, `now`, `today`, `yesterday`, the latter two also with a time behind them, or an age
/// such as `-2h`, `-90s`, `-1d12h`. Behind a time of day, whose seconds may have decimals, may
/// stand `Z` or an offset such as `+02:00`. Nothing when it is none of them or no such time exists.
std::optional<localMoments> ParseTime(std::string_view strText, UtcTime tNow);

/// Reads a span such as `90`, `90s`, `15m`, `1h30m`, `2d`; a bare number counts in seconds.
std::optional<Seconds> ParseSpan(std::string_view strText);

std::string FormatTime(LocalTime tTime);  ///< 2024-03-05 08:00:00
std::string FormatIso(LocalTime tTime);   ///< 2024-03-05T08:00:00
std::string FormatDay(LocalTime tTime);   ///< 2024-03-05

/// Moments, by the clock that is shown.
std::string FormatTime(UtcTime tTime);   ///< 2024-03-05 08:00:00
std::string FormatClock(UtcTime tTime);  ///< 08:00:00
/// As RFC 3339 has it, with the offset: 2024-03-05T08:00:00+01:00, or 08:00:00.250 where it is not
/// a whole second.
std::string FormatIso(UtcTime tTime);

/// As a number of seconds, and back.
double InSeconds(UtcTime::duration nSpan);
UtcTime::duration FromSeconds(double fSeconds);

/// To the nearest second: 03:04:05; from two days on 2d 03:04:05.
std::string FormatSpan(UtcTime::duration nSpan);

#endif  // LOCALSTORAGE_TOOL_BASE_TIMES_H
