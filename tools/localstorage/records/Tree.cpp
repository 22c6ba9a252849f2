#include "records/Tree.h"

#include <algorithm>
#include <filesystem>
#include <set>

#include "RecordTree/Names.h"
#include "base/Failure.h"

namespace fs = std::filesystem;

namespace {

void RefuseUnread(const std::string& strPath, const std::error_code& stError) {
    if (!stError || stError == std::errc::no_such_file_or_directory) return;
    throw CFailure("cannot read directory " + strPath + ": " + stError.message());
}

/// The names of the folders in a directory, or of the files, sorted.
std::vector<std::string> NamesOf(const std::string& strPath, bool bFolders) {
    std::vector<std::string> vNames;
    std::error_code stError;
    fs::directory_iterator it(strPath, stError);
    for (; !stError && it != fs::directory_iterator(); it.increment(stError)) {
        if (it->is_symlink(stError)) continue;
        const bool bWanted = bFolders ? it->is_directory(stError) : it->is_regular_file(stError);
        if (bWanted) vNames.push_back(it->path().filename());
    }
    RefuseUnread(strPath, stError);
    std::sort(vNames.begin(), vNames.end());
    return vNames;
}

/// Those of the cameras that have a folder here.
std::vector<std::string> FoldersOf(const std::string& strPath,
                                   const std::vector<std::string>& vCameras) {
    if (vCameras.empty()) return NamesOf(strPath, true);
    std::vector<std::string> vHere;
    for (const std::string& strCamera : vCameras) {
        std::error_code stError;
        const fs::file_status stStatus = fs::symlink_status(strPath + "/" + strCamera, stError);
        RefuseUnread(strPath, stError);
        if (fs::is_directory(stStatus)) vHere.push_back(strCamera);
    }
    return vHere;
}

}  // namespace

bool Exists(const std::string& strPath) {
    std::error_code stError;
    return fs::exists(strPath, stError);
}

std::uint64_t FileSize(const std::string& strPath) {
    std::error_code stError;
    const std::uintmax_t nSize = fs::file_size(strPath, stError);
    return stError ? 0 : nSize;
}

void WalkTree(const std::string& strRoot, const treePart& stPart,
              const std::function<bool(const treeFile&)>& fnFile) {
    std::set<std::string> setReached;
    const std::vector<std::string> vDays = NamesOf(strRoot, true);
    for (auto it = vDays.rbegin(); it != vDays.rend(); ++it) {
        const std::string& strDay = *it;
        const bool bDay = VerifyDateDir(strDay), bBefore = bDay && strDay < stPart.strFirstDay;
        if (bDay && (strDay < stPart.strReach || strDay > stPart.strLastDay)) continue;
        const std::string strDayPath = strRoot + "/" + strDay;
        for (const std::string& strCamera : FoldersOf(strDayPath, stPart.vCameras)) {
            if (bBefore && !setReached.insert(strCamera).second) continue;
            for (const std::string& strName : NamesOf(strDayPath + "/" + strCamera, false)) {
                if (!fnFile({strDay, strCamera, strName})) return;
            }
        }
    }
}
