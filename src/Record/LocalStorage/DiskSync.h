// Makes what is recorded in one record directory durable, again and again: after a power cut no
// more is missing than what came since the last sync.
//
// A thread of its own syncs once per interval, and only when something was written: the whole file
// system where that is possible, else each file written to and each folder in which files were
// made. No lock is held meanwhile, so nobody who writes, opens or closes waits for a disk that is
// slow to sync.

#ifndef LOCALSTORAGE_RECORD_DISKSYNC_H
#define LOCALSTORAGE_RECORD_DISKSYNC_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Osl/Osl.h"
#include "Osl/OslMutex.h"
#include "RecordTree/RecordPath.h"

class CDiskSync;

/// One file that is being written, as the sync knows it.
class CSyncedFile {
public:
    CSyncedFile(CDiskSync& sync, const std::string& strCameraID, void* pUser,
                const std::string& strPath, OSL_FileHandle hFile)
        : m_sync(sync),
          m_strCameraID(strCameraID),
          m_strPath(strPath),
          m_pUser(pUser),
          m_hFile(hFile) {}
    ~CSyncedFile();
    CSyncedFile(const CSyncedFile&) = delete;
    CSyncedFile& operator=(const CSyncedFile&) = delete;

    /// After every write to the file.
    void NoteWritten() { m_bWritten.store(true, std::memory_order_release); }

    /// The file was closed: it is synced once more, and its channel is no longer told.
    void Close();

    const std::string& CameraID() const { return m_strCameraID; }
    const std::string& Path() const { return m_strPath; }

private:
    friend class CDiskSync;

    CDiskSync& m_sync;
    const std::string m_strCameraID, m_strPath;
    void* m_pUser;                 // guarded by the sync's lock; null once the file is closed
    const OSL_FileHandle m_hFile;  // a handle of our own, where files are synced one by one
    std::atomic<bool> m_bWritten{false};
    bool m_bOpen = true;  // guarded by the sync's lock
};

class CDiskSync {
public:
    /// Told of every file whose content could not be made durable, on the sync's thread. `pUser` is
    /// the channel's, null when the file was closed meanwhile.
    using OnFailure = std::function<void(const CSyncedFile& file, void* pUser, int nError)>;

    /// `strRecDir` without a "/" at the end.
    CDiskSync(std::string strRecDir, OnFailure onFailure);
    /// Call Stop first.
    ~CDiskSync();
    CDiskSync(const CDiskSync&) = delete;
    CDiskSync& operator=(const CDiskSync&) = delete;

    /// Begins to sync, every so many milliseconds. False: no thread.
    bool Start(std::uint32_t nInterval);
    /// Syncs a last time and ends.
    void Stop();

    /// Takes up a file that was opened for writing; whoever writes says so through the result. Null
    /// when there is no memory for it: then the file is synced with its neighbours or not at all.
    std::shared_ptr<CSyncedFile> Add(const std::string& strCameraID, void* pUser,
                                     const std::string& strPath, OSL_FileHandle hFile);

private:
    friend class CSyncedFile;

    using Files = std::vector<std::shared_ptr<CSyncedFile>>;

    static std::uint32_t SyncProc(void* pSync);
    void Sync();
    void OpenDisk();
    void CloseDisk();
    Files TakeWritten();
    std::set<std::string> TakeFolders();
    void SyncWhole(const Files& vFiles);
    void SyncEach(const Files& vFiles);
    void Report(const Files& vFiles, int nError);

    const std::string m_strRecDir;
    const OnFailure m_onFailure;
    const bool m_bWhole;  // the file system can be synced as a whole
    std::uint32_t m_nInterval = 0;
    OSL_ThreadHandle m_hThread = nullptr;
    OSL_EventHandle m_hStop;
    OSL_FileHandle m_hDisk = OSL_INVALID_FILE;  // the sync thread's

    OSL_Mutex m_mtx{OSL_LockRank::DiskSync, "disk sync"};
    Files m_vFiles OSL_GUARDED_BY(m_mtx);
    std::set<std::string> m_setFolders OSL_GUARDED_BY(m_mtx);  // with names not yet durable
};

/// The syncs of all record directories.
class CDiskSyncs {
public:
    explicit CDiskSyncs(CDiskSync::OnFailure onFailure) : m_onFailure(std::move(onFailure)) {}

    /// Begins to sync each directory every so many milliseconds; 0: none. False: no thread; then
    /// none is synced. No other call may run meanwhile.
    bool Start(const std::vector<std::string>& vRecDirs, std::uint32_t nInterval);
    /// Syncs a last time and ends. No other call may run meanwhile.
    void Stop();

    /// CDiskSync::Add of the directory that the file lies in; null too when it is not synced.
    std::shared_ptr<CSyncedFile> Add(const recordPath& stPath, const std::string& strCameraID,
                                     void* pUser, OSL_FileHandle hFile);

private:
    const CDiskSync::OnFailure m_onFailure;
    std::map<std::string, std::unique_ptr<CDiskSync>, std::less<>> m_mSyncs;
};

#endif  // LOCALSTORAGE_RECORD_DISKSYNC_H
