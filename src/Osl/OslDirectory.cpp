#include <cerrno>
#include <fcntl.h>
#include <new>

#include "Osl/Osl.h"
#include "Osl/OslCalls.h"
#include "Osl/OslHandle.h"

struct OSL_Dir {
    DIR* m_pDir;
    int m_nFile;  ///< belongs to m_pDir
};

namespace {

/// The type of an entry, asked of the file itself; 0 when the entry is gone, -1 on failure.
int AskType(int nDir, const char* pName) {
    struct stat stStat;
    if (OSL_Call().pfnStatAt(nDir, pName, &stStat, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno == ENOENT ? 0 : -1;
    }
    return OSL_TypeOfMode(stStat.st_mode);
}

int TypeOfEntry(int nDir, const struct dirent& stEntry) {
    switch (stEntry.d_type) {
        case DT_DIR:
            return OSL_TYPE_DIR;
        case DT_REG:
            return OSL_TYPE_FILE;
        case DT_LNK:
            return OSL_TYPE_LINK;
        case DT_UNKNOWN:
            return AskType(nDir, stEntry.d_name);
        default:
            return OSL_TYPE_OTHER;
    }
}

}  // namespace

OSL_DirHandle OSL_OpenDir(const char* pPath, OSL_LastLink eLink) {
    const int nLink = eLink == OSL_LastLink::Fails ? O_NOFOLLOW : 0;
    const int nFile = OSL_OpenHandle(pPath, O_RDONLY | O_DIRECTORY | nLink);
    if (nFile < 0) return nullptr;
    DIR* pDir = OSL_Call().pfnOpenDir(nFile);
    if (!pDir) {
        OSL_CloseHandle(nFile);
        return nullptr;
    }
    OSL_DirHandle hDir = new (std::nothrow) OSL_Dir{pDir, nFile};
    if (!hDir) {
        OSL_Call().pfnCloseDir(pDir);
        errno = ENOMEM;
    }
    return hDir;
}

int OSL_FindFileInDir(OSL_DirHandle hDir, OSL_FIND_DATA& stData) {
    while (true) {
        errno = 0;
        const struct dirent* pEntry = OSL_Call().pfnReadDir(hDir->m_pDir);
        if (!pEntry) return errno == 0 ? OSL_DIR_END : OSL_DIR_ERROR;
        const int nType = TypeOfEntry(hDir->m_nFile, *pEntry);
        if (nType < 0) return OSL_DIR_ERROR;
        if (nType == 0) continue;  // removed since the directory was read
        stData.szName = pEntry->d_name;
        stData.wFileType = static_cast<std::uint16_t>(nType);
        return 0;
    }
}

int OSL_GetTargetInfoInDir(OSL_DirHandle hDir, const char* pName, OSL_FINFO_S& stInfo) {
    return OSL_GetInfoAt(hDir->m_nFile, pName, stInfo, 0);
}

int OSL_DeleteFileInDir(OSL_DirHandle hDir, const char* pName) {
    return OSL_Call().pfnUnlinkAt(hDir->m_nFile, pName, 0);
}

int OSL_CloseDir(OSL_DirHandle hDir) {
    if (!hDir) return -1;
    const int nResult = OSL_Call().pfnCloseDir(hDir->m_pDir);
    delete hDir;
    return nResult;
}

int OSL_MakeDir(const char* pPath) {
    if (OSL_Call().pfnMakeDir(pPath, OSL_DirMode()) == 0) return 0;
    return errno == EEXIST ? 1 : -1;
}

int OSL_RemoveDir(const char* pPath) {
    return OSL_Call().pfnRemoveDir(pPath);
}

int OSL_OpenAccess(const char* pPath) {
    const int nFile = OSL_OpenHandle(pPath, O_RDONLY | O_NOFOLLOW);
    if (nFile < 0) return -1;
    const int nResult = OSL_Call().pfnFileMode(nFile, OSL_DirMode());
    OSL_CloseHandle(nFile);
    return nResult;
}
