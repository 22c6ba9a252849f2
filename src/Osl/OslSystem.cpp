#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "Osl/Osl.h"
#include "Osl/OslPlatform.h"

int OSL_Init() {
    return 0;
}

void OSL_Fini() {}

int OSL_GetSystemLastError() {
    return errno;
}

bool OSL_IsShortage(int nError) {
    return nError == EMFILE || nError == ENFILE || nError == ENOMEM || nError == EINTR ||
           nError == EAGAIN;
}

const char* OSL_ErrorText(int nError, char* pText, std::size_t nSize) {
    char szText[128];
    std::snprintf(pText, nSize, "%s", OSL_PlatformErrorText(nError, szText, sizeof(szText)));
    return pText;
}

void OSL_OutputDebugString(const char* pText) {
    std::fputs(pText, stderr);
}

bool OSL_IsDebugOutputJournal() {
    const char* pStream = std::getenv("JOURNAL_STREAM");
    struct stat st = {};
    if (!pStream || fstat(STDERR_FILENO, &st) != 0) return false;
    return pStream == std::to_string(st.st_dev) + ":" + std::to_string(st.st_ino);
}

void OSL_OutputDebug(const char* pFormat, ...) {
    char szText[1024];
    va_list args;
    va_start(args, pFormat);
    std::vsnprintf(szText, sizeof(szText), pFormat, args);
    va_end(args);
    OSL_OutputDebugString(szText);
    OSL_OutputDebugString("\n");
}
