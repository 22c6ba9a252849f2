#include <fcntl.h>
#include <sys/file.h>

#include "Osl/Osl.h"
#include "Osl/OslCalls.h"
#include "Osl/OslHandle.h"
#include "Osl/OslPlatform.h"

int OSL_GetDiskSpace(const char* pPath, OSL_DISK_SPACE& stSpace) {
    struct statvfs stStat;
    if (OSL_Uninterrupted([&] { return OSL_Call().pfnStatVfs(pPath, &stStat); }) != 0) return -1;
    stSpace.nFreeBlocks = OSL_Call().pfnUser() == 0 ? stStat.f_bfree : stStat.f_bavail;
    stSpace.nBlockSize = stStat.f_frsize != 0 ? stStat.f_frsize : stStat.f_bsize;
    return 0;
}

int OSL_SyncFileSystem(const char* pPath) {
    const int nFile = OSL_OpenHandle(pPath, O_RDONLY | O_DIRECTORY);
    if (nFile < 0) return -1;
    const int nResult = OSL_SyncFileSystemOf(nFile);
    OSL_CloseHandle(nFile);
    return nResult;
}

int OSL_SyncFileSystemOf(OSL_FileHandle hFile) {
    return OSL_Call().pfnSyncFileSystem(static_cast<int>(hFile));
}

bool OSL_CanSyncFileSystem(const char* pPath) {
    return OSL_Call().pfnCanSync(pPath) == 0;
}

std::string OSL_PathOfHandle(OSL_FileHandle hFile) {
    return OSL_PlatformPathOf(static_cast<int>(hFile));
}

int OSL_LockFile(OSL_FileHandle hFile) {
    return OSL_Call().pfnLock(static_cast<int>(hFile), LOCK_EX | LOCK_NB);
}

void OSL_UnlockFile(OSL_FileHandle hFile) {
    // Closing alone would leave it to the children that were forked meanwhile.
    OSL_Call().pfnLock(static_cast<int>(hFile), LOCK_UN);
    OSL_CloseHandle(static_cast<int>(hFile));
}
