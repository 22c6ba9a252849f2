// The index of one record directory in the remote-backup layout: held in memory, flushed to the
// index files every three minutes and at release, rebuilt from the tree when the files are damaged
// or not up to date. How files, changes, flushes and repair keep each other true: IndexFiles.h.
//
// Threads: Initialize and Release must not overlap any other call. WriteIndex and the queries may
// come from any threads; m_mutexIndex is held for a change, a query or a snapshot, and never while
// the disk is called: a query waits for no disk. The calls that make or remove the marker have a
// mutex of their own.

#ifndef LOCALSTORAGE_INDEXMGR_INDEX_H
#define LOCALSTORAGE_INDEXMGR_INDEX_H

#include <atomic>
#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "IndexMgr/OldestDay.h"
#include "IndexMgr/RecordDir.h"
#include "Osl/Osl.h"
#include "Osl/OslMutex.h"
#include "Osl/OslWatchedThread.h"
#include "RecordTree/IndexFiles.h"
#include "RecordTree/IndexTree.h"
#include "RecordTree/Names.h"

struct repairPlan;

class CIndex : public COldestDays {
public:
    /// What WriteIndex does.
    enum IndexType : std::uint32_t {
        INDEX_TYPE_ADD = 0,
        INDEX_TYPE_NONE = 1,
        INDEX_TYPE_DELETE = 2
    };

    /// Of the disk that is meant by `pRecordDir` (may be null: always present), which tells whether
    /// it is there; that must outlive this object. Once another disk is taken over in its place,
    /// the index neither calls the disk nor changes any more.
    explicit CIndex(CRecordDir* pRecordDir = nullptr);
    /// Call Release first.
    ~CIndex() override;
    CIndex(const CIndex&) = delete;
    CIndex& operator=(const CIndex&) = delete;

    /// What becomes of an index that can be neither read nor repaired.
    enum class BeyondRepair {
        IsRefused,
        IsReadAllTheSame  ///< what its files say is better than nothing
    };
    /// Reads the index of a record directory (no "/" at its end) below the record folder of this
    /// name (one of Names.h), checks and if need be repairs it, and starts the writer thread. 0:
    /// ready (also when it was already); 1: no handle, memory or thread, or reading failed; 2:
    /// refused as beyond repair. What is wrong with the disk is tried again once, after a second.
    /// The writer thread owns `pOwner`, which owns this object, so that it may be left behind.
    int Initialize(const std::string& strRecDir, const char* pFolder = RECORD_FOLDER,
                   BeyondRepair eBeyond = BeyondRepair::IsRefused,
                   std::shared_ptr<const void> pOwner = nullptr);
    /// Why Initialize did not give 0, in words; empty when a thread or reading failed.
    const std::string& Fault() const { return m_strFault; }
    /// Begins a Release: the writer thread flushes a last time and ends.
    void EndWriter() { OSL_SetEvent(m_hWriteEvent); }
    /// Flushes a last time, stops the writer thread and forgets the index. False: the thread, and
    /// the index with it, is left behind after so many milliseconds of silence. An object is
    /// initialised once in its life.
    bool Release(std::int64_t nPatience = OSL_FOREVER);
    /// Release without the flush: for an index that was read under another record folder's name.
    void Abandon();

    /// Announces that record files come or go until EndChange, so that a crash in between is
    /// repaired. May be nested.
    void BeginChange();
    /// Has the marker stand, or tries to: before each of these files. Calls the disk.
    void MakeMarker();
    void EndChange();

    /// Enters or removes one record file; anything but add and delete changes nothing. One with
    /// which too many others begin together (CFileList::MAX_TOGETHER) is logged and stays out.
    /// Within a change the disk is not called.
    void WriteIndex(const indexLevel1Body& stLevel1, const indexLevel2Body& stLevel2,
                    const indexLevel3Body& stLevel3, IndexType eIndexType);

    /// Appends the paths of the recordings that the query finds, in the order of the index: days,
    /// then channels, then files. Returns how many.
    int QueryRecFile(const indexLevel2Body& stChannel, RecFileType enumRecFileType,
                     const fileTimeInfo& stStart, const fileTimeInfo& stEnd,
                     std::list<std::string>& lsRecFile);

