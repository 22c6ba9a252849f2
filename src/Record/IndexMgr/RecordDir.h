// One record directory: its identity on its disk, and the lock that keeps other engines out.

#ifndef LOCALSTORAGE_INDEXMGR_RECORDDIR_H
#define LOCALSTORAGE_INDEXMGR_RECORDDIR_H

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "Osl/Osl.h"

class CRecordDir {
public:
    /// `strPath` as it is used in paths, with "/" and a name behind it.
    explicit CRecordDir(std::string strPath);
    /// Gives the lock back.
    ~CRecordDir();
    CRecordDir(const CRecordDir&) = delete;
    CRecordDir& operator=(const CRecordDir&) = delete;

    const std::string& GetPath() const { return m_strPath; }

    /// Makes the directory where it does not exist, and remembers its file system. One that cannot
    /// be made is logged; it may be made later.
    void Make();
    /// Keeps other engines out. False only when another engine is in; a directory that cannot be
    /// locked for any other reason is logged and used without a lock.
    bool Lock();
    /// To be told when the directory, missing until then, has been made: remembers its file system
    /// and locks it.
    void Made();

    /// False while the path lies on another file system than the remembered one. A path that does
    /// not exist lies where its nearest existing parent lies. Any thread.
    bool IsPresent() const;

    /// True when both paths lead to one directory, whatever their names.
    bool IsSame(const CRecordDir& other) const;

private:
    void Remember();

    const std::string m_strPath;
    OSL_FileHandle m_hLock = OSL_INVALID_FILE;
    std::uint64_t m_nInode = 0;
    std::atomic<std::uint64_t> m_nDevice{0};
    std::atomic<bool> m_bKnown{false};  // m_nDevice holds what it is to hold
};

#endif  // LOCALSTORAGE_INDEXMGR_RECORDDIR_H
