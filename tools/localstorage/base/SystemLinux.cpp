#include "base/System.h"

const char* const STATE_BELOW_HOME = ".local/state";

long NanosecondsOfChange(const struct stat& st) {
    return st.st_mtim.tv_nsec;
}
