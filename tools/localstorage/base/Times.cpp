#include "base/Times.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <iterator>

namespace chrono = std::chrono;

namespace {

shownClock g_eShown = shownClock::LOCAL;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Takes exactly `nDigits` digits off the front.
std::optional<int> TakeDigits(std::string_view& strText, std::size_t nDigits) {
    if (strText.size() < nDigits) return std::nullopt;
    const std::string_view strDigits = strText.substr(0, nDigits);
    if (!std::all_of(strDigits.begin(), strDigits.end(), IsDigit)) return std::nullopt;
    int nValue = 0;
    std::from_chars(strDigits.data(), strDigits.data() + nDigits, nValue);
    strText.remove_prefix(nDigits);
    return nValue;
}

bool TakeChar(std::string_view& strText, char c) {
    if (strText.empty() || strText.front() != c) return false;
    strText.remove_prefix(1);
    return true;
}

bool TakeWord(std::string_view& strText, std::string_view strWord) {
    if (!strText.starts_with(strWord)) return false;
    strText.remove_prefix(strWord.size());
    return true;
}

/// `2024-03-05`, a day that exists.
std::optional<LocalTime> TakeDate(std::string_view& strText) {
    std::string_view strRest = strText;
    const auto nYear = TakeDigits(strRest, 4);
    if (!nYear || !TakeChar(strRest, '-')) return std::nullopt;
    const auto nMonth = TakeDigits(strRest, 2);
    if (!nMonth || !TakeChar(strRest, '-')) return std::nullopt;
    const auto nDay = TakeDigits(strRest, 2);
    if (!nDay) return std::nullopt;
    const chrono::year_month_day stDate{chrono::year(*nYear), chrono::month(unsigned(*nMonth)),
                                        chrono::day(unsigned(*nDay))};
    if (!stDate.ok()) return std::nullopt;
    strText = strRest;
    return LocalTime(chrono::local_days(stDate));
}

/// The decimals of a second, as far as they count.
chrono::microseconds TakeDecimals(std::string_view& strText) {
    chrono::microseconds nSum(0), nUnit(100000);
    for (; !strText.empty() && IsDigit(strText.front()); strText.remove_prefix(1)) {
        nSum += (strText.front() - '0') * nUnit;
        nUnit /= 10;
    }
    return nSum;
}

/// `Z` or `+02:00` at the end of a text that tells a time of day.
std::optional<Seconds> TakeOffset(std::string_view& strText) {
    constexpr std::size_t LENGTH = 6;
    std::string_view strEnd = strText.substr(strText.size() - std::min(LENGTH, strText.size()));
    if (strText.ends_with('Z')) {
        strText.remove_suffix(1);
        return Seconds(0);
    }
    const bool bWest = strEnd.starts_with('-');
    if (!TakeChar(strEnd, bWest ? '-' : '+')) return std::nullopt;
    const auto nHours = TakeDigits(strEnd, 2);
    if (!nHours || !TakeChar(strEnd, ':')) return std::nullopt;
    const auto nMinutes = TakeDigits(strEnd, 2);
    if (!nMinutes || *nHours > 18 || *nMinutes > 59) return std::nullopt;
    strText.remove_suffix(LENGTH);
    const Seconds nOffset = chrono::hours(*nHours) + chrono::minutes(*nMinutes);
    return bWest ? -nOffset : nOffset;
}

/// `08:00` or `08:00:00`, the whole rest of the text; 24:00 is the end of the day.
std::optional<chrono::microseconds> ParseClock(std::string_view strText) {
    const auto nHour = TakeDigits(strText, 2);
    if (!nHour || !TakeChar(strText, ':')) return std::nullopt;
    const auto nMinute = TakeDigits(strText, 2);
    if (!nMinute) return std::nullopt;
    std::optional<int> nSecond = 0;
    if (TakeChar(strText, ':')) nSecond = TakeDigits(strText, 2);
    const auto nDecimals =
        nSecond && TakeChar(strText, '.') ? TakeDecimals(strText) : chrono::microseconds(0);
    if (!nSecond || !strText.empty() || *nMinute > 59 || *nSecond > 59) return std::nullopt;
    const chrono::microseconds nSum =
        chrono::hours(*nHour) + chrono::minutes(*nMinute) + chrono::seconds(*nSecond) + nDecimals;
    if (nSum > chrono::hours(24)) return std::nullopt;
    return nSum;
}

std::optional<Seconds> UnitOf(char c) {
    switch (c) {
        case 's':
            return Seconds(1);
        case 'm':
            return chrono::minutes(1);
        case 'h':
            return chrono::hours(1);
        case 'd':
            return chrono::days(1);
        case 'w':
            return chrono::weeks(1);
        default:
            return std::nullopt;
    }
}

/// One number with its unit, such as `30m`; a number at the end of the text counts in seconds.
std::optional<Seconds> TakeSpan(std::string_view& strText) {
    constexpr std::int64_t MOST = 100LL * 366 * 24 * 3600;  // a century is enough for anybody
    std::int64_t nCount = 0;
    const auto stRead = std::from_chars(strText.data(), strText.data() + strText.size(), nCount);
    if (stRead.ec != std::errc() || !IsDigit(strText.front()) || nCount > MOST) {
        return std::nullopt;
    }
    strText.remove_prefix(static_cast<std::size_t>(stRead.ptr - strText.data()));
    if (strText.empty()) return Seconds(nCount);
    const auto nUnit = UnitOf(strText.front());
    if (!nUnit || nCount > MOST / nUnit->count()) return std::nullopt;
    strText.remove_prefix(1);
    return nCount * *nUnit;
}

/// A day by name or date, as the midnight that begins it.
std::optional<LocalTime> TakeDay(std::string_view& strText, LocalTime tNow) {
    if (TakeWord(strText, "today")) return StartOfDay(tNow);
    if (TakeWord(strText, "yesterday")) return StartOfDay(tNow) - chrono::days(1);
    return TakeDate(strText);
}

/// At least so many digits in front of `p`; where they begin.
char* PutBefore(char* p, int nNumber, int nDigits) {
    for (int n = std::abs(nNumber); n > 0 || nDigits > 0; n /= 10, --nDigits) {
        *--p = static_cast<char>('0' + n % 10);
    }
    if (nNumber < 0) *--p = '-';
    return p;
}

std::string Print(LocalTime tTime, char cBetween) {
    const timeFields st = ToFields(tTime);
    char szText[32];
    char* p = PutBefore(std::end(szText), st.nSecond, 2);
    const std::pair<char, int> PARTS[] = {
        {':', st.nMinute}, {':', st.nHour}, {cBetween, st.nDay}, {'-', st.nMonth}};
    for (const auto& [cBehind, nNumber] : PARTS) {
        *--p = cBehind;
        p = PutBefore(p, nNumber, 2);
    }
    *--p = '-';
    return {PutBefore(p, st.nYear, 4), std::end(szText)};
}

std::string FormatOffset(Seconds nOffset) {
    if (g_eShown == shownClock::UTC) return "Z";
    const auto nMinutes = chrono::round<chrono::minutes>(nOffset).count();
    char szText[32];
    std::snprintf(szText, sizeof(szText), "%c%02d:%02d", nMinutes < 0 ? '-' : '+',
                  static_cast<int>(std::abs(nMinutes) / 60),
                  static_cast<int>(std::abs(nMinutes) % 60));
    return szText;
}

/// The offset where it has to be told for a time that people read.
std::string OffsetToTell(LocalTime tShown, UtcTime tTime) {
    const bool bTell = g_eShown != shownClock::LOCAL || MomentsOf(tShown).IsTwice();
    return bTell ? FormatOffset(OffsetOf(tShown, tTime)) : "";
}

/// A day and time of day by a clock of this offset, else by the one that is shown.
std::optional<localMoments> ParseDayAndClock(std::string_view strText, UtcTime tNow,
                                             std::optional<Seconds> nOffset) {
    const LocalTime tHere =
        nOffset ? LocalTime(chrono::floor<Seconds>(tNow.time_since_epoch()) + *nOffset)
                : ToShown(tNow);
    auto nClock = ParseClock(strText);
    auto tDay = std::optional(StartOfDay(tHere));
    if (!nClock) {
        tDay = TakeDay(strText, tHere);
        const bool bClock = TakeChar(strText, 'T') || TakeChar(strText, ' ');
        if (bClock) nClock = ParseClock(strText);
        if (!bClock && strText.empty() && !nOffset) nClock = chrono::microseconds(0);
    }
    if (!tDay || !nClock) return std::nullopt;
    const auto nSeconds = chrono::floor<Seconds>(*nClock);
    const LocalTime tLocal = *tDay + nSeconds;
    localMoments st{AtOffset(tLocal, nOffset.value_or(Seconds(0))), {}};
    st.tSecond = st.tFirst;
    if (!nOffset) st = ShownMomentsOf(tLocal);
    return localMoments{st.tFirst + (*nClock - nSeconds), st.tSecond + (*nClock - nSeconds)};
}

}  // namespace

