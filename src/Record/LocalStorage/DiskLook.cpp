#include "LocalStorage/DiskLook.h"

#include <cerrno>
#include <string>

#include "FileSystem/FileSystem.h"
#include "IndexMgr/RecordDisk.h"
#include "LocalStorage/DiskChoice.h"
#include "Log/LogError.h"
#include "Osl/Osl.h"

namespace {

constexpr std::size_t TRIAL_SIZE = 1 << 20;

// Makes, writes and removes a file. 0, or the error of the first step that failed.
int TryDisk(const std::string& strRecDir) {
    static char s_szTrial[TRIAL_SIZE];  // never touched: zeros that take no room in the library
    const std::string strPath = strRecDir + "/.write-trial";
    int nError = 0;
    const auto note = [&nError](bool bDone) {
        if (!bDone && nError == 0) nError = OSL_GetSystemLastError();
    };
    const OSL_FileHandle hFile = OSL_OpenFile(strPath.c_str(), OSL_OPEN_NEW, OSL_FILE_SHARED);
    note(hFile != OSL_INVALID_FILE);
    if (hFile == OSL_INVALID_FILE) return nError;
    note(OSL_WriteFile(hFile, s_szTrial, TRIAL_SIZE, nullptr) == 0);
    note(OSL_CloseFile(hFile) == 0);
    note(OSL_DeleteFile(strPath.c_str()) == 0);
    return nError;
}

}  // namespace

diskLook LookAtDisk(CRecordDisk& disk, int nFailure) {
    diskLook stLook;
    stLook.nFailure = nFailure;
    stLook.bPresent = MakeRecDir(disk);
    std::uint64_t nUsableSpace = 0;
    if (!stLook.bPresent) return stLook;
    const std::string strInside = disk.Path() + "/";
    if (!GetDiskUsableSpace(strInside.c_str(), nUsableSpace)) {
        LogError("CLocalStorage::CheckDisk", "cannot be asked for its space, counts as full",
                 strInside, OSL_GetSystemLastError());
        return stLook;
    }
    stLook.nUsableSpace = nUsableSpace;
    if (!IsTrialDue(stLook)) return stLook;
    const int nError = TryDisk(disk.Path());
    // Another error may say that deleting helps now, or no more.
    if (nError == 0 || IsDiskError(nError)) stLook.nFailure = nError;
    return stLook;
}

bool MakeRecDir(CRecordDisk& disk) {
    const std::string strInside = disk.Path() + "/";
    const bool bThere = OSL_AccessFile(strInside.c_str(), 0) == 0;
    if (!bThere && disk.IsPresent() && !MakeFullPath(strInside.c_str())) return false;
    return disk.IsPresent() || disk.TakeOver();
}
