#include "screen/Table.h"

#include <algorithm>

#include "base/Text.h"
#include "screen/Terminal.h"

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
