// Walking a directory entry by entry.

#ifndef LOCALSTORAGE_FILESYSTEM_FOREACHENTRY_H
#define LOCALSTORAGE_FILESYSTEM_FOREACHENTRY_H

#include <string>
#include <string_view>

#include "FileSystem/FileSystem.h"
#include "Osl/Osl.h"

/// Calls f(const OSL_FIND_DATA&) for every entry of `strDir` but "." and "..", in the order the
/// directory gives them. False when it could not be opened or read to its end; then nobody may take
/// what was told for the whole directory. Does not follow a link.
template <typename F>
bool ForEachEntry(const std::string& strDir, F f) {
    // With its slashes it would lead through a link in its last component.
    const OSL_DirHandle hDir = OSL_OpenDir(std::string(WithoutTrailingSlashes(strDir)).c_str());
    if (!hDir) return false;
    OSL_FIND_DATA stData;
    int nResult = 0;
    while ((nResult = OSL_FindFileInDir(hDir, stData)) == 0) {
        const std::string_view strName = stData.szName;
        if (strName != "." && strName != "..") f(stData);
    }
    OSL_CloseDir(hDir);
    return nResult == OSL_DIR_END;
}

#endif  // LOCALSTORAGE_FILESYSTEM_FOREACHENTRY_H
