#include "screen/Table.h"

#include <algorithm>

#include "base/Text.h"
#include "screen/Terminal.h"

std::vector<std::size_t> CTable::Widths() const {
    std::vector<std::size_t> vWidths;
    for (const column& stColumn : m_vColumns) vWidths.push_back(TextWidth(stColumn.strTitle));
    for (const auto& vCells : m_vRows) {
        for (std::size_t n = 0; n < vCells.size(); ++n) {
            vWidths[n] = std::max(vWidths[n], TextWidth(vCells[n]));
        }
    }
    return vWidths;
}

void CTable::Print() const {
    const std::vector<std::size_t> vWidths = Widths();
    const auto PrintRow = [&](const std::vector<std::string>& vCells) {
        std::string strLine;
        for (std::size_t n = 0; n < vCells.size(); ++n) {
            const std::string strPad(vWidths[n] - TextWidth(vCells[n]), ' ');
            if (n > 0) strLine += "  ";
            strLine += m_vColumns[n].eAlign == RIGHT ? strPad + vCells[n] : vCells[n] + strPad;
        }
        strLine.erase(strLine.find_last_not_of(' ') + 1);
        PrintLine(strLine);
    };
    std::vector<std::string> vTitles;
    for (const column& stColumn : m_vColumns) vTitles.push_back(stColumn.strTitle);
    PrintRow(vTitles);
    for (const auto& vCells : m_vRows) PrintRow(vCells);
}
