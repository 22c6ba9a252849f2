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

    explicit CTable(std::vector<column> vColumns) : m_vColumns(std::move(vColumns)) {}

    void AddRow(std::vector<std::string> vCells) { m_vRows.push_back(std::move(vCells)); }
    bool Empty() const { return m_vRows.empty(); }
    /// Prints title line and rows to standard output.
    void Print() const;

private:
    std::vector<std::size_t> Widths() const;

    std::vector<column> m_vColumns;
    std::vector<std::vector<std::string>> m_vRows;
};

#endif  // LOCALSTORAGE_TOOL_SCREEN_TABLE_H
