#include "RecordTree/IndexMarker.h"

#include <cerrno>

#include "FileSystem/FileSystem.h"
#include "RecordTree/Names.h"

namespace {

std::string MarkerPath(const std::string& strFolder) {
    return strFolder + "/" + INDEX_DIRTY_MARKER;
}

}  // namespace

IndexMarker AskIndexMarker(const std::string& strFolder) {
    OSL_FINFO_S stInfo;
    if (OSL_GetFileInfo(MarkerPath(strFolder).c_str(), stInfo) == 0) return IndexMarker::Stands;
    return OSL_GetSystemLastError() == ENOENT ? IndexMarker::None : IndexMarker::Unknown;
}

// Opening a FIFO would wait for a reader for ever, so it is looked at first.
bool MakeIndexMarker(const std::string& strFolder) {
    const std::string strMarker = MarkerPath(strFolder);
    OSL_FINFO_S stInfo;
    const bool bOther =
        OSL_GetFileInfo(strMarker.c_str(), stInfo) == 0 && stInfo.wFileType != OSL_TYPE_FILE;
    if (bOther && !RemoveIndexMarker(strFolder)) return false;
    const OSL_FileHandle hFile = OSL_OpenFile(strMarker.c_str(), OSL_OPEN_NEW, OSL_FILE_SHARED);
    if (hFile == OSL_INVALID_FILE) return false;
    OSL_CloseFile(hFile);
    return true;
}

bool SyncIndexMarker(const std::string& strFolder) {
    return OSL_SyncFile(MarkerPath(strFolder).c_str()) == 0 &&
           OSL_SyncFile(strFolder.c_str(), OSL_LastLink::IsFollowed) == 0;
}

bool RemoveIndexMarker(const std::string& strFolder) {
    const std::string strMarker = MarkerPath(strFolder);
    if (OSL_DeleteFile(strMarker.c_str()) == 0 || OSL_GetSystemLastError() == ENOENT) return true;
    const int nError = OSL_GetSystemLastError();
    OSL_FINFO_S stInfo;
    const bool bFolder =
        OSL_GetFileInfo(strMarker.c_str(), stInfo) == 0 && stInfo.wFileType == OSL_TYPE_DIR;
    if (bFolder) return DeleteDirectory(strMarker);
    errno = nError;
    return false;
}

int DisownIndexFiles(const std::string& strFolder) {
    const std::string strPath = strFolder + "/" + INDEX_FILE_LEVEL1;
    if (OSL_DeleteFile(strPath.c_str()) == 0 || OSL_GetSystemLastError() == ENOENT) return 0;
    const int nError = OSL_GetSystemLastError();
    OSL_FINFO_S stInfo;
    const bool bThere = OSL_GetFileInfo(strPath.c_str(), stInfo) == 0;
    // A read-only disk refuses to remove even what is not there.
    if (!bThere && OSL_GetSystemLastError() == ENOENT) return 0;
    if (bThere && stInfo.wFileType == OSL_TYPE_DIR) return 0;  // no index, a foreign folder
    const bool bMarked =
        AskIndexMarker(strFolder) == IndexMarker::Stands || MakeIndexMarker(strFolder);
    return bMarked ? 0 : nError;
}
