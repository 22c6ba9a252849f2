// What several files of the engine say to the log.

#ifndef LOCALSTORAGE_RECORD_ENGINELOG_H
#define LOCALSTORAGE_RECORD_ENGINELOG_H

#include <cstddef>
#include <string>

#include "Log/LogText.h"

/// Logs why an operation is refused, and returns its false.
bool Refuse(const char* pFormat, ...) __attribute__((format(printf, 1, 2)));

/// The end of an operation that met an exception; returns its false.
bool OutOfMemory(const char* pMethod) noexcept;

/// Logs a write that failed in `pMethod`.
void LogFailedWrite(const char* pMethod, const std::string& strCameraID, const char* pBuf,
                    std::size_t nSize, int nError);

/// For a refused identifier, which may hold anything and is not printed.
constexpr const char* CAMERA_ID_REFUSED =
    "camera identifier refused: it must have 1 to 63 bytes, not be \".\", \"..\" or a file of the "
    "index, and hold no separator or control character";

#endif  // LOCALSTORAGE_RECORD_ENGINELOG_H
