#include "C/Conversion.h"

#include "LocalStorage/Conversion.h"

std::optional<std::vector<std::string>> TakeTexts(const char* const* ppTexts, std::size_t nCount) {
    std::vector<std::string> vTexts;
    for (std::size_t n = 0; ppTexts && n < nCount; ++n) {
        if (!ppTexts[n]) return std::nullopt;
        vTexts.emplace_back(ppTexts[n]);
    }
    return vTexts;
}

std::optional<tagBlockTime> TakeTime(const ls_time& stTime) {
    namespace chrono = std::chrono;
    const chrono::year_month_day stDay{chrono::year(stTime.year), chrono::month(stTime.month),
                                       chrono::day(stTime.day)};
    if (stTime.year < 1 || stTime.year > 9999 || !stDay.ok()) return std::nullopt;
    if (stTime.hour > 23 || stTime.minute > 59 || stTime.second > 60) return std::nullopt;
    tagBlockTime st;
    st.wYear = stTime.year;
    st.byMonth = stTime.month;
    st.byDay = stTime.day;
    st.byHour = stTime.hour;
    st.byMinute = stTime.minute;
    st.bySecond = stTime.second;
    return st;
}

bool TakeSpan(const ls_time& stBegin, const ls_time& stEnd, tagBlockTime& stFirst,
              tagBlockTime& stLast) {
    const auto first = TakeTime(stBegin), last = TakeTime(stEnd);
    if (!first || !last) return false;
    stFirst = *first;
    stLast = *last;
    return ConvertBlockTimeToFileTime(stFirst) <= ConvertBlockTimeToFileTime(stLast);
}

ls_time GiveTime(const tagBlockTime& stTime) {
    return {stTime.wYear,
            stTime.byMonth,
            stTime.byDay,
            stTime.byHour,
            stTime.byMinute,
            stTime.bySecond,
            0};
}

std::int64_t GiveMoment(UtcTime tTime) {
    return tTime.time_since_epoch().count();
}

ls_error ls_time_of(int64_t moment, ls_time* time) {
    if (!time) return LS_ERROR_ARGUMENT;
    *time = {};
    const UtcTime tTime{UtcTime::duration(moment)};
    if (tTime < FIRST_MOMENT || tTime >= LAST_MOMENT) return LS_ERROR_TIME;
    *time = GiveTime(ToBlockTime(ToLocal(tTime)));
    return LS_OK;
}
