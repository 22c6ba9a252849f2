#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include "Osl/Osl.h"
#include "Osl/OslCalls.h"
#include "Osl/OslHandle.h"

namespace {

/// No platform moves more in one call; some refuse to try.
constexpr std::size_t MAX_TRANSFER = std::size_t{1} << 30;

static_assert(X_OK == 1 && W_OK == 2 && R_OK == 4 && F_OK == 0, "the modes of OSL_AccessFile");
static_assert(SEEK_SET == 0 && SEEK_CUR == 1 && SEEK_END == 2, "the origins of OSL_FileSeek");

int AccessFlags(unsigned nFlags) {
    if (!(nFlags & OSL_OPEN_WRITE)) return O_RDONLY;
    return nFlags & OSL_OPEN_READ ? O_RDWR : O_WRONLY;
}

int SystemFlags(unsigned nFlags) {
    return AccessFlags(nFlags) | O_NOFOLLOW | (nFlags & OSL_OPEN_CREATE ? O_CREAT : 0) |
           (nFlags & OSL_OPEN_APPEND ? O_APPEND : 0) | (nFlags & OSL_OPEN_TRUNCATE ? O_TRUNC : 0) |
           (nFlags & OSL_OPEN_EXCLUSIVE ? O_EXCL : 0);
}

}  // namespace

OSL_FileHandle OSL_OpenFile(const char* pPath, unsigned nFlags, unsigned nAttribute) {
    const int nFile = OSL_OpenHandle(pPath, SystemFlags(nFlags));
    // A file system without modes is no reason to refuse the file.
    if (nFile >= 0 && (nAttribute & OSL_FILE_SHARED)) OSL_Call().pfnFileMode(nFile, OSL_FileMode());
    return nFile;
}

int OSL_CloseFile(OSL_FileHandle hFile) {
    const int nResult = OSL_Call().pfnClose(static_cast<int>(hFile));
    return nResult != 0 && errno == EINTR ? 0 : nResult;  // interrupted, but closed
}

int OSL_ReadFile(OSL_FileHandle hFile, void* pBuf, std::size_t nSize, std::size_t* pRead) {
    std::size_t nDone = 0;
    ssize_t nGot = 1;
    while (nDone < nSize && nGot != 0) {
        nGot = OSL_Call().pfnRead(static_cast<int>(hFile), static_cast<char*>(pBuf) + nDone,
                                  std::min(nSize - nDone, MAX_TRANSFER));
        if (nGot > 0) nDone += static_cast<std::size_t>(nGot);
        if (nGot < 0 && errno != EINTR) break;
    }
    if (pRead) *pRead = nDone;
    if (nGot == 0 && !pRead) errno = ENODATA;
    return nDone == nSize || (nGot == 0 && pRead) ? 0 : -1;
}

int OSL_WriteFile(OSL_FileHandle hFile, const void* pBuf, std::size_t nSize,
                  std::size_t* pWritten) {
    std::size_t nDone = 0;
    while (nDone < nSize) {
        const ssize_t nPut =
            OSL_Call().pfnWrite(static_cast<int>(hFile), static_cast<const char*>(pBuf) + nDone,
                                std::min(nSize - nDone, MAX_TRANSFER));
        if (nPut > 0) nDone += static_cast<std::size_t>(nPut);
        if (nPut == 0) errno = EIO;
        if (nPut <= 0 && errno != EINTR) break;
    }
    if (pWritten) *pWritten = nDone;
    return nDone == nSize ? 0 : -1;
}

int OSL_FileSeek(OSL_FileHandle hFile, std::int64_t nOffset, int nWhence, std::int64_t* pPosition) {
    const off_t nPosition = OSL_Call().pfnSeek(static_cast<int>(hFile), nOffset, nWhence);
    if (nPosition < 0) return -1;
    if (pPosition) *pPosition = nPosition;
    return 0;
}

int OSL_TruncateFile(OSL_FileHandle hFile, std::int64_t nSize) {
    return OSL_Uninterrupted(
        [=] { return OSL_Call().pfnTruncate(static_cast<int>(hFile), nSize); });
}

int OSL_SyncFile(const char* pPath, OSL_LastLink eLink) {
    const int nLink = eLink == OSL_LastLink::Fails ? O_NOFOLLOW : 0;
    const int nFile = OSL_OpenHandle(pPath, O_RDONLY | nLink);
    if (nFile < 0) return -1;
    const int nResult = OSL_Uninterrupted([=] { return OSL_Call().pfnSync(nFile); });
    OSL_CloseHandle(nFile);
    return nResult != 0 && errno == EINVAL ? 0 : nResult;
}

OSL_FileHandle OSL_DuplicateFile(OSL_FileHandle hFile) {
    return OSL_Call().pfnDuplicate(static_cast<int>(hFile));
}

int OSL_SyncData(OSL_FileHandle hFile) {
    return OSL_Call().pfnSyncData(static_cast<int>(hFile));
}

int OSL_ReserveSpace(OSL_FileHandle hFile, std::uint64_t nBytes) {
    const int nResult = OSL_Uninterrupted(
        [=] { return OSL_Call().pfnReserve(static_cast<int>(hFile), static_cast<off_t>(nBytes)); });
    const int nError = errno;
    // ext4 has taken all that there was by then, and keeps it.
    if (nResult != 0 && (nError == ENOSPC || nError == EDQUOT)) OSL_GiveBackSpace(hFile);
    errno = nError;
    return nResult;
}

int OSL_GiveBackSpace(OSL_FileHandle hFile) {
    const off_t nSize = OSL_Call().pfnSeek(static_cast<int>(hFile), 0, SEEK_END);
    return nSize < 0 ? -1 : OSL_TruncateFile(hFile, nSize);
}

int OSL_DeleteFile(const char* pPath) {
    return OSL_Call().pfnUnlinkAt(AT_FDCWD, pPath, 0);
}

int OSL_AccessFile(const char* pPath, int nMode) {
    return OSL_Call().pfnAccess(pPath, nMode);
}

int OSL_RenameFile(const char* pFrom, const char* pTo) {
    return OSL_Call().pfnRename(pFrom, pTo);
}

int OSL_GetFileInfo(const char* pPath, OSL_FINFO_S& stInfo) {
    return OSL_GetInfoAt(AT_FDCWD, pPath, stInfo, AT_SYMLINK_NOFOLLOW);
}

int OSL_GetTargetInfo(const char* pPath, OSL_FINFO_S& stInfo) {
    return OSL_GetInfoAt(AT_FDCWD, pPath, stInfo, 0);
}
