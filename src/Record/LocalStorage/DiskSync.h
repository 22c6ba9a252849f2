// Makes what is recorded in one record directory durable, again and again: after a power cut no
// more is missing than what came since the last sync.
//
// A thread of its own, which may be left behind on a disk that hangs, syncs once per interval, and
// only when something was written: the whole file system where that is possible, else each file
// written to and each folder in which files were made. No lock is held meanwhile, so nobody who
// writes, opens or closes waits for a disk that is slow to sync. Another disk may come to lie there
// while files are open on the first: each file is synced where it lies.

#ifndef LOCALSTORAGE_RECORD_DISKSYNC_H
#define LOCALSTORAGE_RECORD_DISKSYNC_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LocalStorage/ReservedFiles.h"
#include "Osl/Osl.h"
#include "Osl/OslMutex.h"
#include "Osl/OslWatchedThread.h"

class CDiskSync;

/// A file system that is synced as a whole, open as long as files on it are.
struct openDisk {
    openDisk(std::uint64_t n, OSL_FileHandle h) : nDevice(n), disk(h) {}

    const std::uint64_t nDevice;
    const OSL_OwnFile disk;
};

/// One file that is being written, as the sync knows it.
class CSyncedFile {
public:
    CSyncedFile(std::shared_ptr<CDiskSync> pSync, const std::string& strCameraID, void* pUser,
                const std::string& strPath, std::shared_ptr<openDisk> pDisk, OSL_FileHandle hFile)
        : m_pSync(std::move(pSync)),
          m_strCameraID(strCameraID),
          m_strPath(strPath),
          m_pDisk(std::move(pDisk)),
          m_pUser(pUser),
          m_file(hFile) {}
    CSyncedFile(const CSyncedFile&) = delete;
    CSyncedFile& operator=(const CSyncedFile&) = delete;

    /// After every write to the file.
    void NoteWritten() { m_bWritten.store(true, std::memory_order_release); }

    /// The file was closed: it is synced once more, and its channel is no longer told. Takes over
    /// `hReserved`, a handle of a file that has space to give back behind that (else
    /// OSL_INVALID_FILE).
    void Close(OSL_FileHandle hReserved);

    const std::string& CameraID() const { return m_strCameraID; }
    const std::string& Path() const { return m_strPath; }

private:
    friend class CDiskSync;

    const std::shared_ptr<CDiskSync> m_pSync;
    const std::string m_strCameraID, m_strPath;
    const std::shared_ptr<openDisk> m_pDisk;  // null: the file is synced by itself
    void* m_pUser;             // guarded by the sync's lock; null once the file is closed
    const OSL_OwnFile m_file;  // where it is synced by itself
    std::atomic<bool> m_bWritten{false};
    bool m_bOpen = true;  // guarded by the sync's lock
};

class CDiskSync : public std::enable_shared_from_this<CDiskSync> {
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
    /// Syncs a last time and ends; first of two steps.
    void Stop();
    /// Waits for the end. False: the thread is left behind, after so many milliseconds of silence,
    /// and nobody is told any more what it could not make durable.
    bool Wait(std::int64_t nPatience);

    /// Takes up a file that was opened for writing; whoever writes says so through the result. Null
    /// when there is no memory for it: then the file is synced with its neighbours or not at all.
    /// On the disk's thread.
    std::shared_ptr<CSyncedFile> Add(const std::string& strCameraID, void* pUser,
                                     const std::string& strPath, OSL_FileHandle hFile);
    /// CReservedFiles::Leave, before that.
    void LeaveReserved(const std::string& strPath) { m_objReserved.Leave(strPath); }

private:
    friend class CSyncedFile;

    using Files = std::vector<std::shared_ptr<CSyncedFile>>;

    void NoteClosed(CSyncedFile& file);
    void SyncAgainAndAgain();
    void Sync();
    std::shared_ptr<openDisk> DiskOf(const std::string& strPath);
    Files TakeWritten();
    Files TakeAll();
    std::set<std::string> TakeFolders();
    void SyncWhole(OSL_FileHandle hDisk, const Files& vFiles);
    void SyncEach(const Files& vFiles);
    void Report(const Files& vFiles, int nError);

    const std::string m_strRecDir;
    const OnFailure m_onFailure;
    std::uint32_t m_nInterval = 0;
    CReservedFiles m_objReserved;
    OSL_EventHandle m_hStop;          // behind what can throw when it is made
    std::weak_ptr<openDisk> m_pDisk;  // of the last file; the disk thread's

    OSL_Mutex m_mtx{OSL_LockRank::DiskSync, "disk sync"};
    bool m_bEnded OSL_GUARDED_BY(m_mtx) = false;
    Files m_vFiles OSL_GUARDED_BY(m_mtx);
    std::set<std::string> m_setFolders OSL_GUARDED_BY(m_mtx);  // with names not yet durable

    OSL_WatchedThread m_thread;
};

/// The syncs of all record directories.
class CDiskSyncs {
public:
    explicit CDiskSyncs(CDiskSync::OnFailure onFailure) : m_onFailure(std::move(onFailure)) {}

    /// Begins to sync a directory every so many milliseconds; 0: never. False: no thread. No other
    /// call may run meanwhile.
    bool Start(const std::string& strRecDir, std::uint32_t nInterval);
    /// Syncs a last time and ends. Those directories that give no answer for LAST_PATIENCE are
    /// logged, left behind and added to `setHung`. No other call may run meanwhile.
    void Stop(std::set<std::string>& setHung);

    /// The sync of a directory; null when it is not synced.
    std::shared_ptr<CDiskSync> Of(std::string_view strRecDir) const;

private:
    const CDiskSync::OnFailure m_onFailure;
    std::map<std::string, std::shared_ptr<CDiskSync>, std::less<>> m_mSyncs;
};

#endif  // LOCALSTORAGE_RECORD_DISKSYNC_H
