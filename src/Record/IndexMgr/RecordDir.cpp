#include "IndexMgr/RecordDir.h"

#include <cerrno>
#include <utility>

#include "FileSystem/FileSystem.h"
#include "IndexMgr/IndexLog.h"
#include "IndexMgr/Names.h"

namespace {

void LogFailure(int nLine, const char* pWhat, const std::string& strPath) {
    char szError[128];
    WriteLog(LOG_LEVEL_DBG, INDEX_LOG_SOURCE, nLine,
             "[wtb][CRecordDir] %s, strRecDir [%s], error [%s]", pWhat, strPath.c_str(),
             OSL_ErrorText(OSL_GetSystemLastError(), szError, sizeof(szError)));
}

// The attributes of a path, or of its nearest existing parent. The root always has some.
bool GetNearestInfo(std::string strPath, OSL_FINFO_S& stInfo) {
    while (OSL_GetTargetInfo(strPath.empty() ? "/" : strPath.c_str(), stInfo) != 0) {
        const int nError = OSL_GetSystemLastError();
        const std::size_t nSlash = WithoutTrailingSlashes(strPath).rfind('/');
        if ((nError != ENOENT && nError != ENOTDIR) || nSlash == std::string::npos) return false;
        strPath.resize(nSlash);
    }
    return true;
}

}  // namespace

CRecordDir::CRecordDir(std::string strPath) : m_strPath(std::move(strPath)) {}

CRecordDir::~CRecordDir() {
    OSL_UnlockDir(m_hLock);
}

void CRecordDir::Make() {
    const std::string strDir = m_strPath + "/";
    if (OSL_AccessFile(strDir.c_str(), 0) != 0 && !MakeFullPath(strDir.c_str())) {
        LogFailure(__LINE__, "cannot make the directory", m_strPath);
    }
    Remember();
}

void CRecordDir::Made() {
    Remember();
    Lock();
}

void CRecordDir::Remember() {
    OSL_FINFO_S stInfo;
    if (OSL_GetTargetInfo((m_strPath + "/").c_str(), stInfo) != 0) return;
    m_nInode = stInfo.nInode;
    m_nDevice = stInfo.nDevice;
    m_bKnown = true;
}

bool CRecordDir::Lock() {
    if (!m_bKnown) return true;
    OSL_UnlockDir(m_hLock);
    m_hLock = OSL_LockDir((m_strPath + "/").c_str());
    if (m_hLock != OSL_INVALID_FILE) return true;
    if (OSL_GetSystemLastError() == EWOULDBLOCK) {
        LogFailure(__LINE__, "another engine uses the directory", m_strPath);
        return false;
    }
    LogFailure(__LINE__, "cannot lock the directory, used without a lock", m_strPath);
    return true;
}

bool CRecordDir::IsPresent() const {
    OSL_FINFO_S stInfo;
    return !m_bKnown || (GetNearestInfo(m_strPath, stInfo) && stInfo.nDevice == m_nDevice);
}

bool CRecordDir::IsSame(const CRecordDir& other) const {
    return m_bKnown && other.m_bKnown && m_nDevice == other.m_nDevice && m_nInode == other.m_nInode;
}
