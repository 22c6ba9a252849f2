#include "Log/LogLine.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>

#include "Osl/Osl.h"

namespace {

constexpr std::string_view LEVEL_TEXT[] = {"DISABLE", "ERR", "INF", "DBG"};

/// "[2024-03-05 14:07:09." of one second. Breaking down a second costs more than the rest of a
/// line, so each thread keeps its last one; the next second asks the system again, so that a change
/// of the zone or of daylight saving shows at once.
struct SecondText {
    std::time_t m_tSecond = std::numeric_limits<std::time_t>::min();
    int m_nLen = 0;
    char m_szText[64] = {};

    bool Update(std::time_t tSecond) {
        if (tSecond == m_tSecond) return true;
        std::tm stTime;
        if (!OSL_LocalTime(tSecond, stTime)) return false;
        m_nLen = std::snprintf(m_szText, sizeof(m_szText), "[%04u-%02u-%02u %02u:%02u:%02u.",
                               stTime.tm_year + 1900u, stTime.tm_mon + 1u, stTime.tm_mday + 0u,
                               stTime.tm_hour + 0u, stTime.tm_min + 0u, stTime.tm_sec + 0u);
        m_tSecond = tSecond;
        return true;
    }
};

thread_local SecondText t_stSecond;

char* Append(char* pTo, std::string_view strText) {
    std::memcpy(pTo, strText.data(), strText.size());
    return pTo + strText.size();
}

char* AppendThreeDigits(char* pTo, unsigned n) {
    *pTo++ = static_cast<char>('0' + n / 100 % 10);
    *pTo++ = static_cast<char>('0' + n / 10 % 10);
    *pTo++ = static_cast<char>('0' + n % 10);
    return pTo;
}

/// Prints the prefix, which always fits, and returns its end; null when there is no local time.
char* FormatTimeAndName(char* pTo, log_level eLevel) {
    const std::int64_t nNow = OSL_TimeMilliseconds();
    if (!t_stSecond.Update(static_cast<std::time_t>(nNow / 1000))) return nullptr;
    pTo = Append(pTo, {t_stSecond.m_szText, static_cast<std::size_t>(t_stSecond.m_nLen)});
    pTo = AppendThreeDigits(pTo, static_cast<unsigned>(nNow % 1000));
    pTo = Append(pTo, "][");
    pTo = Append(pTo, LEVEL_TEXT[eLevel]);
    return Append(pTo, "] ");
}

char* AppendUpTo(const char* pEnd, char* pTo, std::string_view strText) {
    return Append(pTo, strText.substr(0, static_cast<std::size_t>(pEnd - pTo)));
}

/// Prints a message, cut at `pEnd`, behind which there is room for a NUL. Returns where it ends;
/// null when it cannot be formatted.
char* FormatMessage(char* pTo, char* pEnd, const char* pFormat, va_list args) {
    // Most messages have no conversion but "%s". vsnprintf, which would cost a third of the whole
    // line, gets what begins with any other.
    while (true) {
        const std::size_t nText = std::strcspn(pFormat, "%");
        pTo = AppendUpTo(pEnd, pTo, {pFormat, nText});
        pFormat += nText;
        if (std::strncmp(pFormat, "%s", 2) != 0) break;
        const char* const pText = va_arg(args, const char*);
        pTo = AppendUpTo(pEnd, pTo, pText ? pText : "(null)");
        pFormat += 2;
    }
    if (*pFormat == '\0') return pTo;
    const auto nRoom = static_cast<int>(pEnd - pTo);
    const int nLen = std::vsnprintf(pTo, static_cast<std::size_t>(nRoom) + 1, pFormat, args);
    return nLen < 0 ? nullptr : pTo + std::min(nLen, nRoom);
}

}  // namespace

int FormatLine(char (&szLine)[LOG_LINE_SIZE], log_level eLevel, const char* pFormat, va_list args) {
    constexpr std::string_view LINE_END{"\r\n\0", 3};
    char* pTo = FormatTimeAndName(szLine, NearestLevel(eLevel));
    if (pTo) pTo = FormatMessage(pTo, szLine + LOG_LINE_SIZE - LINE_END.size(), pFormat, args);
    return pTo ? static_cast<int>(Append(pTo, LINE_END) - szLine) - 1 : -1;
}

const char* BehindTime(const char* pLine) {
    const char* pEnd = std::strchr(pLine, ']');
    return pEnd ? pEnd + 1 : pLine;
}

log_level NearestLevel(log_level eLevel) {
    return std::clamp(eLevel, LOG_LEVEL_DISABLE, LOG_LEVEL_DBG);
}
