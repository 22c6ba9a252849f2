#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <mach-o/dyld.h>
#include <sys/param.h>

#include "base/System.h"

const char* const STATE_BELOW_HOME = "Library/Logs";

std::string ProgramFolder() {
    char szPath[MAXPATHLEN];
    std::uint32_t nSize = sizeof(szPath);
    if (_NSGetExecutablePath(szPath, &nSize) != 0) return {};
    std::error_code stError;
    return std::filesystem::canonical(szPath, stError).parent_path();
}

long NanosecondsOfChange(const struct stat& st) {
    return st.st_mtimespec.tv_nsec;
}

int OpenNamelessFile(const std::string&) {
    errno = ENOTSUP;
    return -1;
}
