// localstorage prune: deletes the oldest days, as the engine does on a full disk; shows them first.

#include <algorithm>
#include <filesystem>
#include <memory>
#include <set>

#include "RecordTree/Names.h"
#include "RecordTree/RecordDirectory.h"
#include "RecordTree/Tidying.h"
#include "base/Failure.h"
#include "base/Text.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "host/Host.h"
#include "records/DirLock.h"
#include "records/FolderInUse.h"
#include "records/IndexMarker.h"
#include "records/Inspection.h"
#include "records/PrunePlan.h"
#include "screen/Json.h"
#include "screen/Table.h"
#include "screen/Terminal.h"

namespace {

constexpr const char* EXAMPLES =
    "  localstorage prune --dir /mnt/disk1 --before 2024-03-01\n"
    "  localstorage prune --dir /mnt/disk1 --keep-free 50000 --apply\n"
    "  localstorage prune --dir /mnt/disk1 --before -30d --kind pictures --apply\n\n"
    "Without --apply nothing is changed. Whole days go, the oldest first, but never what shows "
    "any\n"
    "of today. Refused while a host records into the directory (it makes room by itself), and "
    "while\n"
    "its index is not in order (see repair).";

struct pruneOptions {
    std::vector<std::string> vecDirs;
    std::string strBefore;
    std::uint64_t nKeepFree = 0;  ///< MiB
    StoreFileType eKind = STORE_FILE_RECORD;
    bool bApply = false, bJson = false;
};

std::vector<oldFile> FindFiles(const std::vector<std::string>& vecDirs, StoreFileType eKind) {
    std::vector<oldFile> vecFiles;
    if (eKind == STORE_FILE_IMAGE) {
        for (const picture& st : FindPictures(vecDirs)) {
            vecFiles.push_back({st.strDisk, st.strDisk + "/" + IMAGE_FOLDER, st.strDay,
                                st.strCamera, st.strName, st.nBytes, st.tTime});
        }
        return vecFiles;
    }
    std::map<std::string, std::string> mapFolders;
    for (const std::string& strDir : vecDirs) mapFolders[strDir] = FolderInUse(strDir, vecDirs);
    for (const recording& st : FindRecordings(vecDirs, {})) {
        if (st.strFolder != mapFolders[st.strDisk]) continue;
        vecFiles.push_back({st.strDisk, st.strDisk + "/" + st.strFolder, st.strDay, st.strCamera,
                            st.strName, st.nBytes, st.tEnd});
    }
    return vecFiles;
}

std::map<std::string, diskRoom> RoomsOf(const std::vector<std::string>& vecDirs) {
    std::map<std::string, diskRoom> mapRooms;
    for (const std::string& strDir : vecDirs) mapRooms[strDir] = DiskRoomOf(strDir);
    return mapRooms;
}

std::vector<oldFile> Choose(const std::vector<std::string>& vecDirs,
                            const pruneOptions& stOptions) {
    const auto vecFiles = EarlierThanToday(FindFiles(vecDirs, stOptions.eKind), Now());
    if (!stOptions.strBefore.empty()) return BeforeDay(vecFiles, TimeOf(stOptions.strBefore));
    const auto mapRooms = RoomsOf(vecDirs);
    const std::uint64_t nKeepFree = stOptions.nKeepFree << 20;
    const auto vecChosen = UntilFree(vecFiles, mapRooms, nKeepFree);
    for (const auto& [strDir, stRoom] : mapRooms) {
        std::uint64_t nFree = stRoom.nFreeBytes;
        for (const oldFile& st : vecChosen) {
            if (mapRooms.at(st.strDisk).nDevice == stRoom.nDevice) nFree += st.nBytes;
        }
        if (nFree >= nKeepFree) continue;
        PrintMessage(strDir + ": only " + FormatBytes(nFree) +
                     " can be made free without touching today's files");
    }
    return vecChosen;
}

/// Tells what goes: a line for each day of each directory, or a JSON object for each file.
void TellPlan(const std::vector<oldFile>& vecFiles, bool bJson) {
    if (bJson) {
        for (const oldFile& st : vecFiles) {
            PrintJson({{"path", st.Path()},
                       {"camera", st.strCamera},
                       {"day", st.strDay},
                       {"dir", st.strDisk},
                       {"bytes", st.nBytes}});
        }
        return;
    }
    std::map<std::pair<std::string, std::string>, std::pair<std::uint64_t, std::uint64_t>> mapDays;
    for (const oldFile& st : vecFiles) {
        auto& [nFiles, nBytes] = mapDays[{st.strDay, st.strRoot}];
        ++nFiles;
        nBytes += st.nBytes;
    }
    CTable stTable({{"DAY"}, {"FILES", CTable::RIGHT}, {"SIZE", CTable::RIGHT}, {"FOLDER"}});
    for (const auto& [stDay, stSum] : mapDays) {
        stTable.AddRow({stDay.first, std::to_string(stSum.first), FormatBytes(stSum.second),
                        stDay.second + "/" + stDay.first});
    }
    stTable.Print();
}

/// Deletes the files and the folders that they leave empty; the number of files that stayed.
std::size_t Delete(const std::vector<oldFile>& vecFiles) {
    std::size_t nFailed = 0;
    std::set<std::string> setCameras, setDays;
    for (const oldFile& st : vecFiles) {
        std::error_code stError;
        std::filesystem::remove(st.Path(), stError);
        if (stError) {
            ++nFailed;
            PrintMessage("cannot delete " + st.Path() + ": " + stError.message() +
                         "; goes on with the next");
        }
        setCameras.insert(st.CameraPath());
        setDays.insert(st.DayPath());
    }
    for (const std::string& strPath : setCameras) RemoveIfIndexOnly(strPath, TreeLevel::Channel);
    for (const std::string& strPath : setDays) RemoveIfIndexOnly(strPath, TreeLevel::Day);
    return nFailed;
}

/// An index that is made anew afterwards must not take anything else away.
void RefuseUnlessClean(const inspection& st) {
    if (!st.NeedsRepair()) return;
    throw CFailure(st.strDir +
                   ": the index is not in order, so nothing was deleted; see "
                   "\"localstorage repair --dir " +
                   st.strDir + "\"");
}

std::size_t DeleteFromDir(const std::string& strDir, const std::string& strFolder,
                          const std::vector<oldFile>& vecFiles, StoreFileType eKind) {
    bool bHasIndex = false;
    std::size_t nFailed = 0;
    {
        const CDirLock stLock(strDir);
        if (eKind == STORE_FILE_RECORD) {
            const inspection st = Inspect(strDir, strFolder);
            RefuseUnlessClean(st);
            bHasIndex = !st.bClientLayout;
            if (bHasIndex) MarkIndex(st.FolderPath());
        }
        nFailed = Delete(vecFiles);
    }
    if (bHasIndex) RunIndexRepair(strDir);
    return nFailed;
}

int Run(const pruneOptions& stOptions) {
    if (stOptions.strBefore.empty() == (stOptions.nKeepFree == 0)) {
        throw CUsageError("give either --before DAY or --keep-free MiB");
    }
    const auto vecDirs = ExistingDirs(stOptions.vecDirs);
    const auto vecFiles = Choose(vecDirs, stOptions);
    if (vecFiles.empty()) {
        PrintMessage("nothing to delete");
        return EXIT_OK;
    }
    TellPlan(vecFiles, stOptions.bJson);
    if (!stOptions.bApply) {
        PrintMessage("nothing was deleted; --apply deletes these " +
                     Count(vecFiles.size(), "file"));
        return EXIT_OK;
    }
    std::size_t nFailed = 0;
    for (const std::string& strDir : vecDirs) {
        std::vector<oldFile> vecHere;
        std::copy_if(vecFiles.begin(), vecFiles.end(), std::back_inserter(vecHere),
                     [&](const oldFile& st) { return st.strDisk == strDir; });
        if (vecHere.empty()) continue;
        nFailed += DeleteFromDir(strDir, FolderInUse(strDir, vecDirs), vecHere, stOptions.eKind);
    }
    PrintMessage(Count(vecFiles.size() - nFailed, "file") + " deleted");
    return nFailed == 0 ? EXIT_OK : EXIT_FAILED;
}

}  // namespace

command PruneCommand() {
    const auto pOptions = std::make_shared<pruneOptions>();
    pruneOptions& st = *pOptions;
    return {"prune",
            "Delete the oldest days of recordings or pictures",
            EXAMPLES,
            {DirsOption(st.vecDirs),
             TimeOption("--before", st.strBefore, "Delete the days before this one"),
             {.strNames = "--keep-free",
              .target = &st.nKeepFree,
              .strDescription = "Delete the oldest days until so many MiB are free on each disk",
              .strValue = "MiB",
              .stRange = {1, std::uint64_t{1} << 40}},
             FileKindOption("--kind", st.eKind),
             {"--apply", &st.bApply, "Do it; without, only tell what would be deleted"},
             JsonOption(st.bJson)},
            [pOptions] { return Run(*pOptions); }};
}
