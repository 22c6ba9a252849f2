// One record directory: its identity, by which its disk is known when it comes back, and the lock
// that keeps other engines out.

#ifndef LOCALSTORAGE_INDEXMGR_RECORDDIR_H
#define LOCALSTORAGE_INDEXMGR_RECORDDIR_H

#include <atomic>
#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>

#include "Osl/Osl.h"
#include "Osl/OslMutex.h"
#include "RecordTree/DirectoryLock.h"

class CRecordDir {
public:
    /// `strPath` as it is used in paths, with "/" and a name behind it. With `bRequireMount` a
    /// directory on the root's file system is none yet: it awaits a disk, which TakeOver takes.
    explicit CRecordDir(std::string strPath, bool bRequireMount = false);
    /// Gives the lock back.
    ~CRecordDir();
    CRecordDir(const CRecordDir&) = delete;
    CRecordDir& operator=(const CRecordDir&) = delete;

    const std::string& GetPath() const { return m_strPath; }

    /// Makes the directory where it does not exist, and remembers its file system. One that cannot
    /// be made is logged; it may be made later.
    void Make();

    /// Whether the directory may be used: it lies on the remembered file system, or on one that
    /// bears its identity (a mount that was lost may come back under another number), and no other
    /// engine has it locked. A path that does not exist lies where its nearest existing parent
    /// lies. Any thread.
    ///
    /// Asking locks the directory: the first time, when its disk has come back, when it was made
    /// anew, and again every time, since a file system of another machine may lose a lock and tell
    /// nobody. One that cannot be locked for any other reason than another engine is logged and
    /// used without a lock until that works.
    ///
    /// A directory that Make could not make is remembered when it is there at last; not, when it
    /// came with recordings, which the index does not know: that is for TakeOver.
    bool IsPresent();
    /// The same of one of the disks that have lain there: the n-th that was taken over.
    bool IsPresent(int nDisk) { return IsPresent() && nDisk == m_nDisk; }
    /// Which of them is meant from now on; 0 before any was taken over. Any thread.
    int Disk() const { return m_nDisk; }

    /// Takes over the disk that is mounted over the directory, if that held no recording or picture
    /// when it was made: locks it, and remembers it in place of what lay there. Null: there is
    /// none, or another engine has it, which is logged. Else the lock on what lay there, not held
    /// where nothing did. A disk that only came to light because another was pulled stays a
    /// stranger: it is mounted over a directory if that lies on the file system of one above it.
    std::unique_ptr<CDirectoryLock> TakeOver();
    /// Whether it only marks, so far, where a disk is going to be mounted.
    bool AwaitsMount();

    /// Whether it was not present for a while: others may have changed what lies in it. Any thread.
    bool WasAway() const { return m_bWasAway; }

    /// Notes in its file that a run begins, which may leave files with space reserved. When the
    /// last one began, if it did not end.
    std::optional<std::time_t> BeginUse();
    /// Notes that it ended and left none, and gives the lock back.
    void EndUse();

    /// True when both paths lead to one directory, whatever their names.
    bool IsSame(const CRecordDir& other) const;

private:
    struct Identity {
        std::uint64_t nDevice, nInode;
        bool operator==(const Identity&) const = default;
    };

    std::optional<Identity> GetIdentity() const;
    bool HoldsNothing() const;
    bool IsSameDisk() const OSL_REQUIRES(m_mtx);
    bool IsMountedOver() const OSL_REQUIRES(m_mtx);
    bool Lock() OSL_REQUIRES(m_mtx);
    void Unlock() OSL_REQUIRES(m_mtx);

    const std::string m_strPath;
    const bool m_bRequireMount;
    OSL_Mutex m_mtx;
    std::optional<Identity> m_identity OSL_GUARDED_BY(m_mtx);  // none: has never been there
    std::string m_strDiskID OSL_GUARDED_BY(m_mtx);             // of its file; empty: it has none
    std::unique_ptr<CDirectoryLock> m_pLock OSL_GUARDED_BY(m_mtx);
    bool m_bEmpty OSL_GUARDED_BY(m_mtx) = false;  // nothing was recorded there before this run
    bool m_bInUse OSL_GUARDED_BY(m_mtx) = false;
    bool m_bAwaitsMount OSL_GUARDED_BY(m_mtx) = false;
    int m_nLockError OSL_GUARDED_BY(m_mtx) = 0;  // why it is not locked; was logged
    std::atomic<bool> m_bWasAway{false};
    std::atomic<int> m_nDisk{0};
};

#endif  // LOCALSTORAGE_INDEXMGR_RECORDDIR_H
