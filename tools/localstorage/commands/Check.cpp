// localstorage check: does the index match the recordings, and what would a repair remove?

#include <algorithm>
#include <memory>

#include "base/Failure.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "records/Inspection.h"
#include "screen/Findings.h"

namespace {

constexpr const char* CHECK_EXAMPLES =
    "  localstorage check --dir /mnt/disk1 --dir /mnt/disk2\n"
    "  localstorage check --dir /mnt/disk1 --json\n\n"
    "Nothing is changed. Findings: foreign (a repair removes it), unlisted (a recording without "
    "an\n"
    "entry), gone (an entry without its file), damaged (an index file), not-up-to-date (a host\n"
    "records, or was killed), twin (a recording with the times of another), crowded (one\n"
    "too many that begin in one second, which no host finds), unreadable (a folder, without which\n"
    "the rest is looked at as far as that goes), hidden (recordings in BackupFile, or in\n"
    "RecordFile where it cannot be used on a disk; query and export find them all the same). The\n"
    "next start of a host moves what lies in BackupFile to RecordFile, once that can be used on\n"
    "all its disks; a recording whose path is taken there stays, until it is renamed or moved by\n"
    "hand. The client layout has no index to check. Exit code 0: clean, 4: something is wrong,\n"
    "1: not all of it could be read.";

int Run(const std::vector<std::string>& vGiven, bool bJson) {
    const std::vector<inspection> vInspections = InspectReadable(ExistingDirs(vGiven));
    UnreadFolders mUnread;
    for (const inspection& st : vInspections) mUnread.insert(st.mUnread.begin(), st.mUnread.end());
    TellUnread(mUnread);
    PrintInspections(vInspections, bJson);
    const bool bClean = std::all_of(vInspections.begin(), vInspections.end(),
                                    [](const inspection& st) { return st.IsClean(); });
    return CodeWithout(mUnread, bClean ? EXIT_OK : EXIT_DAMAGED);
}

}  // namespace

command CheckCommand() {
    const auto pDirs = std::make_shared<std::vector<std::string>>();
    const auto pJson = std::make_shared<bool>(false);
    return {"check",
            "Compare index and recordings, changing nothing",
            CHECK_EXAMPLES,
            {DirsOption(*pDirs), JsonOption(*pJson)},
            [=] { return Run(*pDirs, *pJson); }};
}
