// localstorage status: what stands on each disk and of each camera.

#include "records/Status.h"

#include <memory>
#include <set>

#include "base/Failure.h"
#include "base/Text.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "screen/Findings.h"
#include "screen/RecordsJson.h"
#include "screen/Table.h"
#include "screen/Terminal.h"

namespace {

constexpr const char* EXAMPLES =
    "  localstorage status --dir /mnt/disk1 --dir /mnt/disk2\n"
    "  localstorage status --dir /mnt/disk1 --json\n\n"
    "Nothing is changed, and a host may be recording meanwhile. A disk with 2048 MiB free or less\n"
    "counts as full. Gaps are those between today's recordings of a camera. One that is recorded "
    "as\n"
    "it is filmed (client layout) has stopped when its last picture is more than a minute old.";

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
        objTable.AddRow(
            {strDir, FormatBytes(st.nFreeBytes), st.IsFull() ? "full" : "has room",
             st.strFolder.empty() ? "-" : st.strFolder, bEmpty ? "-" : DayText(*st.setDays.begin()),
             bEmpty ? "-" : DayText(*st.setDays.rbegin()), std::to_string(st.nRecordings),
             FormatBytes(st.nBytes), std::to_string(st.nPictures), FormatBytes(st.nPictureBytes)});
    }
    objTable.Print();
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
            {strCamera, FormatTime(st.stWhole.tStart), FormatTime(st.stWhole.tEnd), st.State(),
             std::to_string(st.nRecordings), FormatBytes(st.nBytes),
             FormatSpan(TotalLength(st.vToday)),
             vGaps.empty() ? "none"
                           : std::to_string(vGaps.size()) + ", " + FormatSpan(TotalLength(vGaps))},
            st.bStopped ? std::set<std::size_t>{LAST, STATE} : std::set<std::size_t>{});
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

int Run(const std::vector<std::string>& vGiven, bool bJson) {
    const auto vDirs = ExistingDirs(vGiven);
    const UtcTime tNow = Now();
    const auto vRecordings = FindRecordings(vDirs, {.stExact = SinceMidnight(tNow)});
    TellHidden(vDirs, vRecordings);
    const DiskStatuses vDisks = StatusOfDisks(vDirs, vRecordings);
    const CameraStatuses mCameras = StatusOfCameras(vRecordings, tNow);
    if (bJson) {
        PrintAsJson(vDisks, mCameras);
        return EXIT_OK;
    }
    PrintDisksAsTable(vDisks);
    if (mCameras.empty()) return EXIT_OK;
    PrintLine("");
    PrintCamerasAsTable(mCameras);
    return EXIT_OK;
}

}  // namespace

command StatusCommand() {
    const auto pDirs = std::make_shared<std::vector<std::string>>();
    const auto pJson = std::make_shared<bool>(false);
    return {"status",
            "Tell what stands on each disk and of each camera",
            EXAMPLES,
            {DirsOption(*pDirs), JsonOption(*pJson)},
            [=] { return Run(*pDirs, *pJson); }};
}
