#include "Osl/OslCalls.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

#include "Osl/OslPlatform.h"

namespace {

int DuplicateAboveStandardStreams(int nFile) {
    return ::fcntl(nFile, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

/// Never hands out 0, 1 or 2: in a host that has closed its standard streams, whatever is printed
/// to them would land in a recording.
int OpenAboveStandardStreams(const char* pPath, int nFlags, mode_t nMode) {
    const int nFile = ::open(pPath, nFlags, nMode);
    if (nFile < 0 || nFile > STDERR_FILENO) return nFile;
    const int nAbove = DuplicateAboveStandardStreams(nFile);
    const int nError = errno;
    ::close(nFile);
    errno = nError;
    return nAbove;
}

void SleepFor(std::uint32_t nMilliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(nMilliseconds));
}

}  // namespace

constinit const OSL_Calls OSL_SYSTEM_CALLS = {
    .pfnOpen = OpenAboveStandardStreams,
    .pfnDuplicate = DuplicateAboveStandardStreams,
    .pfnClose = ::close,
    .pfnRead = ::read,
    .pfnWrite = ::write,
    .pfnSeek = ::lseek,
    .pfnTruncate = ::ftruncate,
    .pfnSync = ::fsync,
    .pfnFileMode = ::fchmod,
    .pfnAccess = ::access,
    .pfnUnlinkAt = ::unlinkat,
    .pfnRename = ::rename,
    .pfnStatAt = ::fstatat,
    .pfnOpenDir = ::fdopendir,
    .pfnReadDir = ::readdir,
    .pfnCloseDir = ::closedir,
    .pfnMakeDir = ::mkdir,
    .pfnRemoveDir = ::rmdir,
    .pfnStatVfs = ::statvfs,
    .pfnUser = ::geteuid,
    .pfnSyncFileSystem = OSL_PlatformSync,
    .pfnCanSync = OSL_PlatformCanSync,
    .pfnSyncData = OSL_PlatformSyncData,
    .pfnReserve = OSL_PlatformReserve,
    .pfnLock = ::flock,
    .pfnThreadCreate = ::pthread_create,
    .pfnClock = ::clock_gettime,
    .pfnSleep = SleepFor,
};

constinit std::atomic<const OSL_Calls*> g_pOslCalls{&OSL_SYSTEM_CALLS};
