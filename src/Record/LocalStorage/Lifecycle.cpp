// Start and stop of the engine.

#include <algorithm>
#include <new>

#include "FileSystem/FileSystem.h"
#include "LocalStorage/Conversion.h"
#include "LocalStorage/Engine.h"

namespace {

constexpr std::uint32_t MAX_CHANNELS = 64;
constexpr std::uint32_t MAX_FILE_SIZE = 2048;  // MiB

bool AreBoundsKept(const tagStoreInfo& stInfo) {
    return stInfo.nMaxChannels <= MAX_CHANNELS && stInfo.nFileSize <= MAX_FILE_SIZE &&
           stInfo.lsRecDir.size() != 0 &&
           !(stInfo.enumStreamType == STREAM_TYPE_RAW && stInfo.bAnalyze);
}

}  // namespace

bool OutOfMemory(const char* pMethod) noexcept {
    WriteLog(LOG_LEVEL_DBG, ENGINE_SOURCE, __LINE__, "[wtb][CLocalStorage::%s] out of memory",
             pMethod);
    return false;
}

CLocalStorage::CLocalStorage() : m_hDiskCheckEvent(OSL_CreateEvent(0)) {}

CLocalStorage::~CLocalStorage() {
    OSL_CloseEvent(m_hDiskCheckEvent);
}

bool CLocalStorage::Initialize(tagStoreInfo& stStoreInfo) try {
    if (m_bInit) {
        LogText("[wtb][CLocalStorage::Initialize] already initialized");
        return true;
    }
    m_stStoreInfo = stStoreInfo;  // Deliberate: refused settings are kept, too
    if (!AreBoundsKept(m_stStoreInfo)) {
        SetLastError(STORAGE_ERROR_PARAM);
        WriteLog(LOG_LEVEL_DBG, ENGINE_SOURCE, __LINE__,
                 "[wtb][CLocalStorage::Initialize] param error,             nMaxChannels [%d], "
                 "nFileSize [%d], lsRecDir.size() [%d], enumStreamType [%d], bAnalyze [%d]",
                 static_cast<int>(m_stStoreInfo.nMaxChannels),
                 static_cast<int>(m_stStoreInfo.nFileSize),
                 static_cast<int>(m_stStoreInfo.lsRecDir.size()),
                 static_cast<int>(m_stStoreInfo.enumStreamType), m_stStoreInfo.bAnalyze);
        return false;
    }
    std::list<std::string> lsRecDir;
    ConvertVexListToStdList(m_stStoreInfo.lsRecDir, lsRecDir);
    if (std::count(lsRecDir.begin(), lsRecDir.end(), "") > 0)
        return Fail(STORAGE_ERROR_PARAM, "[wtb][CLocalStorage::Initialize] empty path in lsRecDir");
    for (std::string& strRecDir : lsRecDir) strRecDir = WithSlash(std::move(strRecDir));
    WriteLog(LOG_LEVEL_DBG, ENGINE_SOURCE, __LINE__,
             "[wtb][CLocalStorage::Initialize] first disk path [%s]", lsRecDir.front().c_str());
    if (VerifyDuplicateDisk(lsRecDir))
        return Fail(STORAGE_ERROR_PARAM,
                    "[wtb][CLocalStorage::Initialize] VerifyDuplicateDisk fail");

    m_objRecDirs.Assign(lsRecDir);
    ChooseFirstDisk();
    if (!StartIndex(lsRecDir)) return false;
    if (!StartDiskCheck()) return false;
    m_bInit = true;
    SetLastError(STORAGE_ERROR_NONE);
    return true;
} catch (const std::exception&) {
    StopIndex();
    SetLastError(STORAGE_ERROR_NO_MEMORY);
    return OutOfMemory("Initialize");
}

