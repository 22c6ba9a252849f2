#include "records/DirLock.h"

#include <cerrno>

#include "base/Failure.h"
#include "base/Text.h"

CDirLock::CDirLock(const std::string& strDir) : m_objLock(strDir) {
    if (m_objLock.Error() == EWOULDBLOCK) {
        throw CFailure(strDir + " is in use: a running host records into it; nothing was changed");
    }
    if (m_objLock.Error() != 0) {
        throw CFailure("cannot lock " + strDir + ": " + ErrorText(m_objLock.Error()));
    }
}

bool IsInUse(const std::string& strDir) {
    return CDirectoryLock(strDir).Error() == EWOULDBLOCK;
}
