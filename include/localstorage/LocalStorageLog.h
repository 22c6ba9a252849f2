// The log of LocalStorage: one service per process, which every engine reports through.
//
// Loading the library enables the file target in "/share/LocalStorage/" (two files of at most
// 50 MiB in turn; made with the first line that goes there). A host that wants its log elsewhere
// calls EnableTarget(LOG_TARGET_FILE, ...) with its own directory before it creates an engine.
// Every function may be called from any thread and none of them waits for output, except the two
// that stop the service.
//
// The log stays with the process that loaded the library. In a process forked from it there is
// none: every function returns LOG_ERR_NOT_STARTED there (but for GetLogService), and `exit` does
// not wait for anything.

#ifndef LOCALSTORAGE_LOCALSTORAGELOG_H
#define LOCALSTORAGE_LOCALSTORAGELOG_H

#include <cstdint>

#include "localstorage/LocalStorage.h"

/// Weight of a message, and the threshold above which messages are dropped.
enum log_level : std::int32_t {
    LOG_LEVEL_DISABLE = 0,
    LOG_LEVEL_ERR = 1,
    LOG_LEVEL_INF = 2,
    LOG_LEVEL_DBG = 3
};

/// Where lines go.
enum log_services : std::int32_t {
    LOG_TARGET_CONSOLE = 0,  ///< standard output
    LOG_TARGET_DEBUG = 1,    ///< debug output (standard error)
    LOG_TARGET_FILE = 2      ///< log files
};

/// Results of the log functions.
enum log_result {
    LOG_OK = 0,
    LOG_ERR_START = -1,        ///< no memory for the buffer, or no thread
    LOG_ERR_NOT_STARTED = -2,  ///< the service is stopped for good, or was left behind by a fork
    LOG_ERR_LEVEL = -3,        ///< the level lies above the threshold
    LOG_ERR_FULL = -4,         ///< no room: the line is dropped
    LOG_ERR_NO_TARGET = -5,    ///< no target is enabled
    LOG_ERR_PARAM = -6,        ///< null file or format, unknown target, directory name too long
    LOG_ERR_FORMAT = -7,       ///< the message could not be formatted
    LOG_ERR_OPEN_FILE = -8     ///< the log file could not be opened
};

class LogService;

extern "C" {

/// Formats one message and queues it; the writer thread outputs it. A message that would pass the
/// line's 10,240 bytes is cut. `pFile` (not null) and `nLine` are the caller's source position and
/// are not printed. Returns a log_result; after LOG_OK the line is output to the targets that are
/// enabled, also when they are disabled or the service is stopped right behind it.
LOCALSTORAGE_API int WriteLog(log_level eLevel, const char* pFile, int nLine, const char* pFormat,
                              ...) __attribute__((format(printf, 4, 5)));

/// Turns a target on. For LOG_TARGET_FILE `pParam` is the directory (const char*, at most 256
/// bytes, made with its parents; null: the default), `nSize` the bytes per file (0: 52,428,800)
/// and `nCycle` whether two files take turns (else they are numbered on without end). For the other
/// targets these are ignored. Returns a log_result.
LOCALSTORAGE_API int EnableTarget(log_services eTarget, const void* pParam, std::uint32_t nSize,
                                  std::uint32_t nCycle);

/// Turns a target off after it has got what is queued; with the last one the service stops.
LOCALSTORAGE_API int DisableTarget(log_services eTarget);

/// Sets the threshold; values outside the levels count as the nearest. Returns 0.
LOCALSTORAGE_API int AdjustLogLevel(log_level eLevel);

/// Lets the service start itself again with the next message. Returns 0.
LOCALSTORAGE_API int StartLogService();

/// Stops the service after it has output what is queued. With `bClean` it does not start itself
/// again until StartLogService.
LOCALSTORAGE_API int StopLogService(bool bClean);

/// The one service of the process; owned by the library.
LOCALSTORAGE_API LogService* GetLogService();
}

#endif  // LOCALSTORAGE_LOCALSTORAGELOG_H
