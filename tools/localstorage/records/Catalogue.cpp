#include "records/Catalogue.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <tuple>

#include "FileSystem/FileSystem.h"
#include "Osl/Osl.h"
#include "RecordTree/Names.h"
#include "base/Failure.h"
#include "base/Text.h"
#include "records/Tree.h"

namespace {

bool Wanted(const recordingFilter& stFilter, const recordingName& stName) {
    return stFilter.nType == 0 || stFilter.nType == stName.nType;
}

void ReadTree(const std::string& strDir, const std::string& strFolder,
              const recordingFilter& stFilter, std::vector<recording>& vecFound) {
    WalkTree(strDir + "/" + strFolder, stFilter.vecCameras, [&](const treeFile& stFile) {
        const auto stName = ParseRecordingName(stFile.strName);
        if (stName && Wanted(stFilter, *stName)) {
            vecFound.push_back({strDir, strFolder, stFile.strDay, stFile.strCamera, stFile.strName,
                                *stName, stName->tEnd, 0});
        }
        return true;
    });
}

bool IsGuessed(const recording& stRecording) {
    return stRecording.stName.eLayout == LOCAL_STORAGE_CLIENT;
}

/// In the client layout, lets every recording end where the next one of its camera begins.
void EndWithNext(std::vector<recording>& vecRecordings) {
    std::map<std::string, LocalTime> mapNext;
    for (auto it = vecRecordings.rbegin(); it != vecRecordings.rend(); ++it) {
        if (!IsGuessed(*it)) continue;
        const auto itNext = mapNext.find(it->strCamera);
        it->tEnd = itNext == mapNext.end() ? LocalTime::max() : itNext->second;
        mapNext[it->strCamera] = it->stName.tStart;
    }
}

/// Fills in size and, in the client layout, the end; false when the file is gone.
bool LookAt(recording& stRecording) {
    OSL_FINFO_S stInfo;
    const std::string strPath = stRecording.Path();
    if (OSL_GetFileInfo(strPath.c_str(), stInfo) != 0) {
        const int nError = OSL_GetSystemLastError();
        if (nError == ENOENT) return false;
        throw CFailure("cannot look at " + strPath + ": " + ErrorText(nError));
    }
    if (stInfo.wFileType != OSL_TYPE_FILE) return false;
    stRecording.nBytes = stInfo.nSize;
    if (IsGuessed(stRecording)) {
        const LocalTime tChange = FromUnix(static_cast<std::time_t>(stInfo.tModify));
        stRecording.tEnd = std::max(stRecording.stName.tStart, std::min(stRecording.tEnd, tChange));
    }
    return true;
}

bool Overlaps(const timeSpan& stSpan, const std::optional<timeSpan>& stRange) {
    return !stRange || (stSpan.tStart < stRange->tEnd && stSpan.tEnd > stRange->tStart);
}

}  // namespace

std::string recording::Path() const {
    return strDisk + "/" + strFolder + "/" + strDay + "/" + strCamera + "/" + strName;
}

timeSpan recording::Span() const {
    return {stName.tStart, std::max(tEnd, stName.tStart + Seconds(1))};
}

std::string picture::Path() const {
    return strDisk + "/" + IMAGE_FOLDER + "/" + strDay + "/" + strCamera + "/" + strName;
}

std::vector<recording> FindRecordings(const std::vector<std::string>& vecDirs,
                                      const recordingFilter& stFilter) {
    std::vector<recording> vecFound;
    for (const std::string& strDir : vecDirs) {
        for (const std::string& strFolder : RecordFolders(strDir)) {
            ReadTree(strDir, strFolder, stFilter, vecFound);
        }
    }
    std::sort(vecFound.begin(), vecFound.end(), [](const recording& a, const recording& b) {
        return std::tie(a.stName.tStart, a.strCamera, a.strDisk, a.strName) <
               std::tie(b.stName.tStart, b.strCamera, b.strDisk, b.strName);
    });
    EndWithNext(vecFound);
    std::erase_if(vecFound, [&](recording& stRecording) {
        if (!Overlaps(stRecording.Span(), stFilter.stRange)) return true;
        return !LookAt(stRecording) || !Overlaps(stRecording.Span(), stFilter.stRange);
    });
    return vecFound;
}

std::vector<picture> FindPictures(const std::vector<std::string>& vecDirs) {
    std::vector<picture> vecFound;
    for (const std::string& strDir : vecDirs) {
        WalkTree(strDir + "/" + IMAGE_FOLDER, {}, [&](const treeFile& stFile) {
            const auto tTime = ParsePictureName(stFile.strName);
            if (!tTime) return true;
            picture st{strDir, stFile.strDay, stFile.strCamera, stFile.strName, *tTime, 0};
            OSL_FINFO_S stInfo;
            if (OSL_GetFileInfo(st.Path().c_str(), stInfo) == 0) {
                st.nBytes = stInfo.nSize;
                vecFound.push_back(std::move(st));
            }
            return true;
        });
    }
    return vecFound;
}

std::vector<std::string> RecordFolders(const std::string& strDir) {
    std::vector<std::string> vecFolders;
    for (const char* pFolder : {RECORD_FOLDER, BACKUP_FOLDER}) {
        if (IsDirectory(strDir + "/" + pFolder)) vecFolders.push_back(pFolder);
    }
    return vecFolders;
}

std::optional<std::string> FindLayout(const std::string& strDir, LocalStorageType eLayout) {
    std::optional<std::string> strFound;
    for (const std::string& strFolder : RecordFolders(strDir)) {
        const std::string strRoot = strDir + "/" + strFolder;
        WalkTree(strRoot, {}, [&](const treeFile& stFile) {
            const auto stName = ParseRecordingName(stFile.strName);
            if (stName && stName->eLayout == eLayout) {
                strFound =
                    strRoot + "/" + stFile.strDay + "/" + stFile.strCamera + "/" + stFile.strName;
            }
            return !strFound;
        });
    }
    return strFound;
}

bool AnyEndGuessed(const std::vector<recording>& vecRecordings) {
    return std::any_of(vecRecordings.begin(), vecRecordings.end(), IsGuessed);
}

std::vector<std::string> ExistingDirs(const std::vector<std::string>& vecDirs) {
    std::vector<std::string> vecExisting;
    for (const std::string& strGiven : vecDirs) {
        const std::string strDir(WithoutTrailingSlashes(strGiven));
        OSL_FINFO_S stInfo;
        if (OSL_GetTargetInfo(strDir.c_str(), stInfo) != 0) {
            throw CFailure("cannot open record directory " + strDir + ": " +
                           ErrorText(OSL_GetSystemLastError()));
        }
        if (stInfo.wFileType != OSL_TYPE_DIR) {
            throw CFailure("record directory " + strDir + " is not a directory");
        }
        if (std::find(vecExisting.begin(), vecExisting.end(), strDir) == vecExisting.end()) {
            vecExisting.push_back(strDir);
        }
    }
    return vecExisting;
}
