// The index manager: the one object through which the engine reaches the indexes of its record
// directories.
//
// It owns one index per record directory, locks the directories against other engines, and sends
// every change and every question to the right index. The remote-backup layout has a binary index
// (CIndex); the client layout is found by scanning (CKestrelIndex).
//
// Threads: Initialize and Release must not overlap any other call. All other operations may come
// from any threads at once; each index has its own lock, which is never held across a callback.

#ifndef LOCALSTORAGE_INDEXMGR_INDEXMGR_H
#define LOCALSTORAGE_INDEXMGR_INDEXMGR_H

#include <cstdint>
#include <exception>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "IndexMgr/OldestDay.h"
#include "RecordTree/RecordPath.h"
#include "localstorage/LocalStorage.h"

class CIndex;
class CKestrelIndex;
class CRecordDir;

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
    explicit CIndexMgr(StorageType enumStorageType);
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
    int Initialize(const std::list<std::string>& lsRecDir);
    /// The name of the record folder below every directory of this manager: one of Names.h, the
    /// same from Initialize to Release.
    const char* RecordFolder() const { return m_pFolder; }
    /// Writes every index a last time, unlocks the directories and forgets everything.
    void Release();

    /// Lives while record files below a record directory are made or removed and entered or taken
    /// out: a crash in between is repaired by the next start, and so is an exception. Begin it
    /// before the first file.
    class CChange {
    public:
        CChange(const CIndexMgr& mgr, std::string_view strRecDir);
        ~CChange();
        CChange(const CChange&) = delete;
        CChange& operator=(const CChange&) = delete;

    private:
        CIndex* const m_pIndex;  // null: nothing to announce
        const int m_nExceptions = std::uncaught_exceptions();
    };

    /// Enters or removes a record file; removing one that has no entry changes nothing. One that no
    /// index holds, or that lies in no directory of this manager, is logged and changes nothing.
    /// Remote-backup layout only. The file itself is not touched.
    void WriteIndex(const recordPath& stPath, IndexType eIndexType);

    /// Removes the entry of a file that turned out to be gone already. True: it is out of the index
    /// (client layout: there is none); false: its disk is not there or the file still is, and
    /// the entry stays.
    bool ForgetMissingFile(const recordPath& stPath);

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

    /// False while the directory does not lie on the file system on which it lay at Initialize (or
    /// when it was made): its disk was pulled; and while another engine has it. Then it has no
    /// room, nothing may be made below it, and nothing in it counts as gone. Unknown directories
    /// are present.
    ///
    /// Ask once more after making one that was missing, and before using it: that locks it.
    bool IsDirPresent(const std::string& strRecDir) const;

    /// True for a path that leads to a directory listed before it under another name.
    bool IsOtherName(const std::string& strRecDir) const;

private:
    struct Entry;

    int AddDirectory(const std::string& strPath);
    int OpenIndexes();
    void BeginUse();
    int OpenBelow(const char* pFolder, bool bAllTheSame);
    int OpenIndex(Entry& entry, bool bAllTheSame);
    int SwitchToBackup(bool bAllTheSame);
    bool MoveBackups();
    bool HasFolder(const char* pFolder) const;
    Entry* FindEntry(std::string_view strRecDir) const;
    /// Its index; null for an unknown directory, and in the client layout.
    CIndex* FindIndex(std::string_view strRecDir) const;
    bool QueryOldestDay(StoreFileType eKind, const char* pMethod, const passedOver& stPassedOver,
                        oldestDay& day);

    // By path, in the order in which equal days are chosen and results merged.
    std::map<std::string, std::unique_ptr<Entry>, std::less<>> m_mIndex;
    // Other names of the same directories.
    std::vector<std::pair<std::string, Entry*>> m_vAliases;
    StorageType m_enumStorageType;
    const char* m_pFolder;
    std::string m_strFault;  // why an index is beyond repair
};

#endif  // LOCALSTORAGE_INDEXMGR_INDEXMGR_H
