// A file of settings, in TOML: "KEY = VALUE" and tables named [TABLE.ID].
//
// What is read here is TOML, but not all of TOML: texts stand in one line and hold no escapes (in
// '...' every character counts as itself), and tables are no deeper. What is not understood is
// refused, never taken for something else.

#ifndef LOCALSTORAGE_TOOL_HELP_CONFIGFILE_H
#define LOCALSTORAGE_TOOL_HELP_CONFIGFILE_H

#include <istream>
#include <string>
#include <vector>

/// One setting, or the beginning of a table.
struct configStatement {
    std::string strWhere;              ///< FILE:LINE
    std::string strTable, strId;       ///< empty: before the first table
    std::string strKey;                ///< empty: here the table begins
    std::vector<std::string> vValues;  ///< of an array, or one; without their quotes
};

/// Reads a whole file; `strName` is what messages call it. Throws CUsageError.
std::vector<configStatement> ReadConfig(std::istream& file, const std::string& strName);

#endif  // LOCALSTORAGE_TOOL_HELP_CONFIGFILE_H
