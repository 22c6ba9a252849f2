#include <cstring>
#include <unistd.h>

#include "Osl/OslPlatform.h"

int OSL_PlatformSync(int nFile) {
    return ::syncfs(nFile);
}

std::int64_t OSL_PlatformModifyNano(const struct stat& stStat) {
    return stStat.st_mtim.tv_nsec;
}

const char* OSL_PlatformErrorText(int nError, char* pText, std::size_t nSize) {
    return ::strerror_r(nError, pText, nSize);
}
