// localstorage repair: makes the index anew and removes what does not belong; shows it first.

#include <filesystem>
#include <memory>

#include "base/Failure.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "host/Host.h"
#include "records/DirLock.h"
#include "records/IndexMarker.h"
#include "records/Inspection.h"
#include "screen/Findings.h"
#include "screen/Terminal.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* REPAIR_EXAMPLES =
    "  localstorage repair --dir /mnt/disk1\n"
    "  localstorage repair --dir /mnt/disk1 --apply --keep-removed /root/removed\n\n"
    "Without --apply nothing is changed. A repair is refused while a host records into the\n"
    "directory, and unless --yes is given also when it would remove a file larger than 1 MiB, a\n"
    "recording of the other layout, or more files than it keeps recordings.";

struct repairOptions {
    std::vector<std::string> vDirs;
    std::string strKeep;
    bool bApply = false, bYes = false, bJson = false;
};

/// A name that nothing has yet.
fs::path FreeName(const fs::path& strWanted) {
    fs::path strName = strWanted;
    for (int n = 1; fs::exists(fs::symlink_status(strName)); ++n) {
        strName = strWanted;
        strName += "." + std::to_string(n);
    }
    return strName;
}

/// Moves a file or folder, also onto another disk.
void Move(const fs::path& strFrom, const fs::path& strTo) {
    fs::create_directories(strTo.parent_path());
    std::error_code stError;
    fs::rename(strFrom, strTo, stError);
    if (!stError) return;
    fs::copy(strFrom, strTo, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    fs::remove_all(strFrom);
}

/// Moves what a repair would remove below `strKeep`, under the path it has in its directory.
void KeepForeign(const inspection& st, const std::string& strKeep) {
    for (const finding& stFinding : st.vFindings) {
        if (stFinding.eKind != findingKind::FOREIGN) continue;
        const fs::path strTo =
            FreeName(fs::path(strKeep) / stFinding.strPath.substr(st.strDir.size() + 1));
        try {
            Move(stFinding.strPath, strTo);
        } catch (const fs::filesystem_error& stError) {
            throw CFailure("cannot move " + stFinding.strPath + " to " + strTo.string() + ": " +
                           stError.code().message() + "; the index was not touched");
        }
    }
}

/// What is kept must not lie where the engine removes what is foreign.
void RefuseKeepInside(const std::string& strFolder, const std::string& strKeep) {
    const fs::path strRelative =
        fs::weakly_canonical(strKeep).lexically_relative(fs::weakly_canonical(strFolder));
    if (strRelative.empty() || *strRelative.begin() == "..") return;
    throw CUsageError("--keep-removed " + strKeep + " lies below " + strFolder +
                      ", where the engine would remove it; name another directory");
}

/// Everything that must not happen beside a running host.
void Prepare(const std::string& strDir, const std::string& strFolder,
             const repairOptions& stOptions) {
    const CDirLock objLock(strDir);
    const inspection st = Inspect(strDir, strFolder);
    if (const std::string strAlarm = st.Alarm(); !strAlarm.empty() && !stOptions.bYes) {
        throw CFailure(strDir + ": refused, " + strAlarm + "; --yes does it all the same");
    }
    if (!stOptions.strKeep.empty()) RefuseKeepInside(st.FolderPath(), stOptions.strKeep);
    MarkIndex(st.FolderPath());
    if (!stOptions.strKeep.empty()) KeepForeign(st, stOptions.strKeep);
}

/// Repairs one directory; false when something is still wrong.
bool Apply(const inspection& stBefore, const repairOptions& stOptions) {
    Prepare(stBefore.strDir, stBefore.strFolder, stOptions);
    RunIndexRepair(stBefore.strDir);
    const inspection stAfter = Inspect(stBefore.strDir, stBefore.strFolder);
    PrintInspections({stAfter}, stOptions.bJson);
    return !stAfter.NeedsRepair();
}

void TellPlan(const inspection& st, const repairOptions& stOptions) {
    if (!st.NeedsRepair()) {
        PrintMessage(st.strDir + ": nothing to repair" +
                     (st.nHidden
                          ? "; \"localstorage check --help\" tells how hosts find again what "
                            "is hidden"
                          : ""));
        return;
    }
    const std::string strAlarm = st.Alarm();
    if (!strAlarm.empty() && !stOptions.bYes) {
        PrintMessage(st.strDir + ": careful, " + strAlarm + "; --apply alone would refuse");
    }
    PrintMessage(st.strDir + ": nothing was changed; --apply makes the index anew" +
                 (st.RemovedFiles() ? " and removes what is foreign" : ""));
}

int Run(const repairOptions& stOptions) {
    const std::vector<inspection> vInspections = InspectAll(ExistingDirs(stOptions.vDirs));
    PrintInspections(vInspections, stOptions.bJson);
    bool bDone = true;
    for (const inspection& st : vInspections) {
        if (!stOptions.bApply || !st.NeedsRepair()) {
            TellPlan(st, stOptions);
        } else if (!Apply(st, stOptions)) {
            PrintMessage(st.strDir + ": something is still wrong, see above");
            bDone = false;
        }
    }
    return bDone ? EXIT_OK : EXIT_FAILED;
}

}  // namespace

command RepairCommand() {
    const auto pOptions = std::make_shared<repairOptions>();
    repairOptions& st = *pOptions;
    return {"repair",
            "Make the index anew and remove what does not belong",
            REPAIR_EXAMPLES,
            {DirsOption(st.vDirs),
             {"--apply", &st.bApply, "Do it; without, only tell what would be done"},
             {"--keep-removed", &st.strKeep, "Move what is removed here instead", "DIR"},
             {.strNames = "--yes",
              .target = &st.bYes,
              .strDescription = "Do it even where it is refused for safety",
              .strNeeds = "--apply"},
             JsonOption(st.bJson)},
            [pOptions] { return Run(*pOptions); }};
}
