// One finished line of the log: "[2024-03-05 14:07:09.042][DBG] message", CR LF.

#ifndef LOCALSTORAGE_LOG_LOGLINE_H
#define LOCALSTORAGE_LOG_LOGLINE_H

#include <cstdarg>
#include <cstddef>

#include "localstorage/LocalStorageLog.h"

/// Room for a line with its NUL, in bytes.
constexpr std::size_t LOG_LINE_SIZE = 10240;

/// Prints a line with the present local time and a NUL; a message without room is cut. Returns the
/// length without the NUL, or -1 when time or message could not be formatted.
int FormatLine(char (&szLine)[LOG_LINE_SIZE], log_level eLevel, const char* pFormat, va_list args);

/// The part of a line that FormatLine printed behind its time.
const char* BehindTime(const char* pLine);

/// The level, or the nearest one there is.
log_level NearestLevel(log_level eLevel);

#endif  // LOCALSTORAGE_LOG_LOGLINE_H
