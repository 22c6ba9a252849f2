// localstorage timeline: what is recorded of a day, and where the gaps are.

#include <cerrno>
#include <fstream>
#include <memory>

#include "base/Failure.h"
#include "base/System.h"
#include "base/Text.h"
#include "base/Times.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "screen/Findings.h"
#include "screen/RecordsJson.h"
#include "screen/Table.h"
#include "screen/Terminal.h"
#include "screen/TimelineBars.h"
#include "screen/TimelineSvg.h"

namespace {

constexpr const char* TIMELINE_EXAMPLES =
    "  localstorage timeline --dir /mnt/disk1 --dir /mnt/disk2 --day today\n"
    "  localstorage timeline --dir /mnt/disk1 --camera door --day 2024-03-05 --svg door.svg\n\n"
    "Bars take the width of the terminal; --ascii, or an output that is no terminal, keeps them\n"
    "plain. Gaps are those between a camera's recordings of that day; what lies in a folder that\n"
    "cannot be read is one, too, and the folder is told: exit code 1. Exit code 3: nothing "
    "recorded.";

struct timelineOptions {
    std::vector<std::string> vDirs, vCameras;
    std::string strDay = "today", strSvg;
    bool bAscii = false, bJson = false;
};

barStyle StyleFor(const timelineOptions& stOptions) {
    const bool bTerminal = IsTerminal(outputStream::OUT);
    barStyle st;
    st.nWidth = TerminalSize(outputStream::OUT, {100, 24}).nColumns;
    st.bAscii = stOptions.bAscii || !bTerminal || !IsUtf8Locale();
    st.bColour = WantsColour() && !stOptions.bAscii;
    return st;
}

void PrintGaps(const timelineDay& stTimeline) {
    CTable objTable({{"GAPS OF"}, {"FROM"}, {"TO"}, {"LENGTH", CTable::RIGHT}});
    for (const timelineRow& stRow : stTimeline.vRows) {
        for (const timeSpan& st : stRow.Gaps()) {
            objTable.AddRow({stRow.strCamera, FormatClock(st.tStart), FormatClock(st.tEnd),
                             FormatSpan(st.Length())});
        }
    }
    if (objTable.Empty()) return;
    PrintLine("");
    objTable.Print();
}

void WriteSvg(const timelineDay& stTimeline, const std::string& strFile) {
    errno = 0;
    std::ofstream stFile(strFile, std::ios::binary);
    stFile << DrawSvg(stTimeline);
    stFile.close();
    if (!stFile) throw CFailure("cannot write " + strFile + ": " + ErrorText(errno));
}

int Run(const timelineOptions& stOptions) {
    const timeSpan stDay = DayAround(TimeOf(stOptions.strDay));
    const auto vDirs = ExistingDirs(stOptions.vDirs);
    const auto [vFound, mUnread] = SearchRecordings(
        vDirs, {.vCameras = stOptions.vCameras, .stRange = stDay, .bEach = stOptions.bJson});
    TellUnread(mUnread);
    TellHidden(vDirs, vFound);
    const timelineDay stTimeline = MakeTimeline(vFound, stDay);
    if (stTimeline.vRows.empty()) {
        PrintMessage("nothing was recorded on " + DayText(stDay));
        return CodeWithout(mUnread, EXIT_NOTHING_FOUND);
    }
    if (!stOptions.strSvg.empty()) WriteSvg(stTimeline, stOptions.strSvg);
    if (stOptions.bJson) {
        for (const timelineRow& st : stTimeline.vRows) PrintJson(TimelineJson(stTimeline, st));
        return CodeWithout(mUnread);
    }
    for (const std::string& strLine : DrawBars(stTimeline, StyleFor(stOptions))) PrintLine(strLine);
    PrintGaps(stTimeline);
    return CodeWithout(mUnread);
}

}  // namespace

command TimelineCommand() {
    const auto pOptions = std::make_shared<timelineOptions>();
    timelineOptions& st = *pOptions;
    return {"timeline",
            "Show what is recorded of a day, and where the gaps are",
            TIMELINE_EXAMPLES,
            {DirsOption(st.vDirs),
             CamerasOption(st.vCameras),
             TimeOption("--day", st.strDay, "Day, or any time of it"),
             {"--svg", &st.strSvg, "Draw the day into this file as well", "FILE"},
             {"--ascii", &st.bAscii, "Draw with plain ASCII, without colours"},
             JsonOption(st.bJson)},
            [pOptions] { return Run(*pOptions); }};
}
