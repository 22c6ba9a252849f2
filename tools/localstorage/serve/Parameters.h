// What the parameters of a request mean. Whatever cannot be read throws CHttpFailure with status
// 400, in words that name the parameter. Pure functions.

#ifndef LOCALSTORAGE_TOOL_SERVE_PARAMETERS_H
#define LOCALSTORAGE_TOOL_SERVE_PARAMETERS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Catalogue/Coverage.h"
#include "serve/Http.h"

/// From the first to the last day that the name of a folder can tell.
constexpr timeSpan ALL_DAYS{std::chrono::sys_days(std::chrono::year(1) / 1 / 1),
                            std::chrono::sys_days(std::chrono::year(9999) / 12 / 31)};

/// A time as RFC 3339 has it, the offset included: 2024-03-05T08:00:00.250+01:00. Nothing when it
/// is none.
std::optional<UtcTime> ParseRfc3339(std::string_view strText);

/// Of one request.
class CParameterReader {
public:
    explicit CParameterReader(const Parameters& mParameters) : m_mParameters(mParameters) {}

    /// Nothing: it was not given.
    std::optional<std::string> Text(const std::string& strName) const;
    std::optional<UtcTime> Time(const std::string& strName) const;
    std::optional<std::string> Camera(const std::string& strName) const;
    /// A day `2024-03-05` by the clock that is shown; today unless given.
    timeSpan Day(const std::string& strName) const;
    /// A number of seconds, with decimals perhaps; more than nothing and at most a year.
    std::optional<UtcTime::duration> Length(const std::string& strName) const;
    /// One of a few words; the first unless given.
    std::string Word(const std::string& strName, const std::vector<std::string>& vWords) const;
    /// From one time up to another; the first or last day where one is missing.
    timeSpan Range(const std::string& strFrom, const std::string& strTo) const;

private:
    const Parameters& m_mParameters;
};

/// A value that the request must not leave out.
template <typename T>
T Needed(std::optional<T> optValue, const std::string& strName) {
    if (!optValue) throw CHttpFailure(HTTP_BAD_REQUEST, "the parameter " + strName + " is missing");
    return *std::move(optValue);
}

/// A text as it stands for itself in a URL.
std::string UrlEncoded(std::string_view strText);

#endif  // LOCALSTORAGE_TOOL_SERVE_PARAMETERS_H
