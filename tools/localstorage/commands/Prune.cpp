// localstorage prune: deletes the oldest days, as the engine does on a full disk; shows them first.

#include <algorithm>
#include <list>
#include <memory>
#include <set>

#include "Catalogue/FolderInUse.h"
#include "RecordTree/RecordDirectory.h"
#include "base/Failure.h"
#include "base/Text.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "host/Host.h"
#include "records/DirLock.h"
#include "records/IndexMarker.h"
#include "records/Inspection.h"
#include "records/OldFiles.h"
#include "records/PrunePlan.h"
#include "screen/Json.h"
#include "screen/Table.h"
#include "screen/Terminal.h"

namespace {

constexpr const char* PRUNE_EXAMPLES =
    "  localstorage prune --dir /mnt/disk1 --before 2024-03-01\n"
    "  localstorage prune --dir /mnt/disk1 --keep-free 50000 --apply\n"
    "  localstorage prune --dir /mnt/disk1 --before -30d --kind pictures --apply\n\n"
    "Without --apply nothing is changed. Whole days go, the oldest first, but never what shows "
    "any\n"
    "of today. Refused while a host records into the directory (it makes room by itself), and "
    "while\n"
    "its index is not in order (see repair), or a folder that might have to go cannot be read.";

struct pruneOptions {
    std::vector<std::string> vDirs;
    std::string strBefore;
    std::uint64_t nKeepFree = 0;  ///< MiB
    std::string strKind;
    bool bApply = false, bJson = false;
};

std::map<std::string, diskRoom> RoomsOf(const std::vector<std::string>& vDirs) {
    std::map<std::string, diskRoom> mRooms;
    for (const std::string& strDir : vDirs) mRooms[strDir] = DiskRoomOf(strDir);
    return mRooms;
}

std::vector<oldFile> Choose(const std::vector<std::string>& vDirs, const pruneOptions& stOptions) {
    const auto vFiles =
        EarlierThanToday(FindOldFiles(vDirs, FileKindOf(stOptions.strKind)), ToLocal(Now()));
    if (!stOptions.strBefore.empty())
        return BeforeDay(vFiles, ToLocal(TimeOf(stOptions.strBefore)));
    const auto mRooms = RoomsOf(vDirs);
    const std::uint64_t nKeepFree = stOptions.nKeepFree << 20;
    const auto vChosen = UntilFree(vFiles, mRooms, nKeepFree);
    for (const auto& [strDir, stRoom] : mRooms) {
        std::uint64_t nFree = stRoom.nFreeBytes;
        for (const oldFile& st : vChosen) {
            if (mRooms.at(st.strDir).nDevice == stRoom.nDevice) nFree += st.nBytes;
        }
        if (nFree >= nKeepFree) continue;
        PrintMessage(strDir + ": only " + FormatBytes(nFree) +
                     " can be made free without touching today's files");
    }
    return vChosen;
}

/// Tells what goes: a line for each day of each directory, or a JSON object for each file.
void TellPlan(const std::vector<oldFile>& vFiles, bool bJson) {
    if (bJson) {
        for (const oldFile& st : vFiles) {
            PrintJson({{"path", st.Path()},
                       {"camera", st.strCamera},
                       {"day", st.strDay},
                       {"dir", st.strDir},
                       {"bytes", st.nBytes}});
        }
        return;
    }
    std::map<std::pair<std::string, std::string>, std::pair<std::uint64_t, std::uint64_t>> mDays;
    for (const oldFile& st : vFiles) {
        auto& [nFiles, nBytes] = mDays[{st.strDay, st.strRoot}];
        ++nFiles;
        nBytes += st.nBytes;
    }
    CTable objTable({{"DAY"}, {"FILES", CTable::RIGHT}, {"SIZE", CTable::RIGHT}, {"FOLDER"}});
    for (const auto& [stDay, stSum] : mDays) {
        objTable.AddRow({stDay.first, std::to_string(stSum.first), FormatBytes(stSum.second),
                         stDay.second + "/" + stDay.first});
    }
    objTable.Print();
}

/// Deletes the files; the number of those that stayed.
std::size_t Delete(const std::vector<oldFile>& vFiles) {
    std::size_t nFailed = 0;
    DeleteOldFiles(vFiles, [&](const oldFile& st, const std::error_code& stError) {
        if (!stError) return;
        ++nFailed;
        PrintMessage("cannot delete " + st.Path() + ": " + stError.message() +
                     "; goes on with the next");
    });
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

/// Deletes the files and has the indexes made anew; the number of files that stayed. A directory
/// that is in use or not in order throws before anything has changed in any of them.
std::size_t Apply(const std::vector<std::string>& vDirs, const std::vector<oldFile>& vFiles,
                  StoreFileType eKind) {
    std::set<std::string> setDirs;
    for (const oldFile& st : vFiles) setDirs.insert(st.strDir);
    const CFolderInUse objFolder(vDirs);
    std::vector<inspection> vIndexed;
    std::size_t nFailed = 0;
    {
        std::list<CDirLock> lsLocks;
        for (const std::string& strDir : setDirs) {
            lsLocks.emplace_back(strDir);
            if (eKind != STORE_FILE_RECORD) continue;
            inspection st = Inspect(strDir, objFolder.In(strDir));
            RefuseUnlessClean(st);
            if (!st.bClientLayout) vIndexed.push_back(std::move(st));
        }
        for (const inspection& st : vIndexed) MarkIndex(st.FolderPath());
        nFailed = Delete(vFiles);
    }
    for (const inspection& st : vIndexed) RunIndexRepair(st.strDir);
    return nFailed;
}

int Run(const pruneOptions& stOptions) {
    if (stOptions.strBefore.empty() == (stOptions.nKeepFree == 0)) {
        throw CUsageError("give either --before DAY or --keep-free MiB");
    }
    const auto vDirs = ExistingDirs(stOptions.vDirs);
    const auto vFiles = Choose(vDirs, stOptions);
    if (vFiles.empty()) {
        PrintMessage("nothing to delete");
        return EXIT_OK;
    }
    TellPlan(vFiles, stOptions.bJson);
    if (!stOptions.bApply) {
        PrintMessage("nothing was deleted; --apply deletes these " + Count(vFiles.size(), "file"));
        return EXIT_OK;
    }
    const std::size_t nFailed = Apply(vDirs, vFiles, FileKindOf(stOptions.strKind));
    PrintMessage(Count(vFiles.size() - nFailed, "file") + " deleted");
    return nFailed == 0 ? EXIT_OK : EXIT_FAILED;
}

}  // namespace

command PruneCommand() {
    const auto pOptions = std::make_shared<pruneOptions>();
    pruneOptions& st = *pOptions;
    return {"prune",
            "Delete the oldest days of recordings or pictures",
            PRUNE_EXAMPLES,
            {DirsOption(st.vDirs),
             TimeOption("--before", st.strBefore, "Delete the days before this one"),
             {.strNames = "--keep-free",
              .target = &st.nKeepFree,
              .strDescription = "Delete the oldest days until so many MiB are free on each disk",
              .strValue = "MiB",
              .stRange = {1, std::uint64_t{1} << 40}},
             FileKindOption("--kind", st.strKind),
             {"--apply", &st.bApply, "Do it; without, only tell what would be deleted"},
             JsonOption(st.bJson)},
            [pOptions] { return Run(*pOptions); }};
}
