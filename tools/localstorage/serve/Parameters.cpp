#include "serve/Parameters.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "RecordTree/Names.h"
#include "base/Text.h"
#include "base/Times.h"
#include "screen/TimelineDay.h"

namespace {

constexpr double LONGEST_SECONDS = 366 * 86400.0;

[[noreturn]] void Refuse(const std::string& strName, const std::string& strWanted) {
    throw CHttpFailure(HTTP_BAD_REQUEST, "the parameter " + strName + " " + strWanted);
}

/// Whether every digit and sign stands where the form has one ("0" is any digit).
bool HasForm(std::string_view strText, std::string_view strForm) {
    return strText.size() >= strForm.size() &&
           std::equal(strForm.begin(), strForm.end(), strText.begin(), [](char cForm, char c) {
               return cForm == '0' ? c >= '0' && c <= '9' : c == cForm;
           });
}

}  // namespace

std::optional<UtcTime> ParseRfc3339(std::string_view strText) {
    constexpr std::string_view OFFSET = "+00:00";
    std::string str(strText);
    if (!HasForm(str, "0000-00-00T00:00:00")) return std::nullopt;
    if (!str.ends_with('Z')) {
        // A plus sign that a client did not encode arrives as a blank.
        char& cSign = str[str.size() - OFFSET.size()];
        if (cSign == ' ') cSign = '+';
        if (cSign != '+' && cSign != '-') return std::nullopt;
    }
    const auto stMoments = ParseTime(str, UtcTime());
    return stMoments ? std::optional(stMoments->tFirst) : std::nullopt;
}

std::optional<std::string> CParameterReader::Text(const std::string& strName) const {
    const auto [itFirst, itEnd] = m_mParameters.equal_range(strName);
    if (itFirst == itEnd) return std::nullopt;
    if (std::next(itFirst) != itEnd) Refuse(strName, "was given more than once");
    return itFirst->second;
}

std::optional<UtcTime> CParameterReader::Time(const std::string& strName) const {
    const auto optText = Text(strName);
    if (!optText) return std::nullopt;
    const auto optTime = ParseRfc3339(*optText);
    if (!optTime) {
        Refuse(strName,
               "is no time; write it as 2024-03-05T08:00:00+01:00 or 2024-03-05T07:00:00Z");
    }
    return optTime;
}

std::optional<std::string> CParameterReader::Camera(const std::string& strName) const {
    auto optText = Text(strName);
    if (optText && !IsCameraID(*optText)) Refuse(strName, "is no camera's identifier");
    return optText;
}

timeSpan CParameterReader::Day(const std::string& strName) const {
    const std::string strDay = Text(strName).value_or("today");
    const auto stMoments = ParseTime(strDay, Now());
    const bool bDay = strDay == "today" || strDay.size() == std::string_view("2024-03-05").size();
    if (!bDay || !stMoments) Refuse(strName, "is no day; write it as 2024-03-05");
    return DayAround(stMoments->tFirst);
}

std::optional<UtcTime::duration> CParameterReader::Length(const std::string& strName) const {
    const auto optText = Text(strName);
    if (!optText) return std::nullopt;
    double fSeconds = 0;
    const char* const pEnd = optText->data() + optText->size();
    const auto [pRead, eError] =
        std::from_chars(optText->data(), pEnd, fSeconds, std::chars_format::fixed);
    const bool bRead = eError == std::errc() && pRead == pEnd;
    if (!bRead || !(fSeconds > 0 && fSeconds <= LONGEST_SECONDS)) {
        Refuse(strName, "is no number of seconds between 0 and a year");
    }
    return std::max(FromSeconds(fSeconds), UtcTime::duration(1));
}

std::string CParameterReader::Word(const std::string& strName,
                                   const std::vector<std::string>& vWords) const {
    const std::string str = Text(strName).value_or(vWords.front());
    if (std::find(vWords.begin(), vWords.end(), str) == vWords.end()) {
        Refuse(strName, "is none of " + Joined(vWords, ", "));
    }
    return str;
}

timeSpan CParameterReader::Range(const std::string& strFrom, const std::string& strTo) const {
    const timeSpan st{Time(strFrom).value_or(ALL_DAYS.tStart), Time(strTo).value_or(ALL_DAYS.tEnd)};
    if (st.tStart >= st.tEnd) Refuse(strTo, "is not later than " + strFrom);
    return st;
}

std::string UrlEncoded(std::string_view strText) {
    constexpr std::string_view PLAIN =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string strUrl;
    for (const char c : strText) {
        const auto n = static_cast<unsigned char>(c);
        if (PLAIN.find(c) != PLAIN.npos) {
            strUrl += c;
        } else {
            strUrl += {'%', DIGITS[n >> 4], DIGITS[n & 15]};
        }
    }
    return strUrl;
}
