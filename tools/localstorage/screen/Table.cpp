#include "screen/Table.h"

#include <algorithm>
#include <utility>

#include "base/Text.h"
#include "screen/Terminal.h"

namespace {

constexpr std::size_t BLOCK = 64 << 10;  // printed at once

}  // namespace

CTable::CTable(std::vector<column> vColumns) : m_vColumns(std::move(vColumns)) {
    for (column& st : m_vColumns) st.nWidth = TextWidth(st.strTitle);
}

void CTable::AddRow(std::initializer_list<std::string_view> vCells, std::set<std::size_t> setRed) {
    if (!setRed.empty()) m_mRed[m_vCells.size() / m_vColumns.size()] = std::move(setRed);
    auto itColumn = m_vColumns.begin();
    for (const std::string_view strCell : vCells) {
        const std::size_t nWidth = TextWidth(strCell);
        itColumn->nWidth = std::max(itColumn->nWidth, nWidth);
        ++itColumn;
        m_strCells += strCell;
        m_vCells.push_back(
            {static_cast<std::uint32_t>(strCell.size()), static_cast<std::uint32_t>(nWidth)});
    }
}

void CTable::Append(std::string& strOut, const column& stColumn, std::string_view strCell,
                    std::size_t nWidth, bool bRed) {
    const std::size_t nPad = stColumn.nWidth - nWidth;
    const bool bRight = stColumn.eAlign == RIGHT;
    strOut.append(bRight ? nPad : 0, ' ');
    strOut.append(bRed ? "\x1b[31m" : "").append(strCell).append(bRed ? "\x1b[0m" : "");
    strOut.append(bRight ? 0 : nPad, ' ').append(2, ' ');
}

void CTable::Print() const {
    std::string strOut;
    const auto EndRow = [&] { strOut.erase(strOut.find_last_not_of(' ') + 1); };
    for (const column& st : m_vColumns) {
        Append(strOut, st, st.strTitle, TextWidth(st.strTitle), false);
    }
    EndRow();
    const bool bColour = WantsColour();
    std::string_view strRest = m_strCells;
    auto itCell = m_vCells.begin();
    for (std::size_t nRow = 0; itCell != m_vCells.end(); ++nRow) {
        if (strOut.size() >= BLOCK) {
            PrintLine(strOut);
            strOut.clear();
        } else {
            strOut += '\n';
        }
        const auto itRed = bColour ? m_mRed.find(nRow) : m_mRed.end();
        for (std::size_t n = 0; n < m_vColumns.size(); ++n, ++itCell) {
            const bool bRed = itRed != m_mRed.end() && itRed->second.contains(n);
            Append(strOut, m_vColumns[n], strRest.substr(0, itCell->nBytes), itCell->nWidth, bRed);
            strRest.remove_prefix(itCell->nBytes);
        }
        EndRow();
    }
    PrintLine(strOut);
}
