#include <limits>

#include "FileSystem/FileSystem.h"

bool VerifyDuplicateDisk(const std::list<std::string>& lsRecDir) {
    return lsRecDir.empty();
}

bool GetDiskUsableSpace(const char* pPath, std::uint64_t& nUsableSpace) {
    nUsableSpace = 0;
    OSL_DISK_SPACE stSpace;
    if (OSL_GetDiskSpace(pPath, stSpace) != 0 || stSpace.nBlockSize == 0) return false;
    constexpr std::uint64_t MOST = std::numeric_limits<std::uint64_t>::max();
    // Some network file systems claim more bytes than 64 bits can count.
    const bool bFits = stSpace.nFreeBlocks <= MOST / stSpace.nBlockSize;
    nUsableSpace = (bFits ? stSpace.nFreeBlocks * stSpace.nBlockSize : MOST) >> 20;
    return true;
}
