#include "RecordTree/RecordDirectory.h"

#include "FileSystem/FileSystem.h"
#include "Osl/Osl.h"

int MakeRecordDirectory(const std::string& strDir) {
    return MakeFullPath((strDir + "/").c_str()) ? 0 : OSL_GetSystemLastError();
}

diskRoom DiskRoomOf(const std::string& strDir) {
    diskRoom st;
    OSL_FINFO_S stInfo;
    if (OSL_GetTargetInfo(strDir.c_str(), stInfo) == 0) st.nDevice = stInfo.nDevice;
    GetDiskUsableSpace(strDir.c_str(), st.nFreeBytes);
    st.nFreeBytes <<= 20;
    return st;
}
