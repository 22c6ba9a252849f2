#include "Output.h"

#include <algorithm>
#include <cstdio>
#include <iostream>

#include "Osl/Osl.h"
#include "Terminal.h"

void PrintJson(const Json& jsObject) {
    PrintLine(jsObject.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void PrintMessage(std::string_view strText) {
    CLiveLines::Pause stPause;
    std::cerr << "localstorage: " << strText << std::endl;
}

std::size_t TextWidth(std::string_view strText) {
    return static_cast<std::size_t>(std::count_if(strText.begin(), strText.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

std::vector<std::size_t> CTable::Widths() const {
    std::vector<std::size_t> vecWidths;
    for (const column& stColumn : m_vecColumns) vecWidths.push_back(TextWidth(stColumn.strTitle));
    for (const auto& vecCells : m_vecRows) {
        for (std::size_t n = 0; n < vecCells.size(); ++n) {
            vecWidths[n] = std::max(vecWidths[n], TextWidth(vecCells[n]));
        }
    }
    return vecWidths;
}

void CTable::Print() const {
    const std::vector<std::size_t> vecWidths = Widths();
    const auto PrintRow = [&](const std::vector<std::string>& vecCells) {
        std::string strLine;
        for (std::size_t n = 0; n < vecCells.size(); ++n) {
            const std::string strPad(vecWidths[n] - TextWidth(vecCells[n]), ' ');
            if (n > 0) strLine += "  ";
            strLine +=
                m_vecColumns[n].eAlign == RIGHT ? strPad + vecCells[n] : vecCells[n] + strPad;
        }
        strLine.erase(strLine.find_last_not_of(' ') + 1);
        PrintLine(strLine);
    };
    std::vector<std::string> vecTitles;
    for (const column& stColumn : m_vecColumns) vecTitles.push_back(stColumn.strTitle);
    PrintRow(vecTitles);
    for (const auto& vecCells : m_vecRows) PrintRow(vecCells);
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
    char szText[128];
    return OSL_ErrorText(nError, szText, sizeof(szText));
}
