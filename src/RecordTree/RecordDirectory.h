// A record directory as a whole: making it, the lock by which engines keep off each other, and the
// disk that it lies on. No state, any thread.

#ifndef LOCALSTORAGE_RECORDTREE_RECORDDIRECTORY_H
#define LOCALSTORAGE_RECORDTREE_RECORDDIRECTORY_H

#include <cstdint>
#include <string>

/// Makes the directory and those above it, open to every user where it was not there before.
/// Returns 0, or the system's error number.
int MakeRecordDirectory(const std::string& strDir);

/// The lock that a running engine holds on its record directory, without waiting for it.
class CDirectoryLock {
public:
    explicit CDirectoryLock(const std::string& strDir);
    ~CDirectoryLock();
    CDirectoryLock(const CDirectoryLock&) = delete;
    CDirectoryLock& operator=(const CDirectoryLock&) = delete;

    /// 0: it is held; EWOULDBLOCK: somebody else has it; else why it could not be taken.
    int Error() const { return m_nError; }

private:
    std::int64_t m_hLock;
    int m_nError;
};

/// Where a directory lies and how much is free there, which several directories may share.
struct diskRoom {
    std::uint64_t nDevice = 0;     ///< 0: the system cannot tell
    std::uint64_t nFreeBytes = 0;  ///< as the engine counts them: whole MiB that it may use
};
diskRoom DiskRoomOf(const std::string& strDir);

#endif  // LOCALSTORAGE_RECORDTREE_RECORDDIRECTORY_H
