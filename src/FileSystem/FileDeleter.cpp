#include "FileSystem/FileDeleter.h"

CFileDeleter::~CFileDeleter() {
    if (m_hFolder) OSL_CloseDir(m_hFolder);
}

bool CFileDeleter::Delete(const std::string& strPath) {
    const std::size_t nSlash = strPath.rfind('/');
    if (!m_hFolder || strPath.compare(0, nSlash, m_strFolder) != 0)
        Enter(strPath.substr(0, nSlash));
    // Without a handle to spare the long way does.
    const int nResult = m_hFolder ? OSL_DeleteFileInDir(m_hFolder, strPath.c_str() + nSlash + 1)
                                  : OSL_DeleteFile(strPath.c_str());
    return nResult == 0;
}

void CFileDeleter::Enter(const std::string& strFolder) {
    if (m_hFolder) OSL_CloseDir(m_hFolder);
    m_strFolder = strFolder;
    m_hFolder = OSL_OpenDir(m_strFolder.c_str());
}
