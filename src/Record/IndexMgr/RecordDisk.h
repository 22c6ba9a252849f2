// One record directory: the lock on it, what lies in it, and the threads that call its disk.
//
// Whatever runs on these threads owns the object, since they may be left behind on a disk that
// hangs.

#ifndef LOCALSTORAGE_INDEXMGR_RECORDDISK_H
#define LOCALSTORAGE_INDEXMGR_RECORDDISK_H

#include <atomic>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "IndexMgr/DiskCalls.h"
#include "IndexMgr/Index.h"
#include "IndexMgr/KestrelIndex.h"
#include "IndexMgr/RecordDir.h"
#include "localstorage/LocalStorage.h"

class CRecordDisk : public std::enable_shared_from_this<CRecordDisk> {
public:
    CRecordDisk(const std::string& strPath, bool bClientLayout, bool bRequireMount);
    CRecordDisk(const CRecordDisk&) = delete;
    CRecordDisk& operator=(const CRecordDisk&) = delete;

    const std::string& Path() const { return m_objDir.GetPath(); }
    CDiskCalls& Calls() { return m_objCalls; }

    // On its thread only, as all that calls the disk.

    /// What became of a directory that was made where it did not exist.
    enum class Meeting { Ready, IsOtherName, IsNotThere };
    /// Makes and locks it, unless it is one of these under another name: `pSame` receives which.
    Meeting Meet(const std::vector<std::shared_ptr<CRecordDisk>>& vOthers,
                 std::shared_ptr<CRecordDisk>& pSame);
    /// Opens its indexes below the record folder of this name, unless SetFolder has named another
    /// since. The result is that of CIndex::Initialize; see Fault.
    int Open(const char* pFolder, bool bAllTheSame);
    /// Takes over a disk that was mounted too late (CRecordDir::TakeOver): its indexes are opened
    /// as at the start, below the record folder that the process uses, and what stays below it is
    /// logged. Where they are to be repaired that is left to a job of its own. Not while the disk's
    /// turn is taken. Whether the directory may be used now.
    bool TakeOver();
    const std::string& Fault() const { return m_strFault; }
    /// The last step of its start, unless it is not open: gives back what a crash left reserved,
    /// before any file is opened.
    void BeginUse();
    /// Whether it may be used: its indexes are open, and its directory is there and ours.
    bool IsPresent() { return IsOpen() && m_objDir.IsPresent(); }
    /// The same of the disk that Disk told of then.
    bool IsPresent(int nDisk) { return IsOpen() && m_objDir.IsPresent(nDisk); }
    /// The days of one kind, once it is open.
    COldestDays& GetDays(StoreFileType eKind);
    /// Removes the entry of a file that turned out to be gone already. True: it is out of the index
    /// (client layout: there is none); false: its disk is not there or the file still is, and the
    /// entry stays.
    bool ForgetMissingFile(const recordPath& stPath);

    // Any thread.

    /// Whether the start has gone on without it.
    bool IsLate() const { return m_bLate; }
    void SetLate() { m_bLate = true; }
    /// Whether its indexes are open.
    bool IsOpen() const { return m_bOpen; }
    bool IsClientLayout() const { return m_bClientLayout; }
    /// The index; null in the client layout, and until it is open.
    CIndex* Index() const { return IsOpen() ? m_pIndex.load() : nullptr; }
    /// CRecordDir::Disk.
    int Disk() const { return m_objDir.Disk(); }
    /// CIndexMgr::WriteIndex for a file of this directory.
    void WriteIndex(const recordPath& stPath, CIndex::IndexType eIndexType);
    /// The folder that Open is to use; one that comes late opens nothing below another.
    void SetFolder(const char* pFolder) { m_pFolder = pFolder; }

    // The end, step by step, by one thread, after everything else. False: the disk has been silent
    // for so many milliseconds, and what is under way is left behind; it ends by itself when the
    // disk answers, and then unlocks the directory.

    void BeginEnd();
    /// Waits for the jobs under way, and has the index flushed.
    bool EndCalls(std::int64_t nPatience);
    /// Waits for that.
    bool EndIndex(std::int64_t nPatience);
    /// Notes that nothing is left open, and unlocks the directory.
    bool EndUse(std::int64_t nPatience);
    /// Ends without a flush, however long that takes.
    void Abandon();

private:
    /// The step of EndUse that calls the disk.
    bool UnlockOnThread(std::int64_t nPatience);
    /// Ends the disk's threads, or leaves them behind; false.
    bool LeaveCalls();
    int OpenIndex(const char* pFolder, bool bAllTheSame);
    /// The steps of TakeOver.
    bool LeaveForMounted();
    void OpenTakenOver();

    const bool m_bClientLayout;
    CRecordDir m_objDir;
    // Those but the last are of disks in whose place another was taken over: questions to them may
    // be under way. The disk's thread's, until that ends.
    std::vector<std::unique_ptr<CIndex>> m_vIndexes;
    std::atomic<CIndex*> m_pIndex{nullptr};  // the last that was open
    CKestrelIndex m_objRecordings, m_objPictures;
    Meeting m_eMeeting = Meeting::IsNotThere;
    std::string m_strFault;
    bool m_bOpenAgain = false;  // a disk that was taken over, for which something was short
    std::atomic<const char*> m_pFolder{nullptr};
    std::atomic<bool> m_bOpen{false}, m_bStopped{false}, m_bLate{false};
    CDiskCalls m_objCalls;  // the last member: its threads end before the others
};

/// Lives while record files below a record directory are made or removed and entered or taken out:
/// a crash in between is repaired by the next start, and so is an exception. Begin it, on the
/// disk's thread, before the first file.
class CIndexChange {
public:
    explicit CIndexChange(std::shared_ptr<CRecordDisk> pDisk);
    ~CIndexChange();
    CIndexChange(const CIndexChange&) = delete;
    CIndexChange& operator=(const CIndexChange&) = delete;

    /// Tries again what the beginning could not, and each further change has to; on the disk's
    /// thread.
    void MakeMarker();
    /// The index may lack what was done: the change does not end, so the marker stays for the next
    /// start. Any thread.
    void Leave() { m_bLeft = true; }

private:
    const std::shared_ptr<CRecordDisk> m_pDisk;
    CIndex* const m_pIndex;  // null: nothing to announce
    std::atomic<bool> m_bLeft{false};
    const int m_nExceptions = std::uncaught_exceptions();
};

#endif  // LOCALSTORAGE_INDEXMGR_RECORDDISK_H
