#include "LocalStorage/DiskSync.h"

#include <cerrno>
#include <exception>
#include <utility>

#include "IndexMgr/DiskCalls.h"
#include "Log/LogText.h"

namespace {

// What a deletion pass took meanwhile needs no sync.
bool SyncByName(const std::string& strPath, OSL_LastLink eLink) {
    return OSL_SyncFile(strPath.c_str(), eLink) == 0 || OSL_GetSystemLastError() == ENOENT;
}

}  // namespace

void CSyncedFile::Close(OSL_FileHandle hReserved) {
    m_pSync->NoteClosed(*this);
    if (hReserved == OSL_INVALID_FILE || m_pSync->m_objReserved.Add(m_strPath, hReserved)) return;
    OSL_GiveBackSpace(hReserved);
    OSL_CloseFile(hReserved);
}

void CDiskSync::NoteClosed(CSyncedFile& file) {
    OSL_Guard guard(m_mtx);
    file.m_bOpen = false;
    file.m_pUser = nullptr;
}

CDiskSync::CDiskSync(std::string strRecDir, OnFailure onFailure)
    : m_strRecDir(std::move(strRecDir)),
      m_onFailure(std::move(onFailure)),
      m_hStop(OSL_CreateEvent()) {}

CDiskSync::~CDiskSync() {
    OSL_CloseEvent(m_hStop);
}

bool CDiskSync::Start(std::uint32_t nInterval) {
    m_nInterval = nInterval;
    return m_hStop && m_thread.Start([pSync = shared_from_this()] { pSync->SyncAgainAndAgain(); });
}

void CDiskSync::Stop() {
    OSL_SetEvent(m_hStop);
}

bool CDiskSync::Wait(std::int64_t nPatience) {
    const bool bEnded = m_thread.Wait(nPatience);
    OSL_Guard guard(m_mtx);
    m_bEnded = true;
    return bEnded;
}

void CDiskSync::SyncAgainAndAgain() {
    std::uint32_t nResult = OSL_WAIT_TIMEOUT;
    while (nResult == OSL_WAIT_TIMEOUT) {
        nResult = OSL_WaitForSingleObject(m_hStop, m_nInterval);
        try {
            Sync();
        } catch (const std::exception&) {
            LogText("[wtb][CDiskSync::Sync] out of memory, strRecDir [%s]", m_strRecDir.c_str());
        }
    }
    const Files vFiles = TakeAll();  // which own this
}

std::shared_ptr<CSyncedFile> CDiskSync::Add(const std::string& strCameraID, void* pUser,
                                            const std::string& strPath, OSL_FileHandle hFile) try {
    const auto pDisk = DiskOf(strPath);
    auto pFile =
        std::make_shared<CSyncedFile>(shared_from_this(), strCameraID, pUser, strPath, pDisk,
                                      pDisk ? OSL_INVALID_FILE : OSL_DuplicateFile(hFile));
    pFile->NoteWritten();  // its name, at least
    OSL_Guard guard(m_mtx);
    if (m_bEnded) return nullptr;
    m_vFiles.push_back(pFile);
    // The folders above it may have been made for it.
    for (std::size_t nSlash = strPath.rfind('/'); !pDisk && nSlash > m_strRecDir.size();
         nSlash = strPath.rfind('/', nSlash - 1)) {
        m_setFolders.insert(strPath.substr(0, nSlash));
    }
    if (!pDisk) m_setFolders.insert(m_strRecDir);
    return pFile;
} catch (const std::exception&) {
    return nullptr;
}

void CDiskSync::Sync() {
    m_objReserved.Take();
    std::map<std::shared_ptr<openDisk>, Files> mWritten;
    for (const auto& pFile : TakeWritten()) mWritten[pFile->m_pDisk].push_back(pFile);
    for (const auto& [pDisk, vFiles] : mWritten) {
        pDisk ? SyncWhole(pDisk->disk.Get(), vFiles) : SyncEach(vFiles);
    }
    m_objReserved.GiveBack();
}

