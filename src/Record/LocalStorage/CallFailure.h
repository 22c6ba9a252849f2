// Why a call to an engine failed, for the thread that made it: the code of GetLastError is the
// engine's, and so that of all its threads.

#ifndef LOCALSTORAGE_RECORD_CALLFAILURE_H
#define LOCALSTORAGE_RECORD_CALLFAILURE_H

#include "LocalStorage/DiskChoice.h"
#include "localstorage/LocalStorage.h"

/// What GetLastError has no code for.
constexpr int CALL_FAILED_DISK = -101;   ///< the disk is gone, fails or gives no answer
constexpr int CALL_FAILED_WRITE = -102;  ///< something was not written

struct callFailure {
    int nCode = STORAGE_ERROR_NONE;  ///< StorageError, or one of these
    int nSystemError = 0;            ///< 0: the system had no reason
};

/// Of the calling thread. Who wants to know clears it before the call; a call that is refused for
/// its arguments leaves it as it is.
[[gnu::tls_model("initial-exec")]] inline constinit thread_local callFailure t_stCallFailure;

/// That of a disk that takes no recording.
inline callFailure FailureOf(const diskLook& stLook) {
    return {CanDeletingHelp(stLook) ? STORAGE_ERROR_DISK_FULL : CALL_FAILED_DISK, stLook.nFailure};
}

#endif  // LOCALSTORAGE_RECORD_CALLFAILURE_H
