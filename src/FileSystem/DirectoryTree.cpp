// Making, listing and removing directories.

#include <cerrno>
#include <cstring>
#include <string_view>

#include "FileSystem/FileSystem.h"
#include "FileSystem/ForEachEntry.h"
#include "localstorage/LocalStorage.h"

namespace {

bool IsSeparator(char c) {
    return c == '/' || c == '\\';
}

}  // namespace

bool IsDirectory(const char* pPath) {
    OSL_FINFO_S stInfo;
    return OSL_GetTargetInfo(pPath, stInfo) == 0 && stInfo.wFileType == OSL_TYPE_DIR;
}

bool IsGone(const std::string& strPath) {
    OSL_FINFO_S stInfo;
    return OSL_GetFileInfo(strPath.c_str(), stInfo) != 0 && OSL_GetSystemLastError() == ENOENT;
}

bool DeleteDirectory(const std::string& strPath, OSL_LastLink eLink) {
    const std::string strDir(WithoutTrailingSlashes(strPath));
    int nFirstError = 0;
    const auto note = [&](bool bDone) {
        if (!bDone && nFirstError == 0) nFirstError = OSL_GetSystemLastError();
        return bDone;
    };
    std::list<std::string> lsSubDir, lsSubFile;
    const bool bWhole = note(GetSubTargetList(strDir, lsSubDir, lsSubFile, eLink));
    for (const std::string& strName : lsSubDir) note(DeleteDirectory(strDir + "/" + strName));
    for (const std::string& strName : lsSubFile) {
        note(OSL_DeleteFile((strDir + "/" + strName).c_str()) == 0);
    }
    if ((bWhole && note(OSL_RemoveDir(strDir.c_str()) == 0)) || IsGone(strDir)) return true;
    errno = nFirstError;  // why the last of them stays is only that it is not empty
    return false;
}

bool GetSubTargetList(const std::string& strDir, std::list<std::string>& lsSubDir,
                      std::list<std::string>& lsSubFile, OSL_LastLink eLink) {
    const auto AddEntry = [&](const OSL_FIND_DATA& stData) {
        (stData.wFileType == OSL_TYPE_DIR ? lsSubDir : lsSubFile).emplace_back(stData.szName);
    };
    return ForEachEntry(strDir, AddEntry, eLink);
}

bool MakeFullPath(const char* pPath) {
    const std::size_t nLast = std::string_view(pPath).find_last_of("/\\");
    if (nLast == std::string_view::npos || nLast == 0) return true;
    char szPrefix[LOCALSTORAGE_PATH_SIZE] = {};
    if (nLast >= sizeof(szPrefix)) {
        errno = ENAMETOOLONG;
        return false;
    }
    int nFirstError = 0;
    for (std::size_t nEnd = 1; nEnd <= nLast; ++nEnd) {
        if (!IsSeparator(pPath[nEnd])) continue;
        std::memcpy(szPrefix, pPath, nEnd);
        const int nResult = OSL_MakeDir(szPrefix);
        // Deliberate: a directory that was there keeps its mode, or a host that runs as root would
        // open up every folder above its disks.
        if (nResult == 0) SetMacAccessAttr(szPrefix);
        if (nResult < 0 && nFirstError == 0) nFirstError = OSL_GetSystemLastError();
    }
    if (IsDirectory(szPrefix)) return true;
    if (nFirstError != 0) errno = nFirstError;  // what follows a full disk is only ENOENT
    return false;
}

void SetMacAccessAttr(const char* pPath) {
    OSL_OpenAccess(pPath);
}

bool GetFolderAttribute(const std::string& strDir, const std::string& strName,
                        OSL_FINFO_S& stInfo) {
    if (strName.empty() || strName == "." || strName == "..") return false;
    if (strName.find('/') != std::string::npos) return false;  // not an entry of strDir itself
    return OSL_GetFileInfo((strDir + "/" + strName).c_str(), stInfo) == 0;
}
