#include "LocalStorage/RecordDirs.h"

#include <cerrno>

std::string WithSlash(std::string strPath) {
    if (strPath.empty() || strPath.back() != '/') strPath += '/';
    return strPath;
}

bool IsDiskError(int nError) {
    return nError == ENOSPC || nError == EDQUOT || nError == EROFS || nError == EIO;
}

void CRecordDirs::Assign(const std::list<std::string>& lsRecDir) {
    m_lsRecDir.assign(lsRecDir.begin(), lsRecDir.end());
    OSL_Guard guard(m_mtxCurRecDir);
    m_mFailure.clear();
}

std::string CRecordDirs::Current() const {
    OSL_Guard guard(m_mtxCurRecDir);
    return m_strCurRecDir;
}

void CRecordDirs::SetCurrent(const std::string& strRecDir) {
    OSL_Guard guard(m_mtxCurRecDir);
    m_strCurRecDir = strRecDir;
}

bool CRecordDirs::NoteFailure(const std::string& strPath, int nError) {
    if (!IsDiskError(nError)) return false;
    OSL_Guard guard(m_mtxCurRecDir);
    bool bNew = false;
    for (const std::string& strRecDir : m_lsRecDir)
        if (strPath.starts_with(strRecDir)) bNew |= m_mFailure.emplace(strRecDir, nError).second;
    return bNew;
}

int CRecordDirs::Failure(const std::string& strRecDir) const {
    OSL_Guard guard(m_mtxCurRecDir);
    const auto it = m_mFailure.find(strRecDir);
    return it == m_mFailure.end() ? 0 : it->second;
}

void CRecordDirs::ClearFailure(const std::string& strRecDir) {
    OSL_Guard guard(m_mtxCurRecDir);
    m_mFailure.erase(strRecDir);
}
