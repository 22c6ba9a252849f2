#include "base/Text.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <system_error>

namespace {

/// Every byte of UTF-8 but those that go on with a character.
bool BeginsCharacter(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

}  // namespace

std::size_t TextWidth(std::string_view strText) {
    return static_cast<std::size_t>(std::count_if(strText.begin(), strText.end(), BeginsCharacter));
}

std::string CutToWidth(std::string_view strText, std::size_t nColumns) {
    const auto itEnd = std::find_if(strText.begin(), strText.end(),
                                    [&](char c) { return BeginsCharacter(c) && nColumns-- == 0; });
    return std::string(strText.begin(), itEnd);
}

std::string PadToWidth(std::string strText, std::size_t nColumns) {
    const std::size_t nTaken = TextWidth(strText);
    if (nTaken < nColumns) strText.append(nColumns - nTaken, ' ');
    return strText;
}

std::string Joined(const std::vector<std::string>& vTexts, std::string_view strBetween) {
    std::string strAll;
    for (const std::string& strText : vTexts) {
        if (!strAll.empty()) strAll += strBetween;
        strAll += strText;
    }
    return strAll;
}

std::string FormatBytes(std::uint64_t nBytes) {
    static const char* const UNITS[] = {"KiB", "MiB", "GiB", "TiB", "PiB"};
    if (nBytes < 1024) return std::to_string(nBytes) + " B";
    double fValue = static_cast<double>(nBytes) / 1024;
    std::size_t nUnit = 0;
    for (; fValue >= 1023.95 && nUnit + 1 < std::size(UNITS); ++nUnit) fValue /= 1024;
    char szText[32];
    std::snprintf(szText, sizeof(szText), "%.1f %s", fValue, UNITS[nUnit]);
    return szText;
}

std::string Count(std::uint64_t nCount, const std::string& strOne, const std::string& strMany) {
    const std::string& strPlural = strMany.empty() ? strOne + "s" : strMany;
    return std::to_string(nCount) + " " + (nCount == 1 ? strOne : strPlural);
}

std::string ErrorText(int nError) {
    return std::generic_category().message(nError);
}
