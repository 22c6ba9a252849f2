// A table on standard output.

#ifndef LOCALSTORAGE_TOOL_SCREEN_TABLE_H
#define LOCALSTORAGE_TOOL_SCREEN_TABLE_H

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

    explicit CTable(std::vector<column> vecColumns) : m_vecColumns(std::move(vecColumns)) {}

    void AddRow(std::vector<std::string> vecCells) { m_vecRows.push_back(std::move(vecCells)); }
    bool Empty() const { return m_vecRows.empty(); }
    /// Prints title line and rows to standard output.
    void Print() const;

private:
    std::vector<std::size_t> Widths() const;

    std::vector<column> m_vecColumns;
    std::vector<std::vector<std::string>> m_vecRows;
};

#endif  // LOCALSTORAGE_TOOL_SCREEN_TABLE_H
