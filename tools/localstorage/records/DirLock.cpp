#include "records/DirLock.h"

#include <cerrno>

#include "base/Failure.h"
#include "base/Text.h"

CDirLock::CDirLock(const std::string& strDir) : m_hLock(OSL_LockDir(strDir.c_str())) {
    if (m_hLock != OSL_INVALID_FILE) return;
    const int nError = OSL_GetSystemLastError();
    throw CFailure(nError == EWOULDBLOCK
                       ? strDir + " is in use: a running host records into it; nothing was changed"
                       : "cannot lock " + strDir + ": " + ErrorText(nError));
}

bool IsInUse(const std::string& strDir) {
    const OSL_FileHandle hLock = OSL_LockDir(strDir.c_str());
    if (hLock == OSL_INVALID_FILE) return OSL_GetSystemLastError() == EWOULDBLOCK;
    OSL_UnlockDir(hLock);
    return false;
}
