// Walking a directory entry by entry.

#ifndef LOCALSTORAGE_FILESYSTEM_FOREACHENTRY_H
#define LOCALSTORAGE_FILESYSTEM_FOREACHENTRY_H

#include <string>
#include <string_view>

#include "FileSystem/FileSystem.h"
#include "Osl/Osl.h"

/// Calls f(const OSL_FIND_DATA&) for every entry of `strDir` but "." and "..", in the order the
/// directory gives them. False when it could not be opened or read to its end; then nobody may take
/// what was told for the whole directory. `eLink` is about `strDir` itself; entries that are links
/// are told as such.
template <typename F>
bool ForEachEntry(const std::string& strDir, F f, OSL_LastLink eLink = OSL_LastLink::Fails) {
    // With its slashes it would lead through a link in its last component.
    const std::string strPath(WithoutTrailingSlashes(strDir));
    const OSL_OwnDir pDir(OSL_OpenDir(strPath.c_str(), eLink));
    if (!pDir) return false;
    OSL_FIND_DATA stData;
    int nResult = 0;
    while ((nResult = OSL_FindFileInDir(pDir.get(), stData)) == 0) {
        const std::string_view strName = stData.szName;
        if (strName != "." && strName != "..") f(stData);
    }
    return nResult == OSL_DIR_END;
}

#endif  // LOCALSTORAGE_FILESYSTEM_FOREACHENTRY_H
