#include "records/DirLock.h"

#include <cerrno>

#include "base/Failure.h"
#include "base/Text.h"

CDirLock::CDirLock(const std::string& strDir) {
    const int nError = m_objLock.Take(strDir);
    if (nError == EWOULDBLOCK) {
        throw CFailure(strDir +
                       " is in use: a running host records into it; nothing in it was changed");
    }
    if (nError != 0) throw CFailure("cannot lock " + strDir + ": " + ErrorText(nError));
}
