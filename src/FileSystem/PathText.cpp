#include <algorithm>
#include <cstring>

#include "FileSystem/FileSystem.h"

std::string_view WithoutTrailingSlashes(std::string_view strPath) {
    return strPath.substr(0, strPath.find_last_not_of('/') + 1);
}

void ReplaceBlackSlash(char* pPath) {
    if (!pPath) return;
    char* pEnd = pPath + std::strlen(pPath);
    std::replace(pPath, pEnd, '\\', '/');
    if (pEnd[-1] != '/') std::strcpy(pEnd, "/");
}
