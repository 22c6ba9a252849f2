#include "Catalogue/Catalogue.h"

#include <algorithm>
#include <cerrno>
#include <future>
#include <list>
#include <map>
#include <system_error>
#include <tuple>
#include <utility>

#include "Catalogue/ExactTimes.h"
#include "Catalogue/StreamTimes.h"
#include "FileSystem/FileSystem.h"
#include "FileSystem/FolderFiles.h"
#include "Osl/OslWatchedThread.h"
#include "RecordTree/Names.h"

namespace chrono = std::chrono;

namespace {

/// So many threads read the folders of a search: more wait for a disk or a server than compute.
constexpr std::size_t SHARES = 4;

constexpr const char* RECORD_FOLDERS[] = {RECORD_FOLDER, BACKUP_FOLDER};

bool Wanted(const recordingFilter& stFilter, const recordingName& stName) {
    return stFilter.nType == 0 || stFilter.nType == stName.nType;
}

// A recording lies in the day in which it begins.
treePart PartOf(const recordingFilter& stFilter) {
    treePart stPart{stFilter.vCameras};
    if (stFilter.stRange) {
        const LocalTime tFirst = ToLocal(stFilter.stRange->tStart);
        stPart.strFirstDay = DayName(tFirst);
        stPart.strReach = DayName(tFirst - LONGEST_RECORDING);
        stPart.strLastDay = DayName(ToLocal(stFilter.stRange->tEnd - UtcTime::duration(1)));
    }
    return stPart;
}

template <typename T>
std::vector<T> WholeOf(found<T> st) {
    RefuseUnread(st.mUnread);
    return std::move(st.vFound);
}

UtcTime ChangeOf(const OSL_FINFO_S& stFile) {
    return UtcTime(Seconds(stFile.tModify));
}

/// Of the two moments that a name may mean, the one when its file was made.
UtcTime MomentOf(const std::string& strPath, const localMoments& stMoments) {
    if (!stMoments.IsTwice()) return stMoments.tFirst;
    // The file was closed within the hour behind it, or copied later.
    OSL_FINFO_S stFile;
    OSL_GetTargetInfo(strPath.c_str(), stFile);
    const UtcTime tChange = ChangeOf(stFile);
    const bool bSecond =
        tChange >= stMoments.tSecond && tChange < stMoments.tSecond + chrono::hours(1);
    return bSecond ? stMoments.tSecond : stMoments.tFirst;
}

/// The one when the recording began.
UtcTime StartOf(const recording& st, const localMoments& stMoments) {
    if (!stMoments.IsTwice()) return stMoments.tFirst;
    if (const auto tStamp = ReadStreamTimes(st.Path(), FileSize(st.Path())).tStart) {
        return Agree(*tStamp, stMoments.tSecond) ? stMoments.tSecond : stMoments.tFirst;
    }
    return MomentOf(st.Path(), stMoments);
}

UtcTime EndOf(const recording& st, const localMoments& stMoments) {
    const bool bFirst = stMoments.tFirst >= st.tStart;
    return std::max(st.tStart, bFirst ? stMoments.tFirst : stMoments.tSecond);
}

/// Whether `st`, of the client layout, ended before `tFrom` for sure, when `stNext` began.
bool IsEndedBy(const recording& st, const recording& stNext, UtcTime tFrom) {
    return st.IsClient() && stNext.IsClient() && st.strCamera == stNext.strCamera &&
           st.tStart <= stNext.tStart && stNext.tStart + Seconds(1) <= tFrom;
}

/// What ended before `tFrom`, as the folder before a range is full of, is left out where one folder
/// tells.
void ReadTree(const std::string& strDir, const std::string& strFolder, const treePart& stPart,
              const recordingFilter& stFilter, UtcTime tFrom, found<recording>& stFound) {
    std::vector<recording>& vFound = stFound.vFound;
    recording st;  // many are left out: what is made for one of them serves the next
    st.strDir = strDir;
    st.strFolder = strFolder;
    const auto AddFile = [&](const treeFile& stFile) {
        const auto stName = ParseRecordingName(stFile.strName);
        if (!stName || !Wanted(stFilter, *stName)) return true;
        st.strDay = stFile.strDay;
        st.strCamera = stFile.strCamera;
        st.strName = stFile.strName;
        st.stName = *stName;
        st.tStart = StartOf(st, MomentsOf(stName->tStart));
        st.tEnd = st.IsClient() ? UtcTime::max() : EndOf(st, MomentsOf(stName->tEnd));
        if (st.Span().tEnd <= tFrom) return true;
        if (!vFound.empty() && IsEndedBy(vFound.back(), st, tFrom)) {
            vFound.back() = st;
        } else {
            vFound.push_back(st);
        }
        return true;
    };
    WalkTree(strDir + "/" + strFolder, stPart, AddFile, stFound.mUnread);
}

void ReadTrees(const std::vector<std::string>& vDirs, const recordingFilter& stFilter,
               const treePart& stPart, UtcTime tFrom, found<recording>& stFound) {
    for (const std::string& strDir : vDirs) {
        for (const char* pFolder : RECORD_FOLDERS) {
            ReadTree(strDir, pFolder, stPart, stFilter, tFrom, stFound);
        }
    }
}

bool BeginsBefore(const recording& st, const recording& stOther) {
    return std::tie(st.tStart, st.strCamera, st.strDir, st.strName, st.strFolder) <
           std::tie(stOther.tStart, stOther.strCamera, stOther.strDir, stOther.strName,
                    stOther.strFolder);
}

bool PointeesInOrder(const recording* p, const recording* pOther) {
    return BeginsBefore(*p, *pOther);
}

/// Pointers are sorted, and each recording moved once: they are large.
std::vector<recording> TakeInOrder(std::vector<recording*> vOrder) {
    std::sort(vOrder.begin(), vOrder.end(), PointeesInOrder);
    std::vector<recording> vSorted;
    vSorted.reserve(vOrder.size());
    for (recording* p : vOrder) vSorted.push_back(std::move(*p));
    return vSorted;
}

void SortByStart(std::vector<recording>& vRecordings) {
    if (std::is_sorted(vRecordings.begin(), vRecordings.end(), BeginsBefore)) return;
    std::vector<recording*> vOrder;
    for (recording& st : vRecordings) vOrder.push_back(&st);
    vRecordings = TakeInOrder(std::move(vOrder));
}

/// In the client layout, lets every recording end where the next one of its camera begins.
void EndWithNext(std::vector<recording>& vRecordings) {
    std::map<std::string_view, std::vector<recording*>> mCameras;
    for (recording& st : vRecordings) {
        if (st.IsClient()) mCameras[st.strCamera].push_back(&st);
    }
    for (auto& [strCamera, vOrder] : mCameras) {
        if (!std::is_sorted(vOrder.begin(), vOrder.end(), PointeesInOrder)) {
            std::sort(vOrder.begin(), vOrder.end(), PointeesInOrder);
        }
        UtcTime tNext = UtcTime::max();
        for (auto it = vOrder.rbegin(); it != vOrder.rend(); ++it) {
            (*it)->tEnd = std::exchange(tNext, (*it)->tStart);
        }
    }
}

/// Size and last change of a file; false when it is gone, or its folder does not tell.
bool LookAt(const std::string& strPath, CFolderFiles& objFiles, OSL_FINFO_S& stFile,
            UnreadFolders& mUnread) {
    if (objFiles.GetTargetInfo(strPath, stFile)) return true;
    const int nError = OSL_GetSystemLastError();
    if (nError != ENOENT) mUnread.emplace(strPath.substr(0, strPath.rfind('/')), nError);
    return false;
}

void LookAtAll(found<recording>& stFound, bool bEmpty) {
    CFolderFiles objFiles;
    std::erase_if(stFound.vFound, [&](recording& st) {
        OSL_FINFO_S stFile;
        if (!LookAt(st.Path(), objFiles, stFile, stFound.mUnread)) return true;
        st.nBytes = stFile.nSize;
        st.tChange = ChangeOf(stFile);
        return st.nBytes == 0 && !bEmpty;
    });
}

timeSpan RangeOf(const recordingFilter& stFilter) {
    return stFilter.stRange.value_or(EVER);
}

/// The recordings near the range, looked at, in any order. Cameras have nothing to do with one
/// another.
found<recording> LookFor(const recordingFilter& stFilter, const treePart& stPart,
                         const StepRunner& fnRun) {
    found<recording> stFound;
    // Names count in whole seconds, and what they tell may be corrected by as much.
    const timeSpan stNear = Widened(RangeOf(stFilter), GAP_TOLERANCE);
    const auto ReadAll = [=](const auto& vDirs, auto& stHere) {
        ReadTrees(vDirs, stFilter, stPart, stNear.tStart, stHere);
    };
    fnRun(ReadAll, stFound);
    EndWithNext(stFound.vFound);
    std::erase_if(stFound.vFound, [&](const recording& st) { return !Overlap(st.Span(), stNear); });
    // Before they are sorted, so folder by folder.
    fnRun([bEmpty = stFilter.bEmpty](const auto&, auto& stHere) { LookAtAll(stHere, bEmpty); },
          stFound);
    return stFound;
}

/// The same by several threads, each for its share of the cameras; in order.
found<recording> LookForAtOnce(const recordingFilter& stFilter, const StepRunner& fnRun) {
    treePart stPart = PartOf(stFilter);
    if (stPart.vCameras.size() != 1) stPart.nShares = SHARES;
    std::vector<std::packaged_task<found<recording>()>> vTasks;
    for (; stPart.nShare < stPart.nShares; ++stPart.nShare) {
        vTasks.emplace_back([=, &stFilter, &fnRun] { return LookFor(stFilter, stPart, fnRun); });
    }
    OSL_RunAtOnce(vTasks.size(), [&](std::size_t n) { vTasks[n](); });
    std::list<std::vector<recording>> lsParts;
    std::vector<recording*> vOrder;
    UnreadFolders mUnread;
    for (auto& objTask : vTasks) {
        found<recording> stHere = objTask.get_future().get();
        mUnread.merge(stHere.mUnread);
        for (recording& st : lsParts.emplace_back(std::move(stHere.vFound))) vOrder.push_back(&st);
    }
    return {TakeInOrder(std::move(vOrder)), std::move(mUnread)};
}

/// Tells when they began and ended; leaves those in the range, in order.
void AddTimes(const recordingFilter& stFilter, const StepRunner& fnRun, found<recording>& stFound) {
    std::vector<recording>& vFound = stFound.vFound;
    SortByStart(vFound);
    // The next one may have been empty; in a range it may only have been left out.
    if (!stFilter.stRange) EndWithNext(vFound);
    ChooseAsked(vFound, stFilter.stExact ? stFilter.stExact : stFilter.stRange, stFilter.bEach);
    fnRun([](const auto&, auto& stHere) { AskExactTimes(stHere.vFound); }, stFound);
    const timeSpan stRange = RangeOf(stFilter);
    std::erase_if(vFound, [&](const recording& st) { return !Overlap(st.Span(), stRange); });
    SortByStart(vFound);
}

}  // namespace

