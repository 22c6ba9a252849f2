#include "IndexMgr/RecordDir.h"

#include <cerrno>
#include <exception>
#include <utility>

#include "FileSystem/FileSystem.h"
#include "Log/LogText.h"
#include "RecordTree/Names.h"
#include "RecordTree/RecordDirectory.h"

namespace {

void LogFailure(const char* pWhat, const std::string& strPath) {
    char szError[128];
    LogText("[wtb][CRecordDir] %s, strRecDir [%s], error [%s]", pWhat, strPath.c_str(),
            OSL_ErrorText(OSL_GetSystemLastError(), szError, sizeof(szError)));
}

// Whether one of the directories above lies on this file system.
bool LiesBelow(std::string strPath, std::uint64_t nDevice) {
    OSL_FINFO_S stInfo;
    for (std::size_t nSlash = strPath.rfind('/'); nSlash != std::string::npos;
         nSlash = strPath.rfind('/')) {
        strPath.resize(nSlash);
        if (OSL_GetTargetInfo((strPath + "/").c_str(), stInfo) == 0 && stInfo.nDevice == nDevice) {
            return true;
        }
    }
    return false;
}

}  // namespace

CRecordDir::CRecordDir(std::string strPath, bool bRequireMount)
    : m_strPath(std::move(strPath)),
      m_bRequireMount(bRequireMount),
      m_mtx(OSL_LockRank::RecordDir, "record directory"),
      m_pLock(std::make_unique<CDirectoryLock>()) {}

CRecordDir::~CRecordDir() = default;

void CRecordDir::Make() {
    const std::string strDir = m_strPath + "/";
    if (m_bRequireMount && LiesOnRootDisk(m_strPath)) {
        LogText("[wtb][CRecordDir] no disk is mounted there yet, strRecDir [%s]",
                m_strPath.c_str());
        OSL_FINFO_S stInfo;
        OSL_Guard guard(m_mtx);
        m_bEmpty = m_bAwaitsMount = true;  // what lies there is not used
        if (GetNearestInfo(m_strPath, stInfo)) m_identity = {stInfo.nDevice, stInfo.nInode};
        return;
    }
    if (OSL_AccessFile(strDir.c_str(), 0) != 0 && !MakeFullPath(strDir.c_str())) {
        LogFailure("cannot make the directory", m_strPath);
    }
    OSL_Guard guard(m_mtx);
    m_bEmpty = HoldsNothing();  // first: what is mounted in between is what is remembered
    m_identity = GetIdentity();
}

bool CRecordDir::AwaitsMount() {
    OSL_Guard guard(m_mtx);
    return m_bAwaitsMount;
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
    if (m_bAwaitsMount) return false;
    if (!m_identity) {
        if (!identity) return true;
        if (!HoldsNothing()) return false;
        m_identity = identity;
    }
    const std::uint64_t nDevice = identity ? identity->nDevice : stNearest.nDevice;
    const bool bSameDisk = nDevice == m_identity->nDevice || (identity && IsSameDisk());
    if (!bReached || !bSameDisk) {
        if (!IsMountedOver()) Unlock();
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

bool CRecordDir::HoldsNothing() const {
    return IsGone(m_strPath + "/" + RECORD_FOLDER) && IsGone(m_strPath + "/" + BACKUP_FOLDER) &&
           IsGone(m_strPath + "/" + IMAGE_FOLDER);
}

// By a disk that may be taken over. What lay there, or above it when nothing did, must still be
// there: a pulled disk is not.
bool CRecordDir::IsMountedOver() const {
    OSL_FINFO_S stInfo;
    if (!m_bEmpty) return false;
    if (!m_identity) return !HoldsNothing();
    return GetNearestInfo(m_strPath, stInfo) && stInfo.nDevice != m_identity->nDevice &&
           !IsSameDisk() && LiesBelow(m_strPath, m_identity->nDevice);
}

// What the last run on it noted is told by its lock, and is not noted over.
std::unique_ptr<CDirectoryLock> CRecordDir::TakeOver() {
    OSL_Guard guard(m_mtx);
    if (!IsMountedOver() || !MakeFullPath((m_strPath + "/").c_str())) return nullptr;
    auto pBelow = std::exchange(m_pLock, std::make_unique<CDirectoryLock>());
    const bool bInUse = std::exchange(m_bInUse, false);
    if (!Lock()) {
        m_pLock = std::move(pBelow);
        m_bInUse = bInUse;
        return nullptr;
    }
    m_identity = GetIdentity();
    m_strDiskID = m_pLock->Note().strIdentity;
    m_bEmpty = m_bWasAway = m_bAwaitsMount = false;
    ++m_nDisk;
    return pBelow;
}

bool CRecordDir::Lock() {
    const int nError = m_pLock->Take(m_strPath);
    if (nError != 0 && nError != m_nLockError) {
        errno = nError;
        LogFailure(nError == EWOULDBLOCK ? "another engine uses the directory"
                                         : "cannot lock the directory, used without a lock",
                   m_strPath);
    }
    m_nLockError = nError;
    if (nError == EWOULDBLOCK) m_bWasAway = true;
    if (!m_pLock->Note().strIdentity.empty()) m_strDiskID = m_pLock->Note().strIdentity;
    // What is written after the clock was set back was written in this run, too.
    const std::time_t tNow = OSL_Time();
    if (m_bInUse && m_pLock->Note().tInUse.value_or(tNow + 1) > tNow) m_pLock->SetInUse(tNow);
    return nError != EWOULDBLOCK;
}

void CRecordDir::Unlock() {
    m_pLock->Release();
    m_bWasAway = true;
}

std::optional<std::time_t> CRecordDir::BeginUse() {
    OSL_Guard guard(m_mtx);
    const std::optional<std::time_t> tLast = m_pLock->Note().tInUse;
    m_bInUse = true;
    m_pLock->SetInUse(OSL_Time());
    return tLast;
}

// Asks first, so that nothing is noted on another disk.
void CRecordDir::EndUse() {
    OSL_Guard guard(m_mtx);
    try {
        if (std::exchange(m_bInUse, false) && IsPresent()) m_pLock->SetInUse(std::nullopt);
    } catch (const std::exception&) {  // the next start looks for reserved space in vain
        LogText("[wtb][CRecordDir] out of memory, in use still, strRecDir [%s]", m_strPath.c_str());
    }
    m_pLock->Release();
}

bool CRecordDir::IsSame(const CRecordDir& other) const {
    const std::optional<Identity> identity = GetIdentity();
    return identity && identity == other.GetIdentity();
}
