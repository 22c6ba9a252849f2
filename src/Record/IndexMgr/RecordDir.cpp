#include "IndexMgr/RecordDir.h"

#include <cerrno>
#include <utility>

#include "FileSystem/FileSystem.h"
#include "Log/LogText.h"
#include "RecordTree/Names.h"

namespace {

void LogFailure(const char* pWhat, const std::string& strPath) {
    char szError[128];
    LogText("[wtb][CRecordDir] %s, strRecDir [%s], error [%s]", pWhat, strPath.c_str(),
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

CRecordDir::CRecordDir(std::string strPath)
    : m_strPath(std::move(strPath)), m_mtx(OSL_LockRank::RecordDir, "record directory") {}

CRecordDir::~CRecordDir() = default;

void CRecordDir::Make() {
    const std::string strDir = m_strPath + "/";
    if (OSL_AccessFile(strDir.c_str(), 0) != 0 && !MakeFullPath(strDir.c_str())) {
        LogFailure("cannot make the directory", m_strPath);
    }
    OSL_Guard guard(m_mtx);
    m_identity = GetIdentity();
}

// Nothing when it does not exist.
std::optional<CRecordDir::Identity> CRecordDir::GetIdentity() const {
    OSL_FINFO_S stInfo;
    if (OSL_GetTargetInfo((m_strPath + "/").c_str(), stInfo) != 0) return std::nullopt;
    return Identity{stInfo.nDevice, stInfo.nInode};
}

bool CRecordDir::IsPresent() {
    const std::optional<Identity> identity = GetIdentity();
    OSL_FINFO_S stNearest;
    const bool bReached = identity || GetNearestInfo(m_strPath, stNearest);
    OSL_Guard guard(m_mtx);
    if (!m_identity) {
        if (!identity) return true;
        if (!IsMadeByUs()) return false;
        m_identity = identity;
    }
    const std::uint64_t nDevice = identity ? identity->nDevice : stNearest.nDevice;
    const bool bSameDisk = nDevice == m_identity->nDevice || (identity && IsSameDisk());
    if (!bReached || !bSameDisk) {
        Unlock();
        return false;
    }
    if (!identity) return true;
    if (identity != m_identity) Unlock();
    m_identity = identity;
    return Lock();
}

bool CRecordDir::IsSameDisk() const {
    return !m_strDiskID.empty() && ReadDirectoryNote(m_strPath).strIdentity == m_strDiskID;
}

bool CRecordDir::IsMadeByUs() const {
    return OSL_AccessFile((m_strPath + "/" + RECORD_FOLDER).c_str(), 0) != 0 &&
           OSL_AccessFile((m_strPath + "/" + BACKUP_FOLDER).c_str(), 0) != 0;
}

bool CRecordDir::Lock() {
    const int nError = m_objLock.Take(m_strPath);
    if (nError != 0 && nError != m_nLockError) {
        errno = nError;
        LogFailure(nError == EWOULDBLOCK ? "another engine uses the directory"
                                         : "cannot lock the directory, used without a lock",
                   m_strPath);
    }
    m_nLockError = nError;
    if (nError == EWOULDBLOCK) m_bWasAway = true;
    if (!m_objLock.Note().strIdentity.empty()) m_strDiskID = m_objLock.Note().strIdentity;
    if (m_bInUse && !m_objLock.Note().tInUse) m_objLock.SetInUse(OSL_Time());
    return nError != EWOULDBLOCK;
}

void CRecordDir::Unlock() {
    m_objLock.Release();
    m_bWasAway = true;
}

std::optional<std::time_t> CRecordDir::BeginUse() {
    OSL_Guard guard(m_mtx);
    const std::optional<std::time_t> tLast = m_objLock.Note().tInUse;
    m_bInUse = true;
    m_objLock.SetInUse(OSL_Time());
    return tLast;
}

// Asks first, so that nothing is noted on another disk.
void CRecordDir::EndUse() {
    OSL_Guard guard(m_mtx);
    if (std::exchange(m_bInUse, false) && IsPresent()) m_objLock.SetInUse(std::nullopt);
    m_objLock.Release();
}

bool CRecordDir::IsSame(const CRecordDir& other) const {
    const std::optional<Identity> identity = GetIdentity();
    return identity && identity == other.GetIdentity();
}