bool recording::IsClient() const {
    return stName.eLayout == LOCAL_STORAGE_CLIENT;
}

std::string recording::Path() const {
    std::string strPath;
    strPath.reserve(strDir.size() + strFolder.size() + strDay.size() + strCamera.size() +
                    strName.size() + 4);
    strPath.append(strDir).append("/").append(strFolder).append("/").append(strDay);
    return strPath.append("/").append(strCamera).append("/").append(strName);
}

timeSpan recording::Span() const {
    return {tStart, std::max(tEnd, tStart + Seconds(1))};
}

std::string picture::Path() const {
    return strDir + "/" + IMAGE_FOLDER + "/" + strDay + "/" + strCamera + "/" + strName;
}

std::vector<recording> FindRecordings(const std::vector<std::string>& vDirs,
                                      const recordingFilter& stFilter) {
    return WholeOf(SearchRecordings(vDirs, stFilter));
}

found<recording> SearchRecordings(const std::vector<std::string>& vDirs,
                                  const recordingFilter& stFilter) {
    const StepRunner fnRun = [&](const SearchStep& fnStep, auto& stFound) {
        fnStep(vDirs, stFound);
    };
    found<recording> stFound = LookForAtOnce(stFilter, fnRun);
    AddTimes(stFilter, fnRun, stFound);
    return stFound;
}

