// The index manager: the one object through which the engine reaches the indexes of its record
// directories.
//
// It owns one index per record directory, locks the directories against other engines, and sends
// every change and every question to the right index. The remote-backup layout has a binary index
// (CIndex); the client layout is found by scanning (CKestrelIndex).
//
// Threads: Initialize and Release must not overlap any other call. All other operations may come
// from any threads at once; each index has its own lock, which is never held across a callback or a
// call to a disk. Disks are called on their own threads (CRecordDisk), so nothing here waits longer
// than DiskCalls.h says for one that hangs.

#ifndef LOCALSTORAGE_INDEXMGR_INDEXMGR_H
#define LOCALSTORAGE_INDEXMGR_INDEXMGR_H

#include <cstdint>
#include <functional>
#include <future>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "IndexMgr/OldestDay.h"
#include "RecordTree/RecordPath.h"
#include "localstorage/LocalStorage.h"

class CRecordDisk;

class CIndexMgr {
public:
    /// Layout of the storage. Any other value makes every operation do nothing.
    enum StorageType : std::uint32_t {
        STORAGE_TYPE_RECORD = 0,  ///< remote backup: binary index
        STORAGE_TYPE_KESTREL = 1  ///< client layout: scanned
    };

    /// What WriteIndex does.
    enum IndexType : std::uint32_t {
        INDEX_TYPE_ADD = 0,
        INDEX_TYPE_NONE = 1,  ///< Deliberate: nothing, like any other value
        INDEX_TYPE_DELETE = 2
    };

    CIndexMgr();
    /// With `bRequireMount` no directory on the root's file system is used: see CRecordDir.
    explicit CIndexMgr(StorageType enumStorageType, bool bRequireMount = false);
    /// Call Release first: what is still held is dropped without a last flush.
    virtual ~CIndexMgr();
    CIndexMgr(const CIndexMgr&) = delete;
    CIndexMgr& operator=(const CIndexMgr&) = delete;

    /// Makes each directory that does not exist, locks it, and builds its index (reading, checking
    /// and if need be repairing it). They are named without a "/" at the end, here and in all that
    /// follows; one listed twice gets one index. 0: ready; 1: failed, or another engine holds a
    /// directory; 2: an index could be neither read nor repaired. After a failure call Release; it
    /// may then be called again.
    ///
    /// Chooses the record folder for all of them: "RecordFile", or "BackupFile" where one of them
    /// is beyond repair. Where "RecordFile" can be used, what "BackupFile" holds is moved into it.
    ///
    /// A disk that gives no answer for LAST_PATIENCE is logged and gone on without: its directory
    /// is not present, and nothing of it found, until it has answered and its index is read.
    int Initialize(const std::list<std::string>& lsRecDir);
    /// The name of the record folder below every directory of this manager: one of Names.h, the
    /// same from Initialize to Release.
    const char* RecordFolder() const { return m_pFolder; }
    /// Writes every index a last time, unlocks the directories and forgets everything. A disk that
    /// gives no answer for LAST_PATIENCE is logged and left behind: its directory stays locked
    /// until it has answered. Those of `setHung` are known to give none, and it receives the
    /// others.
    void Release(std::set<std::string>& setHung);
    void Release();

    /// One of the directories, to call its disk: null for an unknown one.
    std::shared_ptr<CRecordDisk> Disk(std::string_view strRecDir) const;

    /// Enters or removes a record file; removing one that has no entry changes nothing. One that no
    /// index holds, or that lies in no directory of this manager, is logged and changes nothing.
    /// Remote-backup layout only. The file itself is not touched.
    void WriteIndex(const recordPath& stPath, IndexType eIndexType);

    /// Appends the paths of a channel's recordings that overlap [start, end), of all directories,
    /// sorted by path, to `lsRecFile` (merging, if it holds sorted paths) and returns how many.
    /// Days are filtered first: a recording that began on a day before that of `start` is not
    /// found. Remote-backup layout only.
    int QueryRecFile(const std::string& strChannel, RecFileType enumRecFileType,
                     const fileTimeInfo& stStart, const fileTimeInfo& stEnd,
                     std::list<std::string>& lsRecFile);

    /// The oldest day of all directories, without those passed over, with its files: those of the
    /// index, and those that lie in its folders under a valid name without an entry. False: no day
    /// is left, the pass ends. A day without any file can be tidied and passed over. A day whose
    /// folder is gone leaves the index, and its directory is left out this once.
    bool QueryOldestRecFile(oldestDay& day, const passedOver& stPassedOver = {});

    /// The same for snapshot pictures. Deliberate: the remote-backup layout never overwrites
    /// pictures and answers nothing.
    bool QueryOldestImgFile(oldestDay& day, const passedOver& stPassedOver = {});

    /// True for a path that leads to a directory listed before it under another name.
    bool IsOtherName(const std::string& strRecDir) const;

private:
    using DiskPtr = std::shared_ptr<CRecordDisk>;

    int Meet(const DiskPtr& pDisk, std::vector<DiskPtr>& vMet);
    int OpenIndexes();
    void BeginUse();
    int OpenBelow(const char* pFolder, bool bAllTheSame);
    int SwitchToBackup(bool bAllTheSame);
    bool MoveBackups();
    bool HasFolder(const char* pFolder) const;
    template <typename Result>
    bool AwaitFirst(const DiskPtr& pDisk, const std::future<Result>& future);
    bool QueryOldestDay(StoreFileType eKind, const char* pMethod, const passedOver& stPassedOver,
                        oldestDay& day);

    // By path, in the order in which equal days are chosen and results merged.
    std::map<std::string, DiskPtr, std::less<>> m_mDisks;
    // Other names of the same directories.
    std::vector<std::pair<std::string, DiskPtr>> m_vAliases;
    StorageType m_enumStorageType;
    const bool m_bRequireMount;
    const char* m_pFolder;
    std::string m_strFault;  // why an index is beyond repair
};

#endif  // LOCALSTORAGE_INDEXMGR_INDEXMGR_H
