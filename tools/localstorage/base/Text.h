// Text as people read it: counts, sizes, the system's words, and what fits a line. Any thread.

#ifndef LOCALSTORAGE_TOOL_BASE_TEXT_H
#define LOCALSTORAGE_TOOL_BASE_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Columns that a text takes on a terminal, every character counted as one.
std::size_t TextWidth(std::string_view strText);
/// The part of a text that fits into so many columns.
std::string CutToWidth(std::string_view strText, std::size_t nColumns);
/// A text with blanks behind it up to so many columns.
std::string PadToWidth(std::string strText, std::size_t nColumns);

/// Texts with another one between them.
std::string Joined(const std::vector<std::string>& vTexts, std::string_view strBetween);

std::string FormatBytes(std::uint64_t nBytes);  ///< 640 B, 1.4 MiB
/// "1 file", "3 files"; the plural is the singular with an "s" unless given.
std::string Count(std::uint64_t nCount, const std::string& strOne, const std::string& strMany = "");

/// The system's words for an error number.
std::string ErrorText(int nError);

#endif  // LOCALSTORAGE_TOOL_BASE_TEXT_H