void SetShownClock(shownClock eClock) {
    g_eShown = eClock;
}

LocalTime ToShown(UtcTime tTime) {
    if (g_eShown != shownClock::UTC) return ToLocal(tTime);
    return LocalTime(chrono::floor<Seconds>(tTime.time_since_epoch()));
}

localMoments ShownMomentsOf(LocalTime tTime) {
    if (g_eShown != shownClock::UTC) return MomentsOf(tTime);
    return {AtOffset(tTime, Seconds(0)), AtOffset(tTime, Seconds(0))};
}

std::optional<localMoments> ParseTime(std::string_view strText, UtcTime tNow) {
    if (strText == "now") return localMoments{tNow, tNow};
    if (TakeChar(strText, '-')) {
        const auto nAge = ParseSpan(strText);
        if (!nAge) return std::nullopt;
        return localMoments{tNow - *nAge, tNow - *nAge};
    }
    const auto nOffset = TakeOffset(strText);
    return ParseDayAndClock(strText, tNow, nOffset);
}

std::optional<Seconds> ParseSpan(std::string_view strText) {
    if (strText.empty()) return std::nullopt;
    Seconds nSum(0);
    while (!strText.empty()) {
        const auto nPart = TakeSpan(strText);
        if (!nPart) return std::nullopt;
        nSum += *nPart;
    }
    return nSum;
}

