#include "records/Tree.h"

#include <algorithm>
#include <cerrno>
#include <list>

#include "FileSystem/FileSystem.h"
#include "base/Failure.h"
#include "base/Text.h"

namespace {

std::vector<std::string> Sorted(const std::list<std::string>& lsNames) {
    std::vector<std::string> vecNames(lsNames.begin(), lsNames.end());
    std::sort(vecNames.begin(), vecNames.end());
    return vecNames;
}

}  // namespace

dirListing ListDir(const std::string& strPath) {
    std::list<std::string> lsDirs, lsFiles;
    if (!GetSubTargetList(strPath, lsDirs, lsFiles)) {
        const int nError = OSL_GetSystemLastError();
        if (nError != ENOENT) {
            throw CFailure("cannot read directory " + strPath + ": " + ErrorText(nError));
        }
    }
    return {Sorted(lsDirs), Sorted(lsFiles)};
}

bool Exists(const std::string& strPath) {
    return OSL_AccessFile(strPath.c_str(), 0) == 0;
}

bool IsDirectory(const std::string& strPath) {
    OSL_FINFO_S stInfo;
    return OSL_GetFileInfo(strPath.c_str(), stInfo) == 0 && stInfo.wFileType == OSL_TYPE_DIR;
}

void WalkTree(const std::string& strRoot, const std::vector<std::string>& vecCameras,
              const std::function<bool(const treeFile&)>& fnFile) {
    for (const std::string& strDay : ListDir(strRoot).vecDirs) {
        const std::string strDayPath = strRoot + "/" + strDay;
        const auto vecHere = vecCameras.empty() ? ListDir(strDayPath).vecDirs : vecCameras;
        for (const std::string& strCamera : vecHere) {
            for (const std::string& strName : ListDir(strDayPath + "/" + strCamera).vecFiles) {
                if (!fnFile({strDay, strCamera, strName})) return;
            }
        }
    }
}
