// The record directories, one per disk: which of them is current, and which failed a
// write.
//
// Free blocks are no proof of room: a disk can be out of inodes, over a quota, read-only or dying.
// So a directory remembers a failed write until it has been tried again.

#ifndef LOCALSTORAGE_RECORD_RECORDDIRS_H
#define LOCALSTORAGE_RECORD_RECORDDIRS_H

#include <list>
#include <map>
#include <string>
#include <vector>

#include "Osl/OslMutex.h"

/// Appends the "/" that every record directory ends in, where it lacks.
std::string WithSlash(std::string strPath);

/// Whether a failed write says that the disk takes no more, whatever its free space.
bool IsDiskError(int nError);

class CRecordDirs {
public:
    /// Takes the directories in the host's order, each ending in "/"; forgets everything about the
    /// ones before, except which was current. No other call may run meanwhile.
    void Assign(const std::list<std::string>& lsRecDir);
    /// The directories in the host's order.
    const std::vector<std::string>& All() const { return m_lsRecDir; }

    std::string Current() const;
    void SetCurrent(const std::string& strRecDir);

    /// Marks the directory below which making or writing `strPath` failed, if the error is one of
    /// the disk's. True when it was not marked before.
    bool NoteFailure(const std::string& strPath, int nError);
    /// The error of the failed write that a directory is marked with, or 0.
    int Failure(const std::string& strRecDir) const;
    void ClearFailure(const std::string& strRecDir);

private:
    std::vector<std::string> m_lsRecDir;  ///< changes in Assign only

    mutable OSL_Mutex m_mtxCurRecDir{OSL_LockRank::CurrentDirectory, "current directory"};
    std::map<std::string, int> m_mFailure OSL_GUARDED_BY(m_mtxCurRecDir);  ///< the marked ones
    std::string m_strCurRecDir OSL_GUARDED_BY(m_mtxCurRecDir);
};

#endif  // LOCALSTORAGE_RECORD_RECORDDIRS_H
