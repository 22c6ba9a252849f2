#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include "Osl/OslPlatform.h"

int OSL_PlatformSync(int nFile) {
    return ::fsync_volume_np(nFile, SYNC_VOLUME_FULLSYNC | SYNC_VOLUME_WAIT);
}

int OSL_PlatformCanSync(const char* pPath) {
    struct statfs stStat;
    if (::statfs(pPath, &stStat) != 0) return -1;
    if (stStat.f_flags & MNT_LOCAL) return 0;
    errno = ENOTSUP;
    return -1;
}

int OSL_PlatformSyncData(int nFile) {
    return ::fcntl(nFile, F_FULLFSYNC);
}

int OSL_PlatformReserve(int nFile, off_t nLength) {
    fstore_t stStore = {F_ALLOCATEALL, F_PEOFPOSMODE, 0, nLength, 0};
    return ::fcntl(nFile, F_PREALLOCATE, &stStore);
}

// What the system tells is the path under which it was opened, where something else may lie now.
std::string OSL_PlatformPathOf(int) {
    return {};
}

std::int64_t OSL_PlatformModifyNano(const struct stat& stStat) {
    return stStat.st_mtimespec.tv_nsec;
}

const char* OSL_PlatformErrorText(int nError, char* pText, std::size_t nSize) {
    return ::strerror_r(nError, pText, nSize) == 0 ? pText : "unknown error";
}
