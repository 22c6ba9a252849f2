#include "Osl/OslHandle.h"

#include <cerrno>
#include <fcntl.h>

#include "Osl/Osl.h"
#include "Osl/OslCalls.h"

int OSL_OpenHandle(const char* pPath, int nFlags) {
    // O_NONBLOCK: a pipe that somebody put in a file's place must not hang us; files ignore it.
    const int nAlways = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    return OSL_Uninterrupted([=] { return OSL_Call().pfnOpen(pPath, nFlags | nAlways, 0666); });
}

void OSL_CloseHandle(int nFile) {
    const int nError = errno;
    OSL_Call().pfnClose(nFile);
    errno = nError;
}

std::uint16_t OSL_TypeOfMode(mode_t nMode) {
    if (S_ISDIR(nMode)) return OSL_TYPE_DIR;
    if (S_ISREG(nMode)) return OSL_TYPE_FILE;
    return S_ISLNK(nMode) ? OSL_TYPE_LINK : OSL_TYPE_OTHER;
}
