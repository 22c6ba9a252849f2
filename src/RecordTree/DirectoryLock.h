// The lock by which engines and tools keep off each other's record directories, and what else the
// file ".localstorage" that bears it tells of the directory.
//
// A lock on a file holds between machines too, where the file system forwards it; one on the
// directory itself, which earlier releases take alone, stays inside one machine. Both are taken.

#ifndef LOCALSTORAGE_RECORDTREE_DIRECTORYLOCK_H
#define LOCALSTORAGE_RECORDTREE_DIRECTORYLOCK_H

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

/// What the file of a record directory says, in lines of text.
struct directoryNote {
    std::string strIdentity;            ///< a UUID, made once
    std::optional<std::time_t> tInUse;  ///< when a run began that has not ended; seconds since 1970
};

/// What lies in the directory; empty where nothing can be read.
directoryNote ReadDirectoryNote(const std::string& strRecDir);

/// One thread at a time.
class CDirectoryLock {
public:
    CDirectoryLock() = default;
    ~CDirectoryLock() { Release(); }
    CDirectoryLock(const CDirectoryLock&) = delete;
    CDirectoryLock& operator=(const CDirectoryLock&) = delete;

    enum class NoFile { IsMade, IsLeft };

    /// Takes the lock without waiting for it; the file is made, with an identity, where there is
    /// none and `eNoFile` says so. Where it is held, takes it once more: a server that was started
    /// again has forgotten it. 0; EWOULDBLOCK: somebody else has it; else why there is no lock
    /// here. A directory without the file is locked as such.
    int Take(const std::string& strRecDir, NoFile eNoFile = NoFile::IsMade);
    /// Gives it back. Nothing, when it is not held.
    void Release();

    /// A path to the locked directory that holds although something is mounted over its own; empty
    /// where there is none.
    std::string Inside() const;

    /// What the file said when the lock was taken last; empty when there is no file.
    const directoryNote& Note() const { return m_stNote; }
    /// Notes in the file that a run began, or ended (nullopt). False: it could not be written. The
    /// lock is held.
    bool SetInUse(std::optional<std::time_t> tInUse);

private:
    int Refuse(int nError);
    void MakeIdentity();

    std::int64_t m_hFile = -1, m_hDir = -1;
    std::string m_strPath;  // of the file, while that is locked
    directoryNote m_stNote;
};

/// Whether a host has the directory now. Asking takes the lock for a moment.
bool IsInUse(const std::string& strRecDir);

#endif  // LOCALSTORAGE_RECORDTREE_DIRECTORYLOCK_H
