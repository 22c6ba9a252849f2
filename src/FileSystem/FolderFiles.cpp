#include "FileSystem/FolderFiles.h"

const char* CFolderFiles::NameInFolder(const std::string& strPath) {
    const std::size_t nSlash = strPath.rfind('/');
    if (!m_pFolder || strPath.compare(0, nSlash, m_strFolder) != 0) {
        m_pFolder.reset();
        m_strFolder = strPath.substr(0, nSlash);
        m_pFolder.reset(OSL_OpenDir(m_strFolder.c_str()));
    }
    return m_pFolder ? &strPath[nSlash + 1] : nullptr;
}

// Without a handle to spare the long way does.
bool CFolderFiles::Delete(const std::string& strPath) {
    const char* const pName = NameInFolder(strPath);
    return (pName ? OSL_DeleteFileInDir(m_pFolder.get(), pName)
                  : OSL_DeleteFile(strPath.c_str())) == 0;
}

bool CFolderFiles::GetTargetInfo(const std::string& strPath, OSL_FINFO_S& stInfo) {
    const char* const pName = NameInFolder(strPath);
    return (pName ? OSL_GetTargetInfoInDir(m_pFolder.get(), pName, stInfo)
                  : OSL_GetTargetInfo(strPath.c_str(), stInfo)) == 0;
}