    /// The oldest day that is not passed over, with its folder's modification time. False: there is
    /// none, its folder is gone (it then leaves the index), or the disk is not there.
    bool GetOldestDate(const PassedOverDays& setPassedOver, dayOffer& offer) override;
    /// Appends the paths of all files of a day: those of the index, and those that lie in its
    /// folders under a valid name without an entry.
    void ListDay(const dayFolder& stDay, std::vector<recordPath>& vFiles) override;

    /// Writes what changed since the last flush to the index files. Deliberate: an index without
    /// any recording is not written; its files stay as they were. One thread at a time (the
    /// writer).
    void WriteIndexToFile();

    /// Number of recordings.
    std::size_t CountFiles();

private:
    // How a step of Initialize ended. Shortage says nothing of the disk.
    enum class Step { Done, Failed, Shortage };
    enum class Attempt { First, Last };

    // Index.cpp
    int CountChange();
    void WriteFlushes();
    void AddEntry(const indexLevel1Body& stLevel1, const indexLevel2Body& stLevel2,
                  const indexLevel3Body& stLevel3) OSL_REQUIRES(m_mutexIndex);
    std::string GetRecordFolder() const { return m_strPrevRecPath + "/" + m_pFolder; }
    Step CheckOrRepair();
    int LeaveInitialize(int nResult);
    Step Fail(const char* pWhat, const std::string& strPath, int nError);
    bool IsPresent() const { return !m_pRecordDir || m_pRecordDir->IsPresent(m_nDisk); }
    bool WasAway() const { return m_pRecordDir && m_pRecordDir->WasAway(); }
    void ClearIndex();

    // IndexLoad.cpp
    Step CheckIndex();
    bool ReadIndex();
    void TakeTree(CIndexTree tree, std::uint64_t nFlushed);

    // IndexFlush.cpp
    void HaveMarker() OSL_REQUIRES(m_mtxMarker);
    bool RenewMarker();
    void RemoveMarker() OSL_REQUIRES(m_mtxMarker);
    void ForgetMarkerWithFolder() OSL_REQUIRES(m_mutexIndex);
    bool IsSettled();
    bool TakeSnapshot(indexSnapshot& snapshot);
    void FinishFlush(indexSnapshot& snapshot, bool bWritten);

    // IndexRepair.cpp
    Step RepairIndex(Attempt eAttempt);
    Step JudgeUnreadable(const repairPlan& plan, Attempt eAttempt);
    bool DisownIndex(const std::string& strFolder) const;
    Step BeginAnew(const std::string& strFolder, const repairPlan& plan);
    void LogRepair(const char* pWhat) const;
    void LogNothingFound(const repairPlan& plan) const;
    static void LogCrowded(const char* pMethod, const std::string& strPath);

    // IndexQuery.cpp
    bool FindOldestDay(const PassedOverDays& setPassedOver, dayFolder& stDay);
    void ForgetDay(const dateInfo& stDate);
    void AddListed(const dayFolder& stDay, std::vector<recordPath>& vFiles);

    std::string m_strPrevRecPath;  // the record directory; empty while not initialised
    const char* m_pFolder = RECORD_FOLDER;
    std::string m_strFault;
    bool m_bInit = false;
    bool m_bRead = false;      // the tree holds what is on disk, or a repair made
    bool m_bDoubtful = false;  // the tree may lack recordings, or the files may not be replaced
    OSL_EventHandle m_hWriteEvent = nullptr;
    CRecordDir* const m_pRecordDir;
    const int m_nDisk;  // CRecordDir::Disk

    OSL_Mutex m_mtxMarker{OSL_LockRank::IndexMarker, "m_mtxMarker"};
    bool m_bMarkerFailed OSL_GUARDED_BY(m_mtxMarker) = false;  // and that was logged
    std::atomic<bool> m_bMarker{false};                        // "index.dirty" stands

    OSL_Mutex m_mutexIndex;
    CIndexTree m_objTree OSL_GUARDED_BY(m_mutexIndex);
    std::uint64_t m_nFlushed OSL_GUARDED_BY(m_mutexIndex) = 0;  // version of the last flush
    int m_nChanging OSL_GUARDED_BY(m_mutexIndex) = 0;           // changes begun and not ended

    OSL_WatchedThread m_writer;  // the last member: it ends before the others
};

#endif  // LOCALSTORAGE_INDEXMGR_INDEX_H
