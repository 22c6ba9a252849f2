// A record directory as a whole: making it, and the disk that it lies on. No state, any thread.

#ifndef LOCALSTORAGE_RECORDTREE_RECORDDIRECTORY_H
#define LOCALSTORAGE_RECORDTREE_RECORDDIRECTORY_H

#include <cstdint>
#include <string>

#include "Osl/Osl.h"
#include "localstorage/LocalStorage.h"

/// Makes the directory and those above it, open to every user where it was not there before.
/// Returns 0, or the system's error number.
int MakeRecordDirectory(const std::string& strDir);

/// The attributes of a path, or of its nearest existing parent. The root always has some.
bool GetNearestInfo(std::string strPath, OSL_FINFO_S& stInfo);

/// Whether a path, or its nearest existing parent, lies on the root's file system: no disk is
/// mounted there.
bool LiesOnRootDisk(const std::string& strPath);

/// Where a directory lies and how much is free there, which several directories may share.
struct diskRoom {
    std::uint64_t nDevice = 0;     ///< 0: the system cannot tell
    std::uint64_t nFreeBytes = 0;  ///< as the engine counts them: whole MiB that it may use

    /// Whether that is too little to record there, unless the host has set another limit.
    bool IsFull() const { return nFreeBytes >> 20 <= LOCALSTORAGE_DISK_FULL_SPACE; }
};
diskRoom DiskRoomOf(const std::string& strDir);

#endif  // LOCALSTORAGE_RECORDTREE_RECORDDIRECTORY_H
