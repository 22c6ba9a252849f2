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
    CFileDeleter() = default;
    ~CFileDeleter();
    CFileDeleter(const CFileDeleter&) = delete;
    CFileDeleter& operator=(const CFileDeleter&) = delete;

    /// False on failure: see OSL_GetSystemLastError.
    bool Delete(const std::string& strPath);

private:
    void Enter(const std::string& strFolder);

    std::string m_strFolder;
    OSL_DirHandle m_hFolder = nullptr;
};

#endif  // LOCALSTORAGE_FILESYSTEM_FILEDELETER_H
