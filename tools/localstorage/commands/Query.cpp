// localstorage query: the recordings of a time range, in both layouts.

#include <memory>

#include "base/Failure.h"
#include "base/Text.h"
#include "base/Times.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "screen/Findings.h"
#include "screen/RecordsJson.h"
#include "screen/Table.h"
#include "screen/Terminal.h"

namespace {

constexpr const char* QUERY_EXAMPLES =
    "  localstorage query --dir /mnt/disk1 --camera door --from today --to now\n"
    "  localstorage query --dir /mnt/disk1 --dir /mnt/disk2 --camera door \\\n"
    "      --from \"2024-03-05 08:00\" --to \"2024-03-05 18:00\" --type 2\n"
    "  localstorage query --dir /mnt/disk1 --from -2h --json\n\n"
    "Nothing is changed, and a host may be recording meanwhile. A recording that began before the\n"
    "range and runs into it is found too. Begin and end are those of the UTC times that key "
    "frames\n"
    "carry. Without them a recording begins as its name says, and in the client layout, which "
    "names\n"
    "no end, it is as long as its stream says. \"end_from\" of --json tells which. A folder\n"
    "that cannot be read is told on standard error, and the others answer: exit code 1. Exit code "
    "3:\n"
    "nothing found.";

void PrintAsTable(const std::vector<recording>& vFound) {
    CTable objTable({{"START"},
                     {"END"},
                     {"TYPE", CTable::RIGHT},
                     {"SIZE", CTable::RIGHT},
                     {"CAMERA"},
                     {"PATH"}});
    for (const recording& st : vFound) {
        objTable.AddRow({FormatTime(st.tStart), FormatTime(st.tEnd),
                         st.IsClient() ? "-" : std::to_string(st.stName.nType),
                         FormatBytes(st.nBytes), st.strCamera, st.Path()});
    }
    objTable.Print();
}

int Run(const selection& stSelection, bool bJson) {
    recordingFilter stFilter = stSelection.Filter();
    stFilter.bEach = bJson;
    const auto vDirs = ExistingDirs(stSelection.vDirs);
    const auto [vFound, mUnread] = SearchRecordings(vDirs, stFilter);
    TellUnread(mUnread);
    TellHidden(vDirs, vFound);
    if (vFound.empty()) {
        PrintMessage("no recording between " + FormatTime(stFilter.stRange->tStart) + " and " +
                     FormatTime(stFilter.stRange->tEnd));
        return CodeWithout(mUnread, EXIT_NOTHING_FOUND);
    }
    if (bJson) {
        for (const recording& st : vFound) PrintJson(RecordingJson(st));
    } else {
        PrintAsTable(vFound);
    }
    return CodeWithout(mUnread);
}

}  // namespace

command QueryCommand() {
    const auto pSelection = std::make_shared<selection>();
    const auto pJson = std::make_shared<bool>(false);
    selection& st = *pSelection;
    return {"query",
            "List the recordings of a time range",
            QUERY_EXAMPLES,
            {DirsOption(st.vDirs), CamerasOption(st.vCameras), FromOption(st), ToOption(st),
             TypeOption(st.nType, 0), JsonOption(*pJson)},
            [=] { return Run(*pSelection, *pJson); }};
}
