#include "FileSystem/FileDeleter.h"

bool CFileDeleter::Delete(const std::string& strPath) {
    const std::size_t nSlash = strPath.rfind('/');
    if (!m_pFolder || strPath.compare(0, nSlash, m_strFolder) != 0) {
        m_pFolder.reset();
        m_strFolder = strPath.substr(0, nSlash);
        m_pFolder.reset(OSL_OpenDir(m_strFolder.c_str()));
    }
    // Without a handle to spare the long way does.
    const int nResult = m_pFolder ? OSL_DeleteFileInDir(m_pFolder.get(), &strPath[nSlash + 1])
                                  : OSL_DeleteFile(strPath.c_str());
    return nResult == 0;
}