// Null where it is not to be synced as a whole, or cannot be opened. It is opened before anything
// is written, since a handle tells what went wrong from then on; by the file's own folder, since a
// link may lead to it.
std::shared_ptr<openDisk> CDiskSync::DiskOf(const std::string& strPath) {
    OSL_FINFO_S stInfo;
    if (!OSL_CanSyncFileSystem(strPath.c_str()) ||
        OSL_GetTargetInfo(strPath.c_str(), stInfo) != 0) {
        return nullptr;
    }
    auto pDisk = m_pDisk.lock();
    if (pDisk && pDisk->nDevice == stInfo.nDevice) return pDisk;
    const std::string strFolder = strPath.substr(0, strPath.rfind('/') + 1);
    const OSL_FileHandle hDisk = OSL_OpenFile(strFolder.c_str(), OSL_OPEN_READ, 0);
    if (hDisk == OSL_INVALID_FILE) return nullptr;
    m_pDisk = pDisk = std::make_shared<openDisk>(stInfo.nDevice, hDisk);
    return pDisk;
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

CDiskSync::Files CDiskSync::TakeAll() {
    OSL_Guard guard(m_mtx);
    m_bEnded = true;
    return std::exchange(m_vFiles, {});
}

std::set<std::string> CDiskSync::TakeFolders() {
    OSL_Guard guard(m_mtx);
    return std::exchange(m_setFolders, {});
}

void CDiskSync::SyncWhole(OSL_FileHandle hDisk, const Files& vFiles) {
    if (OSL_SyncFileSystemOf(hDisk) != 0) Report(vFiles, OSL_GetSystemLastError());
}

// Folders last: a name that is durable leads to content that is.
void CDiskSync::SyncEach(const Files& vFiles) {
    for (const auto& pFile : vFiles) {
        const OSL_FileHandle hFile = pFile->m_file.Get();
        // By its name where there was no second handle to be had when it was opened.
        const bool bSynced = hFile != OSL_INVALID_FILE
                                 ? OSL_SyncData(hFile) == 0
                                 : SyncByName(pFile->Path(), OSL_LastLink::Fails);
        if (!bSynced) Report({pFile}, OSL_GetSystemLastError());
    }
    for (const std::string& strFolder : TakeFolders()) {
        if (!SyncByName(strFolder, OSL_LastLink::IsFollowed)) {
            Report(vFiles, OSL_GetSystemLastError());
        }
    }
}

// The lock keeps a channel from being closed while its host is told.
void CDiskSync::Report(const Files& vFiles, int nError) {
    for (const auto& pFile : vFiles) {
        OSL_Guard guard(m_mtx);
        if (!m_bEnded) m_onFailure(*pFile, pFile->m_pUser, nError);
    }
}

bool CDiskSyncs::Start(const std::string& strRecDir, std::uint32_t nInterval) {
    if (nInterval == 0) return true;
    auto pSync = std::make_shared<CDiskSync>(strRecDir, m_onFailure);
    if (!pSync->Start(nInterval)) return false;
    m_mSyncs.emplace(strRecDir, std::move(pSync));
    return true;
}

void CDiskSyncs::Stop(std::set<std::string>& setHung) {
    for (const auto& [strRecDir, pSync] : m_mSyncs) pSync->Stop();
    for (const auto& [strRecDir, pSync] : m_mSyncs) {
        if (pSync->Wait(setHung.contains(strRecDir) ? NO_PATIENCE : LAST_PATIENCE)) continue;
        setHung.insert(strRecDir);
        LogText(
            "[wtb][CDiskSync::Stop] the disk gives no answer, its sync is left behind until it "
            "does, strRecDir [%s]",
            strRecDir.c_str());
    }
    m_mSyncs.clear();
}

std::shared_ptr<CDiskSync> CDiskSyncs::Of(std::string_view strRecDir) const {
    const auto it = m_mSyncs.find(strRecDir);
    return it == m_mSyncs.end() ? nullptr : it->second;
}
