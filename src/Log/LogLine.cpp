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

}  // namespace

int FormatLine(char (&szLine)[LOG_LINE_SIZE], log_level eLevel, const char* pFormat, va_list args) {
    constexpr std::string_view LINE_END{"\r\n\0", 3};
    char* pMessage = FormatTimeAndName(szLine, NearestLevel(eLevel));
    if (!pMessage) return -1;
    const auto nRoom = static_cast<int>(szLine + LOG_LINE_SIZE - LINE_END.size() - pMessage);
    const int nLen = std::vsnprintf(pMessage, static_cast<std::size_t>(nRoom) + 1, pFormat, args);
    if (nLen < 0) return -1;
    const char* pEnd = Append(pMessage + std::min(nLen, nRoom), LINE_END);
    return static_cast<int>(pEnd - szLine) - 1;
}

log_level NearestLevel(log_level eLevel) {
    return std::clamp(eLevel, LOG_LEVEL_DISABLE, LOG_LEVEL_DBG);
}