std::string FormatTime(LocalTime tTime) {
    return Print(tTime, ' ');
}
std::string FormatIso(LocalTime tTime) {
    return Print(tTime, 'T');
}
std::string FormatDay(LocalTime tTime) {
    return FormatTime(tTime).substr(0, 10);
}

std::string FormatTime(UtcTime tTime) {
    const LocalTime tShown = ToShown(tTime);
    return FormatTime(tShown) + OffsetToTell(tShown, tTime);
}
std::string FormatClock(UtcTime tTime) {
    return FormatTime(tTime).substr(11);
}
std::string FormatIso(UtcTime tTime) {
    const LocalTime tShown = ToShown(tTime);
    const auto nDecimals =
        chrono::floor<chrono::milliseconds>(tTime) - chrono::floor<Seconds>(tTime);
    char szDecimals[32] = "";
    if (nDecimals.count() > 0) {
        std::snprintf(szDecimals, sizeof(szDecimals), ".%03d", static_cast<int>(nDecimals.count()));
    }
    return FormatIso(tShown) + szDecimals + FormatOffset(OffsetOf(tShown, tTime));
}

double InSeconds(UtcTime::duration nSpan) {
    return std::chrono::duration<double>(nSpan).count();
}
UtcTime::duration FromSeconds(double fSeconds) {
    return chrono::round<UtcTime::duration>(std::chrono::duration<double>(fSeconds));
}

std::string FormatSpan(UtcTime::duration nSpan) {
    const long long n = chrono::round<Seconds>(nSpan).count();
    char szText[64];
    if (n >= 2 * 86400) {
        std::snprintf(szText, sizeof(szText), "%lldd %02lld:%02lld:%02lld", n / 86400,
                      n / 3600 % 24, n / 60 % 60, n % 60);
    } else {
        std::snprintf(szText, sizeof(szText), "%02lld:%02lld:%02lld", n / 3600, n / 60 % 60,
                      n % 60);
    }
    return szText;
}
