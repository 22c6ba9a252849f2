// What every subcommand says, and where: data on standard output (as a table or as NDJSON),
// messages on standard error, and the exit codes.

#ifndef LOCALSTORAGE_TOOL_OUTPUT_H
#define LOCALSTORAGE_TOOL_OUTPUT_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

enum exitCode {
    EXIT_OK = 0,
    EXIT_FAILED = 1,
    EXIT_USAGE = 2,
    EXIT_NOTHING_FOUND = 3,
    EXIT_DAMAGED = 4  ///< check: something is wrong
};

/// A failure that ends the command, in words a user can act on.
class CFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// An option whose value makes no sense, found after the command line was read.
class CUsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Objects keep the order in which their keys were set.
using Json = nlohmann::ordered_json;

/// Prints one NDJSON line to standard output. Text that is not UTF-8 is repaired, since names of
/// files may be anything.
void PrintJson(const Json& jsObject);

/// Prints "localstorage: TEXT" to standard error, above the live lines.
void PrintMessage(std::string_view strText);

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

/// Columns that a text takes on a terminal, every character counted as one.
std::size_t TextWidth(std::string_view strText);

std::string FormatBytes(std::uint64_t nBytes);  ///< 640 B, 1.4 MiB
/// "1 file", "3 files"; the plural is the singular with an "s" unless given.
std::string Count(std::uint64_t nCount, const std::string& strOne, const std::string& strMany = "");

/// The system's words for an error number.
std::string ErrorText(int nError);

#endif  // LOCALSTORAGE_TOOL_OUTPUT_H
