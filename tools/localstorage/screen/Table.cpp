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
    std::string strLine;
    const auto PrintRow = [&](const std::vector<std::string>& vCells,
                              const std::set<std::size_t>& setRed) {
        strLine.clear();
        for (std::size_t n = 0; n < vCells.size(); ++n) {
            const std::size_t nPad = vWidths[n] - TextWidth(vCells[n]);
            const bool bRight = m_vColumns[n].eAlign == RIGHT, bRed = setRed.contains(n);
            strLine.append(n > 0 ? 2u : 0u, ' ').append(bRight ? nPad : 0, ' ');
            strLine.append(bRed ? "\x1b[31m" : "").append(vCells[n]).append(bRed ? "\x1b[0m" : "");
            strLine.append(bRight ? 0 : nPad, ' ');
        }
        strLine.erase(strLine.find_last_not_of(' ') + 1);
        PrintLine(strLine);
    };
    std::vector<std::string> vTitles;
    for (const column& stColumn : m_vColumns) vTitles.push_back(stColumn.strTitle);
    PrintRow(vTitles, {});
    const bool bColour = WantsColour();
    for (std::size_t n = 0; n < m_vRows.size(); ++n) {
        const auto itRed = m_mRed.find(n);
        PrintRow(m_vRows[n],
                 bColour && itRed != m_mRed.end() ? itRed->second : std::set<std::size_t>{});
    }
}
