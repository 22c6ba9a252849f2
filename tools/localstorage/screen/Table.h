// A table on standard output.

#ifndef LOCALSTORAGE_TOOL_SCREEN_TABLE_H
#define LOCALSTORAGE_TOOL_SCREEN_TABLE_H

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// A table whose columns are as wide as their widest cell.
class CTable {
public:
    enum align { LEFT, RIGHT };
    struct column {
        std::string strTitle;
        align eAlign = LEFT;
    };

    explicit CTable(std::vector<column> vColumns) : m_vColumns(std::move(vColumns)) {}

    void AddRow(std::vector<std::string> vCells) { m_vRows.push_back(std::move(vCells)); }
    /// A row of which these cells are red where there are colours.
    void AddRow(std::vector<std::string> vCells, std::set<std::size_t> setRed) {
        m_mRed[m_vRows.size()] = std::move(setRed);
        AddRow(std::move(vCells));
    }
    bool Empty() const { return m_vRows.empty(); }
    /// Prints title line and rows to standard output.
    void Print() const;

private:
    std::vector<std::size_t> Widths() const;

    std::vector<column> m_vColumns;
    std::vector<std::vector<std::string>> m_vRows;
    std::map<std::size_t, std::set<std::size_t>> m_mRed;  ///< cells by row
};

#endif  // LOCALSTORAGE_TOOL_SCREEN_TABLE_H
