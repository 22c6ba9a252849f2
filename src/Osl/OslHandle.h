// What the files of this room share about the system's file descriptors and modes.

#ifndef LOCALSTORAGE_OSL_OSLHANDLE_H
#define LOCALSTORAGE_OSL_OSLHANDLE_H

#include <cerrno>
#include <cstdint>
#include <sys/types.h>

#include "Osl/Osl.h"

/// Calls again what a signal interrupted; the call's result.
template <typename Call>
auto OSL_Uninterrupted(Call call) {
    auto nResult = call();
    while (nResult < 0 && errno == EINTR) nResult = call();
    return nResult;
}

/// open() with close-on-exec; -1 and errno on failure.
int OSL_OpenHandle(const char* pPath, int nFlags);

/// Closes and leaves errno as it is, for the way out of a failure.
void OSL_CloseHandle(int nFile);

/// The modes of files and of directories that other users may share (OSL_SetPrivateModes).
mode_t OSL_FileMode();
mode_t OSL_DirMode();

/// OSL_TYPE_... of a file mode.
std::uint16_t OSL_TypeOfMode(mode_t nMode);

/// fstatat.
int OSL_GetInfoAt(int nDir, const char* pPath, OSL_FINFO_S& stInfo, int nFlags);

#endif  // LOCALSTORAGE_OSL_OSLHANDLE_H
