// How the library's own rooms write to the log.

#ifndef LOCALSTORAGE_LOG_LOGTEXT_H
#define LOCALSTORAGE_LOG_LOGTEXT_H

#include <cstdarg>

/// Queues one diagnostic message, as WriteLog does at LOG_LEVEL_DBG. Allocates nothing, leaves
/// errno as it was, and has no result: nothing depends on whether a line came through. Any thread.
void LogText(const char* pFormat, ...) __attribute__((format(printf, 1, 2)));

/// The same for a function that takes a message's arguments itself.
void LogTextV(const char* pFormat, std::va_list args) __attribute__((format(printf, 1, 0)));

#endif  // LOCALSTORAGE_LOG_LOGTEXT_H
