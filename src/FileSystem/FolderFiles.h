// Deletes many files, or looks at them, folder by folder.
//
// A folder is looked up once for all its files that come one behind the other: beside the file
// system's own work the way down a long path is the largest part of what such a call costs.

#ifndef LOCALSTORAGE_FILESYSTEM_FOLDERFILES_H
#define LOCALSTORAGE_FILESYSTEM_FOLDERFILES_H

#include <string>

#include "Osl/Osl.h"

class CFolderFiles {
public:
    /// False on failure: see OSL_GetSystemLastError.
    bool Delete(const std::string& strPath);

    /// OSL_GetTargetInfo; false on failure.
    bool GetTargetInfo(const std::string& strPath, OSL_FINFO_S& stInfo);

private:
    /// The bare name of a file whose folder is open now; null when that could not be opened.
    const char* NameInFolder(const std::string& strPath);

    std::string m_strFolder;
    OSL_OwnDir m_pFolder;
};

#endif  // LOCALSTORAGE_FILESYSTEM_FOLDERFILES_H
