#include "records/IndexMarker.h"

#include "Osl/Osl.h"
#include "RecordTree/IndexFiles.h"
#include "base/Failure.h"
#include "base/Text.h"

void MarkIndex(const std::string& strFolderPath) {
    const std::string strMarker = strFolderPath + "/" + INDEX_DIRTY_MARKER;
    const OSL_FileHandle hFile = OSL_OpenFile(strMarker.c_str(), OSL_OPEN_NEW, OSL_FILE_SHARED);
    if (hFile == OSL_INVALID_FILE) {
        throw CFailure("cannot make " + strMarker + ": " + ErrorText(OSL_GetSystemLastError()) +
                       "; nothing was changed");
    }
    OSL_CloseFile(hFile);
}
