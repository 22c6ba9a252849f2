#include "records/Inspection.h"

#include <algorithm>
#include <filesystem>

#include "Catalogue/Catalogue.h"
#include "Catalogue/FolderInUse.h"
#include "Catalogue/Tree.h"
#include "RecordTree/DirectoryLock.h"
#include "RecordTree/IndexFiles.h"
#include "RecordTree/IndexMarker.h"
#include "RecordTree/Names.h"
#include "RecordTree/RepairPlan.h"
#include "base/Failure.h"
#include "base/Text.h"
#include "records/IndexFault.h"

namespace {

constexpr std::uint64_t LARGE_FILE = 1 << 20;

/// Whether it lies in a folder that could not be read.
bool IsUnread(const inspection& st, const std::string& strPath) {
    return std::any_of(st.mUnread.begin(), st.mUnread.end(), [&](const auto& stUnread) {
        return strPath.starts_with(stUnread.first + "/");
    });
}

void AddForeign(const repairPlan& stPlan, inspection& st) {
    for (const repairFinding& stForeign : stPlan.vFindings) {
        const findingSize stSize = MeasureFinding(stForeign);
        const std::string strName = stForeign.strPath.substr(stForeign.strPath.rfind('/') + 1);
        const bool bRecording = !stForeign.bDirectory && ParseRecordingName(strName).has_value();
        st.vFindings.push_back(
            {findingKind::FOREIGN, stForeign.strPath,
             bRecording ? "recording of the client layout" : VerdictText(stForeign.eVerdict),
             stForeign.bDirectory, stSize.nFiles, stSize.nBytes, stSize.nLargest, bRecording});
    }
}

void AddPaths(const std::vector<std::string>& vNames, findingKind eKind, const char* pWhy,
              inspection& st) {
    for (const std::string& strName : vNames) {
        const std::string strPath = st.FolderPath() + "/" + strName;
        if (!IsUnread(st, strPath)) st.vFindings.push_back({eKind, strPath, pWhy});
    }
}

void CompareIndex(const repairPlan& stPlan, inspection& st) {
    CIndexTree objIndex;
    indexFileFault stFault;
    if (!Exists(st.FolderPath() + "/" + INDEX_FILE_LEVEL1) && stPlan.objTree.IsEmpty()) return;
    if (!LoadIndex(st.FolderPath(), IndexLength::Exact, objIndex, stFault)) {
        if (IsUnread(st, stFault.strPath)) return;
        st.vFindings.push_back({findingKind::DAMAGED, stFault.strPath, IndexFaultText(stFault)});
        return;
    }
    st.nEntries = objIndex.CountFiles();
    const indexDifference stDifference = CompareWithTree(objIndex, stPlan);
    AddPaths(stDifference.vGone, findingKind::GONE, "entry without a file", st);
    AddPaths(stDifference.vUnlisted, findingKind::UNLISTED, "recording without an entry", st);
}

void AddMarker(inspection& st) {
    st.bInUse = IsInUse(st.strDir);
    st.vFindings.push_back(
        {findingKind::NOT_UP_TO_DATE, st.FolderPath() + "/" + INDEX_DIRTY_MARKER,
         st.bInUse ? "a running host has not written its latest changes yet"
                   : "a host ended without writing its latest changes; the next start repairs"});
}

void InspectIndex(inspection& st) {
    const auto isMarked = [&] { return AskIndexMarker(st.FolderPath()) != IndexMarker::None; };
    const bool bMarkedBefore = isMarked();
    repairPlan stPlan;
    const bool bRead = MakeRepairPlan(st.FolderPath(), stPlan);
    for (const treeFault& stFault : stPlan.vUnreadable) {
        st.mUnread.emplace(stFault.strPath, stFault.nError);
    }
    if (!bRead) return;
    st.nRecordings = stPlan.objTree.CountFiles();
    CompareIndex(stPlan, st);
    // A host may have begun or ended a flush meanwhile.
    if (bMarkedBefore || isMarked()) AddMarker(st);
    AddPaths({stPlan.setTwins.begin(), stPlan.setTwins.end()}, findingKind::TWIN,
             "another recording has the same times; it stays, without an entry", st);
    AddPaths(stPlan.vCrowded, findingKind::CROWDED,
             "too many recordings begin with it; it stays, and no host finds it", st);
    AddForeign(stPlan, st);
}

/// Counts the recordings of the folder in use, where there is no index, and of the other one.
void CountRecordings(inspection& st) {
    finding stHidden;
    stHidden.eKind = findingKind::HIDDEN;
    stHidden.bDirectory = true;
    found<recording> stFound = SearchRecordings({st.strDir}, {.bEmpty = true});
    st.mUnread.merge(stFound.mUnread);
    for (const recording& stRecording : stFound.vFound) {
        if (stRecording.strFolder == st.strFolder) {
            st.nRecordings += st.bClientLayout;
            continue;
        }
        stHidden.strPath = st.strDir + "/" + stRecording.strFolder;
        ++stHidden.nFiles;
        stHidden.nBytes += stRecording.nBytes;
    }
    st.nHidden = stHidden.nFiles;
    if (st.nHidden == 0) return;
    stHidden.strWhy =
        Count(st.nHidden, "recording") + " that no host finds, since hosts use " + st.strFolder +
        (st.strFolder == RECORD_FOLDER ? "; the next start moves what it can there" : "");
    st.vFindings.push_back(stHidden);
}

/// What a host at work explains.
bool IsPassing(const inspection& st, const finding& stFinding) {
    if (stFinding.eKind == findingKind::TWIN) return true;
    return st.bInUse && stFinding.eKind != findingKind::FOREIGN &&
           stFinding.eKind != findingKind::CROWDED && stFinding.eKind != findingKind::HIDDEN;
}

}  // namespace

