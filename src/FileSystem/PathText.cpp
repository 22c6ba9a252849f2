#include <algorithm>
#include <cstring>

#include "FileSystem/FileSystem.h"

void ReplaceBlackSlash(char* pPath) {
    if (!pPath) return;
    char* pEnd = pPath + std::strlen(pPath);
    std::replace(pPath, pEnd, '\\', '/');
    if (pEnd[-1] != '/') std::strcpy(pEnd, "/");
}
