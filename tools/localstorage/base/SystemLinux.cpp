#include <fcntl.h>
#include <filesystem>

#include "base/System.h"

const char* const STATE_BELOW_HOME = ".local/state";

std::string ProgramFolder() {
    std::error_code stError;
    return std::filesystem::read_symlink("/proc/self/exe", stError).parent_path();
}

long NanosecondsOfChange(const struct stat& st) {
    return st.st_mtim.tv_nsec;
}

int OpenNamelessFile(const std::string& strDir) {
    return open(strDir.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
}
