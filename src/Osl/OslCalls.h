// The one table through which the runtime reaches the operating system.
//
// The library runs on OSL_SYSTEM_CALLS. Only tests put another table in its place, to fail the n-th
// write, fill a disk or stop the clock; the swap is one atomic store, so it may happen while other
// threads run. Each entry keeps the contract of the system call it is named after: a result below
// zero (or null) and errno.

#ifndef LOCALSTORAGE_OSL_OSLCALLS_H
#define LOCALSTORAGE_OSL_OSLCALLS_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <dirent.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/types.h>

struct OSL_Calls {
    int (*pfnOpen)(const char* pPath, int nFlags, mode_t nMode);
    int (*pfnDuplicate)(int nFile);  ///< F_DUPFD_CLOEXEC, above the standard streams
    int (*pfnClose)(int nFile);
    ssize_t (*pfnRead)(int nFile, void* pBuf, std::size_t nSize);
    ssize_t (*pfnWrite)(int nFile, const void* pBuf, std::size_t nSize);
    off_t (*pfnSeek)(int nFile, off_t nOffset, int nWhence);
    int (*pfnTruncate)(int nFile, off_t nSize);   ///< ftruncate
    int (*pfnSync)(int nFile);                    ///< fsync
    int (*pfnFileMode)(int nFile, mode_t nMode);  ///< fchmod
    int (*pfnAccess)(const char* pPath, int nMode);
    int (*pfnUnlinkAt)(int nDir, const char* pPath, int nFlags);
    int (*pfnRename)(const char* pFrom, const char* pTo);
    int (*pfnStatAt)(int nDir, const char* pPath, struct stat* pStat, int nFlags);  ///< fstatat
    DIR* (*pfnOpenDir)(int nFile);                                                  ///< fdopendir
    struct dirent* (*pfnReadDir)(DIR* pDir);
    int (*pfnCloseDir)(DIR* pDir);
    int (*pfnMakeDir)(const char* pPath, mode_t nMode);
    int (*pfnRemoveDir)(const char* pPath);
    int (*pfnStatVfs)(const char* pPath, struct statvfs* pStat);
    uid_t (*pfnUser)();  ///< geteuid
    int (*pfnSyncFileSystem)(int nFile);
    int (*pfnCanSync)(const char* pPath);         ///< OSL_PlatformCanSync
    int (*pfnSyncData)(int nFile);                ///< fdatasync
    int (*pfnReserve)(int nFile, off_t nLength);  ///< OSL_PlatformReserve
    int (*pfnLock)(int nFile, int nOperation);    ///< flock
    int (*pfnThreadCreate)(pthread_t* pThread, const pthread_attr_t* pAttr, void* (*pProc)(void*),
                           void* pArg);  ///< the error number is the result
    int (*pfnClock)(clockid_t nClock, struct timespec* pTime);
    void (*pfnSleep)(std::uint32_t nMilliseconds);
};

extern const OSL_Calls OSL_SYSTEM_CALLS;

/// The table in use; it must outlive every call that may have loaded it.
extern std::atomic<const OSL_Calls*> g_pOslCalls;

/// Where the calling thread notes when its last call to the system began; null: nowhere. See
/// OSL_WatchedThread. Read with every call, so at a fixed place, not by a call of the loader's: few
/// bytes have room there also in a library that is loaded late.
[[gnu::tls_model(
    "initial-exec")]] extern constinit thread_local std::atomic<std::int64_t>* t_pnLastCall;
void OSL_NoteCall();

inline const OSL_Calls& OSL_Call() {
    if (t_pnLastCall) OSL_NoteCall();
    return *g_pOslCalls.load(std::memory_order_acquire);
}

static_assert(sizeof(off_t) == 8, "files grow beyond 2 GiB");

#endif  // LOCALSTORAGE_OSL_OSLCALLS_H