found<recording> SearchRecordings(const recordingFilter& stFilter, const StepRunner& fnRun) {
    found<recording> stFound = LookFor(stFilter, PartOf(stFilter), fnRun);
    AddTimes(stFilter, fnRun, stFound);
    return stFound;
}

found<std::string> SearchDays(const std::vector<std::string>& vDirs) {
    found<std::string> st;
    for (const std::string& strDir : vDirs) {
        for (const char* pFolder : RECORD_FOLDERS) {
            const auto vDays = DaysOf(strDir + "/" + pFolder, st.mUnread);
            st.vFound.insert(st.vFound.end(), vDays.begin(), vDays.end());
        }
    }
    return st;
}

std::vector<picture> FindPictures(const std::vector<std::string>& vDirs,
                                  const std::vector<std::string>& vCameras,
                                  const std::optional<timeSpan>& stRange) {
    return WholeOf(SearchPictures(vDirs, vCameras, stRange));
}

found<picture> SearchPictures(const std::vector<std::string>& vDirs,
                              const std::vector<std::string>& vCameras,
                              const std::optional<timeSpan>& stRange) {
    const treePart stPart = PartOf({.vCameras = vCameras, .stRange = stRange});
    found<picture> stFound;
    CFolderFiles objFiles;
    for (const std::string& strDir : vDirs) {
        const auto AddFile = [&](const treeFile& stFile) {
            const auto tTime = ParsePictureName(stFile.strName);
            if (!tTime) return true;
            picture st{strDir, stFile.strDay, stFile.strCamera, stFile.strName, *tTime, {}, 0};
            st.tTaken = MomentOf(st.Path(), MomentsOf(*tTime));
            if (stRange && !Overlap({st.tTaken, st.tTaken + Seconds(1)}, *stRange)) return true;
            OSL_FINFO_S stInfo;
            if (!LookAt(st.Path(), objFiles, stInfo, stFound.mUnread)) return true;
            st.nBytes = stInfo.nSize;
            stFound.vFound.push_back(std::move(st));
            return true;
        };
        WalkTree(strDir + "/" + IMAGE_FOLDER, stPart, AddFile, stFound.mUnread);
    }
    std::sort(stFound.vFound.begin(), stFound.vFound.end(), [](const picture& a, const picture& b) {
        return std::tie(a.tTaken, a.strCamera, a.strDir, a.strName) <
               std::tie(b.tTaken, b.strCamera, b.strDir, b.strName);
    });
    return stFound;
}

