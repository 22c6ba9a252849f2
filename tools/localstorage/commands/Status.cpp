// localstorage status: what stands on each disk and of each camera.

#include "Catalogue/Status.h"

#include <memory>
#include <set>

#include "Catalogue/Tree.h"
#include "base/Failure.h"
#include "base/Text.h"
#include "base/Times.h"
#include "commands/Commands.h"
#include "commands/RecordOptions.h"
#include "help/CommonOptions.h"
#include "screen/Findings.h"
#include "screen/RecordsJson.h"
#include "screen/Table.h"
#include "screen/Terminal.h"

namespace {

constexpr const char* STATUS_EXAMPLES =
    "  localstorage status --dir /mnt/disk1 --dir /mnt/disk2\n"
    "  localstorage status --dir /mnt/disk1 --json\n"
    "  localstorage status --config /etc/localstorage/record.toml\n\n"
    "Nothing is changed, and a host may be recording meanwhile. A disk with 2048 MiB free or less\n"
    "counts as full; of a configuration, directories that are missing are told as well. Gaps are\n"
    "those between today's recordings of a camera. One that is recorded as it is filmed (client\n"
    "layout) has stopped when its last picture is more than a minute old. A folder that cannot be\n"
    "read is told on standard error, and the others are counted: exit code 1.";

const char* StateOf(const diskStatus& st) {
    return st.bMissing ? "missing" : st.stRoom.IsFull() ? "full" : "has room";
}

void PrintDisksAsTable(const DiskStatuses& vDisks) {
    CTable objTable({{"DIRECTORY"},
                     {"FREE", CTable::RIGHT},
                     {"STATE"},
                     {"FOLDER"},
                     {"OLDEST DAY"},
                     {"NEWEST DAY"},
                     {"RECORDINGS", CTable::RIGHT},
                     {"SIZE", CTable::RIGHT},
                     {"PICTURES", CTable::RIGHT},
                     {"SIZE", CTable::RIGHT}});
    for (const auto& [strDir, st] : vDisks) {
        const bool bEmpty = st.setDays.empty();
        constexpr std::size_t STATE = 2;
        objTable.AddRow(
            {strDir, FormatBytes(st.stRoom.nFreeBytes), StateOf(st),
             st.strFolder.empty() ? "-" : st.strFolder, bEmpty ? "-" : DayText(*st.setDays.begin()),
             bEmpty ? "-" : DayText(*st.setDays.rbegin()), std::to_string(st.nRecordings),
             FormatBytes(st.nBytes), std::to_string(st.nPictures), FormatBytes(st.nPictureBytes)},
            st.bMissing ? std::set<std::size_t>{STATE} : std::set<std::size_t>{});
    }
    objTable.Print();
}

std::string TimeOrNone(const cameraStatus& st, UtcTime tTime) {
    return st.HasNeverCome() ? "-" : FormatTime(tTime);
}

void PrintCamerasAsTable(const CameraStatuses& mCameras) {
    CTable objTable({{"CAMERA"},
                     {"FIRST"},
                     {"LAST"},
                     {"STATE"},
                     {"RECORDINGS", CTable::RIGHT},
                     {"SIZE", CTable::RIGHT},
                     {"TODAY", CTable::RIGHT},
                     {"GAPS TODAY"}});
    for (const auto& [strCamera, st] : mCameras) {
        const auto vGaps = GapsBetween(st.vToday);
        constexpr std::size_t LAST = 2, STATE = 3;
        objTable.AddRow(
            {strCamera, TimeOrNone(st, st.stWhole.tStart), TimeOrNone(st, st.stWhole.tEnd),
             st.State(), std::to_string(st.nRecordings), FormatBytes(st.nBytes),
             FormatSpan(TotalLength(st.vToday)),
             vGaps.empty() ? "none"
                           : std::to_string(vGaps.size()) + ", " + FormatSpan(TotalLength(vGaps))},
            st.bStopped || st.HasNeverCome() ? std::set<std::size_t>{LAST, STATE}
                                             : std::set<std::size_t>{});
    }
    objTable.Print();
}

void PrintAsJson(const DiskStatuses& vDisks, const CameraStatuses& mCameras) {
    const auto PrintAs = [](const char* pKind, JsonObject vMembers) {
        vMembers.insert(vMembers.begin(), {"kind", pKind});
        PrintJson(vMembers);
    };
    for (const auto& [strDir, st] : vDisks) PrintAs("disk", DiskJson(strDir, st));
    for (const auto& [strCamera, st] : mCameras) PrintAs("camera", CameraJson(strCamera, st));
}

/// With those that are missing: a service waits for a disk that is not mounted yet.
std::vector<std::string> DirsOfService(const std::vector<std::string>& vGiven) {
    std::vector<std::string> vDirs;
    for (const std::string& strDir : vGiven) {
        vDirs.push_back(Exists(strDir) ? ExistingDirs({strDir}).front() : strDir);
    }
    return vDirs;
}

struct statusOptions {
    std::vector<std::string> vDirs;
    std::string strConfig;
    bool bJson = false;
};

int Run(const statusOptions& stOptions) {
    recordOptions stRecord;
    if (!stOptions.strConfig.empty()) {
        ReadArguments({.vOptions = OptionsOfRecord(stRecord), .stTable = CameraTables(stRecord)},
                      {"--config", stOptions.strConfig});
    }
    const auto& vGiven = stOptions.vDirs.empty() ? stRecord.vDirs : stOptions.vDirs;
    if (vGiven.empty()) throw CUsageError("give --dir or --config");
    std::vector<std::string> vExpected;
    for (const auto& [strCamera, st] : stRecord.mTables) vExpected.push_back(strCamera);
    const auto vDirs = stOptions.vDirs.empty() ? DirsOfService(vGiven) : ExistingDirs(vGiven);
    const UtcTime tNow = Now();
    const auto stFound = SearchRecordings(vDirs, {.stExact = SinceMidnight(tNow)});
    const DiskStatuses vDisks = StatusOfDisks(vDirs, stFound);
    const UnreadFolders mUnread = UnreadOf(vDisks);
    TellUnread(mUnread);
    TellHidden(vDirs, stFound.vFound);
    const CameraStatuses mCameras = StatusOfCameras(stFound.vFound, tNow, vExpected);
    if (stOptions.bJson) {
        PrintAsJson(vDisks, mCameras);
        return CodeWithout(mUnread);
    }
    PrintDisksAsTable(vDisks);
    if (!mCameras.empty()) {
        PrintLine("");
        PrintCamerasAsTable(mCameras);
    }
    return CodeWithout(mUnread);
}

}  // namespace

command StatusCommand() {
    const auto pOptions = std::make_shared<statusOptions>();
    option stDirs = DirsOption(pOptions->vDirs);
    stDirs.bRequired = false;
    return {"status",
            "Tell what stands on each disk and of each camera",
            STATUS_EXAMPLES,
            {stDirs,
             {.strNames = "--config",
              .target = &pOptions->strConfig,
              .strDescription = "Take the directories, and the cameras that should be recorded, "
                                "from a configuration file of \"record\"",
              .strValue = "FILE"},
             JsonOption(pOptions->bJson)},
            [pOptions] { return Run(*pOptions); }};
}