bool inspection::IsClean() const {
    return std::all_of(vFindings.begin(), vFindings.end(),
                       [&](const finding& st) { return IsPassing(*this, st); });
}

bool inspection::NeedsRepair() const {
    return std::any_of(vFindings.begin(), vFindings.end(), [&](const finding& st) {
        return st.eKind != findingKind::HIDDEN && st.eKind != findingKind::CROWDED &&
               st.eKind != findingKind::UNREADABLE && !IsPassing(*this, st);
    });
}

std::uint64_t inspection::RemovedFiles() const {
    std::uint64_t nFiles = 0;
    if (!mUnread.empty()) return nFiles;
    for (const finding& st : vFindings) {
        if (st.eKind == findingKind::FOREIGN) nFiles += st.nFiles;
    }
    return nFiles;
}

std::string inspection::Alarm() const {
    const std::uint64_t nRemoved = RemovedFiles();
    for (const finding& st : vFindings) {
        if (st.bRecording) return "it would remove recordings of the client layout";
        if (st.nLargest > LARGE_FILE) {
            return "it would remove a file larger than 1 MiB: " + st.strPath;
        }
    }
    if (nRemoved > nRecordings) {
        return "it would remove " + Count(nRemoved, "file") + " and keep only " +
               Count(nRecordings, "recording");
    }
    return {};
}

bool IsRepairDue(const std::string& strFolderPath) {
    if (!Exists(strFolderPath)) return false;
    if (AskIndexMarker(strFolderPath) != IndexMarker::None) return true;
    CIndexTree objIndex;
    indexFileFault stFault;
    return !LoadIndex(strFolderPath, IndexLength::Exact, objIndex, stFault);
}

namespace {

inspection InspectPart(const std::string& strDir, const std::string& strFolder) {
    inspection st;
    st.strDir = strDir;
    st.strFolder = strFolder;
    std::error_code stError;  // where that cannot be told, it may be there
    const auto stStatus = std::filesystem::status(st.FolderPath(), stError);
    st.bEmpty = stStatus.type() == std::filesystem::file_type::not_found;
    st.bClientLayout = IsClientLayout(strDir);
    if (!st.bEmpty && !st.bClientLayout) InspectIndex(st);
    const auto vFolders = RecordFolders(strDir);
    const bool bOther = vFolders.size() > (st.bEmpty ? 0u : 1u);
    if (st.bClientLayout || bOther) CountRecordings(st);
    for (const auto& [strPath, nError] : st.mUnread) {
        st.vFindings.push_back({findingKind::UNREADABLE, strPath, ErrorText(nError), true});
    }
    return st;
}

template <typename Function>
std::vector<inspection> ForEachDir(const std::vector<std::string>& vDirs, Function fnInspect) {
    std::vector<inspection> vInspections;
    const CFolderInUse objFolder(vDirs);
    for (const std::string& strDir : vDirs) {
        vInspections.push_back(fnInspect(strDir, objFolder.In(strDir)));
    }
    return vInspections;
}

}  // namespace

inspection Inspect(const std::string& strDir, const std::string& strFolder) {
    inspection st = InspectPart(strDir, strFolder);
    if (st.mUnread.empty()) return st;
    const auto& [strPath, nError] = *st.mUnread.begin();
    throw CFailure("cannot read " + strPath + ": " + ErrorText(nError) +
                   "; nothing can be said about the index");
}

std::vector<inspection> InspectAll(const std::vector<std::string>& vDirs) {
    return ForEachDir(vDirs, Inspect);
}

std::vector<inspection> InspectReadable(const std::vector<std::string>& vDirs) {
    return ForEachDir(vDirs, InspectPart);
}

const char* KindName(findingKind eKind) {
    switch (eKind) {
        case findingKind::NOT_UP_TO_DATE:
            return "not-up-to-date";
        case findingKind::DAMAGED:
            return "damaged";
        case findingKind::GONE:
            return "gone";
        case findingKind::UNLISTED:
            return "unlisted";
        case findingKind::TWIN:
            return "twin";
        case findingKind::CROWDED:
            return "crowded";
        case findingKind::HIDDEN:
            return "hidden";
        case findingKind::UNREADABLE:
            return "unreadable";
        case findingKind::FOREIGN:
            return "foreign";
    }
    return "";
}