std::vector<std::string> RecordFolders(const std::string& strDir) {
    std::vector<std::string> vFolders;
    for (const char* pFolder : RECORD_FOLDERS) {
        if (IsDirectory((strDir + "/" + pFolder).c_str())) vFolders.push_back(pFolder);
    }
    return vFolders;
}

std::optional<std::string> FindLayout(const std::string& strDir, LocalStorageType eLayout) {
    std::optional<std::string> strFound;
    for (const char* pFolder : RECORD_FOLDERS) {
        const std::string strRoot = strDir + "/" + pFolder;
        const auto IsOther = [&](const treeFile& stFile) {
            const auto stName = ParseRecordingName(stFile.strName);
            if (stName && stName->eLayout == eLayout) {
                strFound =
                    strRoot + "/" + stFile.strDay + "/" + stFile.strCamera + "/" + stFile.strName;
            }
            return !strFound;
        };
        UnreadFolders mUnread;
        WalkTree(strRoot, {}, IsOther, mUnread);
    }
    return strFound;
}

std::vector<std::string> PlainDirs(const std::vector<std::string>& vDirs) {
    std::vector<std::string> vPlain;
    for (const std::string& strGiven : vDirs) {
        const std::string strDir = strGiven.substr(0, strGiven.find_last_not_of('/') + 1);
        if (std::find(vPlain.begin(), vPlain.end(), strDir) == vPlain.end()) {
            vPlain.push_back(strDir);
        }
    }
    return vPlain;
}

void RefuseMissing(const std::string& strDir) {
    const auto Fail = [&](int nError) {
        throw std::system_error(nError, std::generic_category(),
                                "cannot open record directory " + strDir);
    };
    OSL_FINFO_S stInfo;
    if (OSL_GetTargetInfo(strDir.c_str(), stInfo) != 0) Fail(OSL_GetSystemLastError());
    if (stInfo.wFileType != OSL_TYPE_DIR) Fail(ENOTDIR);
}

std::vector<std::string> ExistingDirs(const std::vector<std::string>& vDirs) {
    std::vector<std::string> vExisting = PlainDirs(vDirs);
    std::for_each(vExisting.begin(), vExisting.end(), RefuseMissing);
    return vExisting;
}
