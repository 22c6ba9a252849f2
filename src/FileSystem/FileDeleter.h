// Deletes many files, folder by folder.
//
// A folder is looked up once for all its files that come one behind the other: beside the file
// system's own work the way down a long path is the largest part of what a deletion costs.

#ifndef LOCALSTORAGE_FILESYSTEM_FILEDELETER_H
#define LOCALSTORAGE_FILESYSTEM_FILEDELETER_H

#include <string>

#include "Osl/Osl.h"

class CFileDeleter {
public:
    /// False on failure: see OSL_GetSystemLastError.
    bool Delete(const std::string& strPath);

private:
    std::string m_strFolder;
    OSL_OwnDir m_pFolder;
};

#endif  // LOCALSTORAGE_FILESYSTEM_FILEDELETER_H
