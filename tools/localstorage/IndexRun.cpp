#include "IndexRun.h"

#include "Host.h"
#include "Osl/Osl.h"
#include "Output.h"
#include "RecordTree/IndexFiles.h"

void MarkIndex(const std::string& strFolderPath) {
    const std::string strMarker = strFolderPath + "/" + INDEX_DIRTY_MARKER;
    const OSL_FileHandle hFile = OSL_OpenFile(strMarker.c_str(), OSL_OPEN_NEW, OSL_FILE_SHARED);
    if (hFile == OSL_INVALID_FILE) {
        throw CFailure("cannot make " + strMarker + ": " + ErrorText(OSL_GetSystemLastError()) +
                       "; nothing was changed");
    }
    OSL_CloseFile(hFile);
}

void RunIndexRepair(const std::string& strDir) {
    hostSettings st;
    st.vecDirs = {strDir};
    st.nChannels = 1;
    CHost stHost(std::move(st), [](const hostEvent&) {});
}
