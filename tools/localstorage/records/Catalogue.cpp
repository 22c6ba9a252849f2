#include "records/Catalogue.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <tuple>

#include "RecordTree/Names.h"
#include "base/Failure.h"
#include "base/Text.h"
#include "records/Tree.h"

namespace chrono = std::chrono;
namespace fs = std::filesystem;

namespace {

bool Wanted(const recordingFilter& stFilter, const recordingName& stName) {
    return stFilter.nType == 0 || stFilter.nType == stName.nType;
}

// A recording lies in the day in which it begins. None is believed to be longer than a week: so far
// before a range one may begin that reaches into it, and so far behind it the one that ends such a
// recording.
treePart PartOf(const recordingFilter& stFilter) {
    constexpr chrono::days LONGEST(7);
    treePart stPart{stFilter.vCameras};
    if (stFilter.stRange) {
        stPart.strFirstDay = DayName(stFilter.stRange->tStart - LONGEST);
        stPart.strLastDay = DayName(stFilter.stRange->tEnd + LONGEST);
    }
    return stPart;
}

void ReadTree(const std::string& strDir, const std::string& strFolder, const treePart& stPart,
              const recordingFilter& stFilter, std::vector<recording>& vFound) {
    WalkTree(strDir + "/" + strFolder, stPart, [&](const treeFile& stFile) {
        const auto stName = ParseRecordingName(stFile.strName);
        if (stName && Wanted(stFilter, *stName)) {
            vFound.push_back({strDir, strFolder, stFile.strDay, stFile.strCamera, stFile.strName,
                              *stName, stName->tEnd, 0});
        }
        return true;
    });
}

bool IsGuessed(const recording& stRecording) {
    return stRecording.stName.eLayout == LOCAL_STORAGE_CLIENT;
}

/// In the client layout, lets every recording end where the next one of its camera begins.
void EndWithNext(std::vector<recording>& vRecordings) {
    std::map<std::string, LocalTime> mNext;
    for (auto it = vRecordings.rbegin(); it != vRecordings.rend(); ++it) {
        if (!IsGuessed(*it)) continue;
        const auto itNext = mNext.find(it->strCamera);
        it->tEnd = itNext == mNext.end() ? LocalTime::max() : itNext->second;
        mNext[it->strCamera] = it->stName.tStart;
    }
}

LocalTime ToLocal(fs::file_time_type tFile) {
    return FromUnix(std::chrono::system_clock::to_time_t(
        std::chrono::floor<Seconds>(std::chrono::file_clock::to_sys(tFile))));
}

/// Fills in size and, in the client layout, the end; false when the file is gone.
bool LookAt(recording& stRecording) {
    std::error_code stError;
    const std::string strPath = stRecording.Path();
    stRecording.nBytes = fs::file_size(strPath, stError);
    if (!stError && IsGuessed(stRecording)) {
        const LocalTime tChange = ToLocal(fs::last_write_time(strPath, stError));
        stRecording.tEnd = std::max(stRecording.stName.tStart, std::min(stRecording.tEnd, tChange));
    }
    if (!stError) return true;
    if (stError == std::errc::no_such_file_or_directory) return false;
    throw CFailure("cannot look at " + strPath + ": " + stError.message());
}

bool Overlaps(const timeSpan& stSpan, const std::optional<timeSpan>& stRange) {
    return !stRange || (stSpan.tStart < stRange->tEnd && stSpan.tEnd > stRange->tStart);
}

}  // namespace

std::string recording::Path() const {
    return strDir + "/" + strFolder + "/" + strDay + "/" + strCamera + "/" + strName;
}

timeSpan recording::Span() const {
    return {stName.tStart, std::max(tEnd, stName.tStart + Seconds(1))};
}

std::string picture::Path() const {
    return strDir + "/" + IMAGE_FOLDER + "/" + strDay + "/" + strCamera + "/" + strName;
}

std::vector<recording> FindRecordings(const std::vector<std::string>& vDirs,
                                      const recordingFilter& stFilter) {
    const treePart stPart = PartOf(stFilter);
    std::vector<recording> vFound;
    for (const std::string& strDir : vDirs) {
        for (const std::string& strFolder : RecordFolders(strDir)) {
            ReadTree(strDir, strFolder, stPart, stFilter, vFound);
        }
    }
    std::sort(vFound.begin(), vFound.end(), [](const recording& a, const recording& b) {
        return std::tie(a.stName.tStart, a.strCamera, a.strDir, a.strName) <
               std::tie(b.stName.tStart, b.strCamera, b.strDir, b.strName);
    });
    EndWithNext(vFound);
    std::erase_if(vFound, [&](recording& stRecording) {
        if (!Overlaps(stRecording.Span(), stFilter.stRange)) return true;
        return !LookAt(stRecording) || !Overlaps(stRecording.Span(), stFilter.stRange);
    });
    return vFound;
}

std::vector<picture> FindPictures(const std::vector<std::string>& vDirs) {
    std::vector<picture> vFound;
    for (const std::string& strDir : vDirs) {
        WalkTree(strDir + "/" + IMAGE_FOLDER, {}, [&](const treeFile& stFile) {
            const auto tTime = ParsePictureName(stFile.strName);
            if (!tTime) return true;
            picture st{strDir, stFile.strDay, stFile.strCamera, stFile.strName, *tTime, 0};
            std::error_code stError;
            st.nBytes = fs::file_size(st.Path(), stError);
            if (!stError) vFound.push_back(std::move(st));
            return true;
        });
    }
    return vFound;
}

std::vector<std::string> RecordFolders(const std::string& strDir) {
    std::vector<std::string> vFolders;
    for (const char* pFolder : {RECORD_FOLDER, BACKUP_FOLDER}) {
        std::error_code stError;
        if (fs::is_directory(strDir + "/" + pFolder, stError)) vFolders.push_back(pFolder);
    }
    return vFolders;
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

bool AnyEndGuessed(const std::vector<recording>& vRecordings) {
    return std::any_of(vRecordings.begin(), vRecordings.end(), IsGuessed);
}

std::vector<std::string> ExistingDirs(const std::vector<std::string>& vDirs) {
    std::vector<std::string> vExisting;
    for (const std::string& strGiven : vDirs) {
        const std::string strDir = strGiven.substr(0, strGiven.find_last_not_of('/') + 1);
        std::error_code stError;
        const bool bDirectory = fs::is_directory(strDir, stError);
        if (stError) {
            throw CFailure("cannot open record directory " + strDir + ": " + stError.message());
        }
        if (!bDirectory) throw CFailure("record directory " + strDir + " is not a directory");
        if (std::find(vExisting.begin(), vExisting.end(), strDir) == vExisting.end()) {
            vExisting.push_back(strDir);
        }
    }
    return vExisting;
}
