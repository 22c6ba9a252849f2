#include "Catalogue/Tree.h"

#include <algorithm>
#include <cerrno>
#include <set>
#include <system_error>

#include "FileSystem/ForEachEntry.h"
#include "RecordTree/Names.h"

namespace {

/// What is not there holds nothing.
void NoteUnread(const std::string& strPath, UnreadFolders& mUnread) {
    const int nError = OSL_GetSystemLastError();
    if (nError != ENOENT && nError != ENOTDIR) mUnread.emplace(strPath, nError);
}

/// The names of the entries of one type in a directory, sorted.
std::vector<std::string> NamesOf(const std::string& strPath, std::uint16_t wType,
                                 UnreadFolders& mUnread, OSL_LastLink eLink = OSL_LastLink::Fails) {
    std::vector<std::string> vNames;
    const auto AddName = [&](const OSL_FIND_DATA& stEntry) {
        if (stEntry.wFileType == wType) vNames.emplace_back(stEntry.szName);
    };
    if (!ForEachEntry(strPath, AddName, eLink)) NoteUnread(strPath, mUnread);
    std::sort(vNames.begin(), vNames.end());
    return vNames;
}

bool IsInShare(const std::string& strCamera, const treePart& stPart) {
    return std::hash<std::string>{}(strCamera) % stPart.nShares == stPart.nShare;
}

/// Those of the cameras that have a folder here.
std::vector<std::string> FoldersOf(const std::string& strPath, const treePart& stPart,
                                   UnreadFolders& mUnread) {
    std::vector<std::string> vHere;
    if (stPart.vCameras.empty()) vHere = NamesOf(strPath, OSL_TYPE_DIR, mUnread);
    std::erase_if(vHere, [&](const std::string& str) { return !IsInShare(str, stPart); });
    for (const std::string& strCamera : stPart.vCameras) {
        OSL_FINFO_S stInfo;
        if (!IsInShare(strCamera, stPart)) continue;
        if (OSL_GetFileInfo((strPath + "/" + strCamera).c_str(), stInfo) != 0) {
            NoteUnread(strPath, mUnread);
        } else if (stInfo.wFileType == OSL_TYPE_DIR) {
            vHere.push_back(strCamera);
        }
    }
    return vHere;
}

}  // namespace

void RefuseUnread(const UnreadFolders& mUnread) {
    if (mUnread.empty()) return;
    const auto& [strPath, nError] = *mUnread.begin();
    throw std::system_error(nError, std::generic_category(), "cannot read directory " + strPath);
}

bool Exists(const std::string& strPath) {
    return OSL_AccessFile(strPath.c_str(), 0) == 0;
}

std::uint64_t FileSize(const std::string& strPath) {
    OSL_FINFO_S stInfo;
    const bool bTold = OSL_GetTargetInfo(strPath.c_str(), stInfo) == 0;
    return bTold && stInfo.wFileType == OSL_TYPE_FILE ? stInfo.nSize : 0;
}

std::vector<std::string> DaysOf(const std::string& strRoot, UnreadFolders& mUnread) {
    auto vDays = NamesOf(strRoot, OSL_TYPE_DIR, mUnread, OSL_LastLink::IsFollowed);
    std::erase_if(vDays, [&](const std::string& strDay) {
        return !VerifyDateDir(strDay) ||
               NamesOf(strRoot + "/" + strDay, OSL_TYPE_DIR, mUnread).empty();
    });
    return vDays;
}

void WalkTree(const std::string& strRoot, const treePart& stPart,
              const std::function<bool(const treeFile&)>& fnFile, UnreadFolders& mUnread) {
    std::set<std::string> setReached;
    const auto vDays = NamesOf(strRoot, OSL_TYPE_DIR, mUnread, OSL_LastLink::IsFollowed);
    for (auto it = vDays.rbegin(); it != vDays.rend(); ++it) {
        const std::string& strDay = *it;
        const bool bDay = VerifyDateDir(strDay), bBefore = bDay && strDay < stPart.strFirstDay;
        if (bDay && (strDay < stPart.strReach || strDay > stPart.strLastDay)) continue;
        const std::string strDayPath = strRoot + "/" + strDay;
        for (const std::string& strCamera : FoldersOf(strDayPath, stPart, mUnread)) {
            if (bBefore && !setReached.insert(strCamera).second) continue;
            for (const std::string& strName :
                 NamesOf(strDayPath + "/" + strCamera, OSL_TYPE_FILE, mUnread)) {
                if (!fnFile({strDay, strCamera, strName})) return;
            }
        }
    }
}
