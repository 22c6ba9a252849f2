// What each platform must provide itself: OslLinux.cpp, OslMac.cpp. The build picks the file.

#ifndef LOCALSTORAGE_OSL_OSLPLATFORM_H
#define LOCALSTORAGE_OSL_OSLPLATFORM_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>

/// Makes the file system that the open file lies on durable; -1 and errno on failure.
int OSL_PlatformSync(int nFile);

/// 0 when OSL_PlatformSync does what it promises where `pPath` lies, else -1 and errno: network and
/// user-space file systems answer it and do nothing.
int OSL_PlatformCanSync(const char* pPath);

/// Makes the content of the open file durable; -1 and errno on failure.
int OSL_PlatformSyncData(int nFile);

/// Reserves so many bytes of disk behind the end of the open file without changing its size; -1 and
/// errno on failure.
int OSL_PlatformReserve(int nFile, off_t nLength);

/// OSL_PathOfHandle.
std::string OSL_PlatformPathOf(int nFile);

/// Nanoseconds of the time of the last change of the content.
std::int64_t OSL_PlatformModifyNano(const struct stat& stStat);

/// The system's words for an error number, thread-safe, in `pText` or in static storage.
const char* OSL_PlatformErrorText(int nError, char* pText, std::size_t nSize);

#endif  // LOCALSTORAGE_OSL_OSLPLATFORM_H