// A full disk is no error here: opening a recording tells.
void CLocalStorage::ChooseFirstDisk() {
    const std::string& strFirst = m_objRecDirs.All().front();
    if (!m_stStoreInfo.bCycWrite) SetCurRecDir(strFirst);
    if (m_stStoreInfo.bCycWrite && !GetFreeDisk()) {
        SetCurRecDir(strFirst);
        WriteLog(LOG_LEVEL_DBG, ENGINE_SOURCE, __LINE__,
                 "[wtb][CLocalStorage::Initialize] disk full, bCycWrite [%d]", 1);
    } else if (!m_stStoreInfo.bCycWrite && IsDiskFull(GetCurRecDir())) {
        WriteLog(LOG_LEVEL_DBG, ENGINE_SOURCE, __LINE__,
                 "[wtb][CLocalStorage::Initialize] disk full, m_strCurRecDir [%s], bCycWrite [%d]",
                 GetCurRecDir().c_str(), 0);
    }
}

bool CLocalStorage::StartIndex(std::list<std::string>& lsRecDir) {
    m_pIndexMgr.reset(new (std::nothrow) CIndexMgr(
        ConvertLocalStorageTypeToStorageType(m_stStoreInfo.enumStorageType)));
    if (!m_pIndexMgr)
        return Fail(STORAGE_ERROR_NO_MEMORY,
                    "[wtb][CLocalStorage::Initialize] new m_pIndexMgr fail");
    const int nResult = m_pIndexMgr->Initialize(lsRecDir);
    if (nResult != 1 && nResult != 2) {
        // One directory under two names would hide the files that are open under the other one.
        lsRecDir.remove_if(
            [this](const std::string& strRecDir) { return m_pIndexMgr->IsOtherName(strRecDir); });
        m_objRecDirs.Assign(lsRecDir);
        return true;
    }
    SetLastError(nResult == 1 ? STORAGE_ERROR_INDEX : STORAGE_ERROR_INDEX_REPAIR);
    StopIndex();
    LogText(nResult == 1
                ? "[wtb][CLocalStorage::Initialize] m_pIndexMgr->Initialize fail"
                : "[wtb][CLocalStorage::Initialize] m_pIndexMgr->Initialize need repair index");
    return false;
}

void CLocalStorage::StopIndex() {
    if (m_pIndexMgr) m_pIndexMgr->Release();
    m_pIndexMgr.reset();
}

bool CLocalStorage::StartDiskCheck() {
    OSL_ResetEvent(m_hDiskCheckEvent);
    m_hDiskCheckThread = OSL_Thread_Create(DiskCheckProc, this, 0, 0, 0, nullptr);
    if (m_hDiskCheckThread) return true;
    SetLastError(STORAGE_ERROR_THREAD);
    StopIndex();
    LogText("[wtb][CLocalStorage::Initialize] create disk check thread fail");
    return false;
}

bool CLocalStorage::Release() {
    if (!m_bInit) {
        LogText("[wtb][CLocalStorage::Release] not initialized");
        return false;
    }
    while (CChannelClaim claim = m_mapRecordChannel.ClaimAny()) CloseChannelRecord(claim);
    LogText("[wtb][CLocalStorage::Release] close all opened channel");
    OSL_SetEvent(m_hDiskCheckEvent);
    OSL_Thread_Wait(m_hDiskCheckThread);
    m_hDiskCheckThread = nullptr;
    LogText("[wtb][CLocalStorage::Release] close disk check thread");
    m_pIndexMgr->Release();
    m_pIndexMgr.reset();
    m_bInit = false;
    LogText("[wtb][CLocalStorage::Release] success");
    return true;
}

int CLocalStorage::GetLastError() {
    OSL_Guard guard(m_mtxLastError);
    return m_nLastError;
}

void CLocalStorage::SetLastError(int nError) {
    OSL_Guard guard(m_mtxLastError);
    m_nLastError = nError;
}

bool CLocalStorage::Fail(int nError, const std::string& strLog) {
    SetLastError(nError);
    LogText(strLog);
    return false;
}
