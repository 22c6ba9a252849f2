#include "RecordTree/RecordDirectory.h"

#include <cerrno>

#include "FileSystem/FileSystem.h"
#include "Osl/Osl.h"

int MakeRecordDirectory(const std::string& strDir) {
    return MakeFullPath((strDir + "/").c_str()) ? 0 : OSL_GetSystemLastError();
}

bool GetNearestInfo(std::string strPath, OSL_FINFO_S& stInfo) {
    while (OSL_GetTargetInfo(strPath.empty() ? "/" : strPath.c_str(), stInfo) != 0) {
        const int nError = OSL_GetSystemLastError();
        const std::size_t nSlash = WithoutTrailingSlashes(strPath).rfind('/');
        if ((nError != ENOENT && nError != ENOTDIR) || strPath == ".") return false;
        strPath = nSlash == std::string::npos ? "." : strPath.substr(0, nSlash);
    }
    return true;
}

bool LiesOnRootDisk(const std::string& strPath) {
    OSL_FINFO_S stInfo, stRoot;
    return GetNearestInfo(strPath, stInfo) && OSL_GetTargetInfo("/", stRoot) == 0 &&
           stInfo.nDevice == stRoot.nDevice;
}

diskRoom DiskRoomOf(const std::string& strDir) {
    diskRoom st;
    OSL_FINFO_S stInfo;
    if (OSL_GetTargetInfo(strDir.c_str(), stInfo) == 0) st.nDevice = stInfo.nDevice;
    GetDiskUsableSpace(strDir.c_str(), st.nFreeBytes);
    st.nFreeBytes <<= 20;
    return st;
}
