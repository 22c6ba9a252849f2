// One look at the disk of a record directory, and the one place where a disk is asked. What follows
// from looks is decided in DiskChoice.h.

#ifndef LOCALSTORAGE_RECORD_DISKLOOK_H
#define LOCALSTORAGE_RECORD_DISKLOOK_H

#include <cstdint>
#include <optional>

class CRecordDisk;

/// What is known of a disk. One that was never looked at is not present.
struct diskLook {
    bool bPresent = false;  ///< the directory is there, on its own disk, and no other engine has it
    std::optional<std::uint64_t> nUsableSpace;  ///< MiB; none when it cannot be told
    int nFailure = 0;      ///< the error with which it failed to take a file; 0: it takes files
    bool bSilent = false;  ///< it does not answer: what it answered last is old
};

/// Looks at the disk of a record directory, and makes the directory where it is missing but its
/// disk is not. A disk that failed with `nFailure` (0: it did not) is tried, unless it lacks room
/// as it did then. On the disk's thread.
diskLook LookAtDisk(CRecordDisk& disk, int nFailure);

/// Makes a record directory that is missing, unless its disk is, and takes over one that was
/// mounted too late. True when it is there. On the disk's thread.
bool MakeRecDir(CRecordDisk& disk);

#endif  // LOCALSTORAGE_RECORD_DISKLOOK_H
