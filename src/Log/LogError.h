// How the library's own rooms tell of a call to the system that failed.

#ifndef LOCALSTORAGE_LOG_LOGERROR_H
#define LOCALSTORAGE_LOG_LOGERROR_H

#include <cerrno>
#include <string>

#include "Log/LogText.h"
#include "Osl/Osl.h"

/// Logs what `pMethod` ("CIndex::ListDay") could not do to a path, and why. Any thread.
inline void LogError(const char* pMethod, const char* pWhat, const std::string& strPath,
                     int nError) {
    char szError[128];
    LogText("[wtb][%s] %s, strPath [%s], error [%s]", pMethod, pWhat, strPath.c_str(),
            OSL_ErrorText(nError, szError, sizeof(szError)));
}

/// The same, unless the path is only gone.
inline void LogErrorUnlessGone(const char* pMethod, const char* pWhat, const std::string& strPath,
                               int nError) {
    if (nError != ENOENT) LogError(pMethod, pWhat, strPath, nError);
}

#endif  // LOCALSTORAGE_LOG_LOGERROR_H
