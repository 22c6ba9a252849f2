#include "Catalogue/LocalTime.h"

#include <algorithm>
#include <optional>

#include "Osl/Osl.h"

namespace chrono = std::chrono;

LocalTime FromFields(const timeFields& stFields) {
    const int nMonths = stFields.nYear * 12 + stFields.nMonth - 1;
    const int nYear = (nMonths >= 0 ? nMonths : nMonths - 11) / 12;
    const chrono::year_month_day stFirst{
        chrono::year(nYear), chrono::month(static_cast<unsigned>(nMonths - nYear * 12 + 1)),
        chrono::day(1)};
    return LocalTime(chrono::local_days(stFirst)) + chrono::days(stFields.nDay - 1) +
           chrono::hours(stFields.nHour) + chrono::minutes(stFields.nMinute) +
           chrono::seconds(stFields.nSecond);
}

timeFields ToFields(LocalTime tTime) {
    const auto tDay = chrono::floor<chrono::days>(tTime);
    const chrono::year_month_day stDate(tDay);
    const chrono::hh_mm_ss stClock(tTime - tDay);
    return {int(stDate.year()),
            int(unsigned(stDate.month())),
            int(unsigned(stDate.day())),
            int(stClock.hours().count()),
            int(stClock.minutes().count()),
            int(stClock.seconds().count())};
}

tagBlockTime ToBlockTime(LocalTime tTime) {
    const timeFields st = ToFields(tTime);
    tagBlockTime stBlock;
    stBlock.wYear = static_cast<std::uint16_t>(st.nYear);
    stBlock.byMonth = static_cast<std::uint8_t>(st.nMonth);
    stBlock.byDay = static_cast<std::uint8_t>(st.nDay);
    stBlock.byHour = static_cast<std::uint8_t>(st.nHour);
    stBlock.byMinute = static_cast<std::uint8_t>(st.nMinute);
    stBlock.bySecond = static_cast<std::uint8_t>(st.nSecond);
    return stBlock;
}

UtcTime Now() {
    return chrono::time_point_cast<chrono::microseconds>(chrono::system_clock::now());
}

namespace {

/// How clocks run on a day. It counts for a second: the machine's time zone may be changed.
struct askedDay {
    LocalTime tDay;
    std::optional<UtcTime> tMidnight;  ///< none: clocks are put forward or back
    std::time_t tAsked = -1;

    bool Holds(LocalTime tTime) const { return StartOfDay(tTime) == tDay && IsFresh(); }
    bool Holds(UtcTime tTime) const {
        return tMidnight && tTime >= *tMidnight && tTime < *tMidnight + chrono::days(1) &&
               IsFresh();
    }
    bool IsFresh() const { return OSL_Time() == tAsked; }
};
/// The one that was asked for last: many times are of one day.
thread_local askedDay t_stDay;

LocalTime AskLocal(UtcTime tTime) {
    const auto tSecond = chrono::floor<Seconds>(tTime);
    std::tm st = {};
    OSL_LocalTime(static_cast<std::time_t>(tSecond.time_since_epoch().count()), st,
                  OSL_Zone::AskedLately);
    return FromFields(
        {st.tm_year + 1900, st.tm_mon + 1, st.tm_mday, st.tm_hour, st.tm_min, st.tm_sec});
}

localMoments AskMoments(LocalTime tTime) {
    // A day before and a day behind, the clock is what it was and what it will be.
    const auto Moment = [&](chrono::days nAway) {
        const UtcTime tNear = AtOffset(tTime, nAway);
        return AtOffset(tTime, OffsetOf(AskLocal(tNear), tNear));
    };
    const UtcTime tBefore = Moment(chrono::days(1)), tBehind = Moment(-chrono::days(1));
    if (tBefore == tBehind) return {tBefore, tBefore};
    const bool bBefore = AskLocal(tBefore) == tTime, bBehind = AskLocal(tBehind) == tTime;
    if (bBefore && bBehind) return {std::min(tBefore, tBehind), std::max(tBefore, tBehind)};
    const UtcTime tOnly = bBehind ? tBehind : tBefore;
    return {tOnly, tOnly};
}

askedDay AskDay(LocalTime tDay) {
    const std::time_t tAsked = OSL_Time();
    const localMoments stThis = AskMoments(tDay), stNext = AskMoments(tDay + chrono::days(1));
    const bool bPlain = !stThis.IsTwice() && stNext.tFirst - stThis.tFirst == chrono::days(1);
    return {tDay, bPlain ? std::optional(stThis.tFirst) : std::nullopt, tAsked};
}

}  // namespace

LocalTime ToLocal(UtcTime tTime) {
    if (!t_stDay.Holds(tTime)) return AskLocal(tTime);
    return t_stDay.tDay + chrono::floor<Seconds>(tTime - *t_stDay.tMidnight);
}

localMoments MomentsOf(LocalTime tTime) {
    if (!t_stDay.Holds(tTime)) t_stDay = AskDay(StartOfDay(tTime));
    if (!t_stDay.tMidnight) return AskMoments(tTime);
    const UtcTime tOnly = *t_stDay.tMidnight + (tTime - t_stDay.tDay);
    return {tOnly, tOnly};
}

UtcTime AtOffset(LocalTime tTime, Seconds nOffset) {
    return UtcTime(tTime.time_since_epoch() - nOffset);
}

Seconds OffsetOf(LocalTime tShown, UtcTime tTime) {
    return tShown.time_since_epoch() - chrono::floor<Seconds>(tTime.time_since_epoch());
}

LocalTime StartOfDay(LocalTime tTime) {
    return LocalTime(chrono::floor<chrono::days>(tTime));
}
