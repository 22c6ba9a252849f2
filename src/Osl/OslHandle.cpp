#include "Osl/OslHandle.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>

#include "Osl/Osl.h"
#include "Osl/OslCalls.h"
#include "Osl/OslPlatform.h"

namespace {

constinit std::atomic<bool> s_bPrivate{false};

}  // namespace

void OSL_SetPrivateModes(bool bPrivate) {
    s_bPrivate.store(bPrivate, std::memory_order_relaxed);
}

mode_t OSL_FileMode() {
    return s_bPrivate.load(std::memory_order_relaxed) ? 0640 : 0777;
}

mode_t OSL_DirMode() {
    return s_bPrivate.load(std::memory_order_relaxed) ? 0750 : 0777;
}

int OSL_OpenHandle(const char* pPath, int nFlags) {
    // O_NONBLOCK: a pipe that somebody put in a file's place must not hang us; files ignore it.
    const int nAlways = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    const mode_t nMode = OSL_FileMode() & 0666;
    return OSL_Uninterrupted([=] { return OSL_Call().pfnOpen(pPath, nFlags | nAlways, nMode); });
}

void OSL_CloseHandle(int nFile) {
    const int nError = errno;
    OSL_Call().pfnClose(nFile);
    errno = nError;
}

std::uint16_t OSL_TypeOfMode(mode_t nMode) {
    if (S_ISDIR(nMode)) return OSL_TYPE_DIR;
    if (S_ISREG(nMode)) return OSL_TYPE_FILE;
    return S_ISLNK(nMode) ? OSL_TYPE_LINK : OSL_TYPE_OTHER;
}

int OSL_GetInfoAt(int nDir, const char* pPath, OSL_FINFO_S& stInfo, int nFlags) {
    struct stat stStat;
    if (OSL_Call().pfnStatAt(nDir, pPath, &stStat, nFlags) != 0) return -1;
    stInfo.nSize = static_cast<std::uint64_t>(stStat.st_size);
    stInfo.nAllocated = static_cast<std::uint64_t>(stStat.st_blocks) * 512;
    stInfo.tModify = stStat.st_mtime;
    stInfo.nModifyNano = OSL_PlatformModifyNano(stStat);
    stInfo.nDevice = static_cast<std::uint64_t>(stStat.st_dev);
    stInfo.nInode = static_cast<std::uint64_t>(stStat.st_ino);
    stInfo.wFileType = OSL_TypeOfMode(stStat.st_mode);
    return 0;
}
