// A table on standard output.

#ifndef LOCALSTORAGE_TOOL_SCREEN_TABLE_H
#define LOCALSTORAGE_TOOL_SCREEN_TABLE_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// A table whose columns are as wide as their widest cell.
class CTable {
public:
    enum align { LEFT, RIGHT };
    struct column {
        std::string strTitle;
        align eAlign = LEFT;
        std::size_t nWidth = 0;  ///< so far
    };

    explicit CTable(std::vector<column> vColumns);

    /// A cell for each column; these are red where there are colours.
    void AddRow(std::initializer_list<std::string_view> vCells, std::set<std::size_t> setRed = {});
    bool Empty() const { return m_vCells.empty(); }
    /// Prints title line and rows to standard output.
    void Print() const;

private:
    struct cell {
        std::uint32_t nBytes, nWidth;
    };
    static void Append(std::string& strOut, const column& stColumn, std::string_view strCell,
                       std::size_t nWidth, bool bRed);

    std::vector<column> m_vColumns;
    std::string m_strCells;                               ///< their texts, one behind the other
    std::vector<cell> m_vCells;                           ///< row by row
    std::map<std::size_t, std::set<std::size_t>> m_mRed;  ///< cells by row
};

#endif  // LOCALSTORAGE_TOOL_SCREEN_TABLE_H
