#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "Osl/OslPlatform.h"

int OSL_PlatformSync(int nFile) {
    return ::syncfs(nFile);
}

// Those of whose answer to syncfs we are sure; any other is synced file by file.
int OSL_PlatformCanSync(const char* pPath) {
    struct statfs stStat;
    if (::statfs(pPath, &stStat) != 0) return -1;
    switch (static_cast<unsigned long>(stStat.f_type)) {
        case EXT4_SUPER_MAGIC:
        case XFS_SUPER_MAGIC:
        case BTRFS_SUPER_MAGIC:
        case F2FS_SUPER_MAGIC:
        case TMPFS_MAGIC:
            return 0;
        default:
            errno = EOPNOTSUPP;
            return -1;
    }
}

int OSL_PlatformSyncData(int nFile) {
    return ::fdatasync(nFile);
}

// In memory no piece is far from the next, and reserving costs as much as writing.
int OSL_PlatformReserve(int nFile, off_t nLength) {
    struct statfs stSystem;
    if (::fstatfs(nFile, &stSystem) == 0 && stSystem.f_type == TMPFS_MAGIC) {
        errno = EOPNOTSUPP;
        return -1;
    }
    struct stat stStat;
    if (::fstat(nFile, &stStat) != 0) return -1;
    return ::fallocate(nFile, FALLOC_FL_KEEP_SIZE, stStat.st_size, nLength);
}

std::string OSL_PlatformPathOf(int nFile) {
    return "/proc/self/fd/" + std::to_string(nFile);
}

std::int64_t OSL_PlatformModifyNano(const struct stat& stStat) {
    return stStat.st_mtim.tv_nsec;
}

const char* OSL_PlatformErrorText(int nError, char* pText, std::size_t nSize) {
    return ::strerror_r(nError, pText, nSize);
}
