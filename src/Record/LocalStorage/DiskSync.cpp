#include "LocalStorage/DiskSync.h"

#include <cerrno>
#include <exception>
#include <utility>

#include "Log/LogText.h"

CSyncedFile::~CSyncedFile() {
    if (m_hFile != OSL_INVALID_FILE) OSL_CloseFile(m_hFile);
}

void CSyncedFile::Close() {
    OSL_Guard guard(m_sync.m_mtx);
    m_bOpen = false;
    m_pUser = nullptr;
}

CDiskSync::CDiskSync(std::string strRecDir, OnFailure onFailure)
    : m_strRecDir(std::move(strRecDir)),
      m_onFailure(std::move(onFailure)),
      m_bWhole(OSL_CanSyncFileSystem((m_strRecDir + "/").c_str())),
      m_hStop(OSL_CreateEvent()) {}

CDiskSync::~CDiskSync() {
    OSL_CloseEvent(m_hStop);
}

bool CDiskSync::Start(std::uint32_t nInterval) {
    m_nInterval = nInterval;
    m_hThread = OSL_Thread_Create(SyncProc, this, 0);
    return m_hThread != nullptr;
}

void CDiskSync::Stop() {
    OSL_SetEvent(m_hStop);
    if (m_hThread) OSL_Thread_Wait(std::exchange(m_hThread, nullptr));
}

std::uint32_t CDiskSync::SyncProc(void* pSync) {
    CDiskSync& sync = *static_cast<CDiskSync*>(pSync);
    std::uint32_t nResult = OSL_WAIT_TIMEOUT;
    while (nResult == OSL_WAIT_TIMEOUT) {
        if (sync.m_bWhole) sync.OpenDisk();
        nResult = OSL_WaitForSingleObject(sync.m_hStop, sync.m_nInterval);
        try {
            sync.Sync();
        } catch (const std::exception&) {
            LogText("[wtb][CDiskSync::Sync] out of memory, strRecDir [%s]",
                    sync.m_strRecDir.c_str());
        }
    }
    sync.CloseDisk();
    return 0;
}

std::shared_ptr<CSyncedFile> CDiskSync::Add(const std::string& strCameraID, void* pUser,
                                            const std::string& strPath, OSL_FileHandle hFile) try {
    auto pFile = std::make_shared<CSyncedFile>(
        *this, strCameraID, pUser, strPath, m_bWhole ? OSL_INVALID_FILE : OSL_DuplicateFile(hFile));
    pFile->NoteWritten();  // its name, at least
    OSL_Guard guard(m_mtx);
    m_vFiles.push_back(pFile);
    // The folders above it may have been made for it.
    for (std::size_t nSlash = strPath.rfind('/'); !m_bWhole && nSlash > m_strRecDir.size();
         nSlash = strPath.rfind('/', nSlash - 1)) {
        m_setFolders.insert(strPath.substr(0, nSlash));
    }
    if (!m_bWhole) m_setFolders.insert(m_strRecDir);
    return pFile;
} catch (const std::exception&) {
    return nullptr;
}

void CDiskSync::Sync() {
    const Files vFiles = TakeWritten();
    if (!vFiles.empty()) m_bWhole ? SyncWhole(vFiles) : SyncEach(vFiles);
}

// Anew before every pause: a handle tells what went wrong since it was opened, and the directory
// may lie on another disk by now.
void CDiskSync::OpenDisk() {
    CloseDisk();
    m_hDisk = OSL_OpenFile((m_strRecDir + "/").c_str(), OSL_OPEN_READ, 0);
}

void CDiskSync::CloseDisk() {
    if (m_hDisk != OSL_INVALID_FILE) OSL_CloseFile(std::exchange(m_hDisk, OSL_INVALID_FILE));
}

// A file that was closed is taken a last time. What is written from here on counts for the next
// time, even where this one makes it durable.
CDiskSync::Files CDiskSync::TakeWritten() {
    OSL_Guard guard(m_mtx);
    Files vWritten;
    vWritten.reserve(m_vFiles.size());
    for (const auto& pFile : m_vFiles) {
        if (pFile->m_bWritten.exchange(false, std::memory_order_acquire)) vWritten.push_back(pFile);
    }
    std::erase_if(m_vFiles, [](const auto& pFile) { return !pFile->m_bOpen; });
    return vWritten;
}

std::set<std::string> CDiskSync::TakeFolders() {
    OSL_Guard guard(m_mtx);
    return std::exchange(m_setFolders, {});
}

void CDiskSync::SyncWhole(const Files& vFiles) {
    if (m_hDisk == OSL_INVALID_FILE) OpenDisk();
    if (OSL_SyncFileSystemOf(m_hDisk) != 0) Report(vFiles, OSL_GetSystemLastError());
}

// Folders last: a name that is durable leads to content that is. One that a deletion pass took
// meanwhile needs no sync.
void CDiskSync::SyncEach(const Files& vFiles) {
    for (const auto& pFile : vFiles) {
        if (OSL_SyncData(pFile->m_hFile) != 0) Report({pFile}, OSL_GetSystemLastError());
    }
    for (const std::string& strFolder : TakeFolders()) {
        if (OSL_SyncFile(strFolder.c_str()) != 0 && OSL_GetSystemLastError() != ENOENT) {
            Report(vFiles, OSL_GetSystemLastError());
        }
    }
}

// The lock keeps a channel from being closed while its host is told.
void CDiskSync::Report(const Files& vFiles, int nError) {
    for (const auto& pFile : vFiles) {
        OSL_Guard guard(m_mtx);
        m_onFailure(*pFile, pFile->m_pUser, nError);
    }
}

bool CDiskSyncs::Start(const std::vector<std::string>& vRecDirs, std::uint32_t nInterval) {
    if (nInterval == 0) return true;
    for (const std::string& strRecDir : vRecDirs) {
        auto pSync = std::make_unique<CDiskSync>(strRecDir, m_onFailure);
        const bool bStarted = pSync->Start(nInterval);
        m_mSyncs.emplace(strRecDir, std::move(pSync));
        if (bStarted) continue;
        Stop();
        return false;
    }
    return true;
}

void CDiskSyncs::Stop() {
    for (const auto& [strRecDir, pSync] : m_mSyncs) pSync->Stop();
    m_mSyncs.clear();
}

std::shared_ptr<CSyncedFile> CDiskSyncs::Add(const recordPath& stPath,
                                             const std::string& strCameraID, void* pUser,
                                             OSL_FileHandle hFile) {
    const auto it = m_mSyncs.find(stPath.RecDir());
    return it == m_mSyncs.end() ? nullptr
                                : it->second->Add(strCameraID, pUser, stPath.strPath, hFile);
}
