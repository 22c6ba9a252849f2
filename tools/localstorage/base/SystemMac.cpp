#include <cerrno>

#include "base/System.h"

const char* const STATE_BELOW_HOME = "Library/Logs";

long NanosecondsOfChange(const struct stat& st) {
    return st.st_mtimespec.tv_nsec;
}

int OpenNamelessFile(const std::string&) {
    errno = ENOTSUP;
    return -1;
}
