// The pages for man(1), made from the table of commands.

#include <algorithm>
#include <sstream>

#include "help/Command.h"

namespace {

/// Text as roff takes it: no backslash or dash of its own, no line that looks like a request.
std::string Roff(const std::string& strText) {
    std::string strOut;
    for (std::size_t n = 0; n < strText.size(); ++n) {
        const char c = strText[n];
        const bool bLineStart = n == 0 || strText[n - 1] == '\n';
        if (bLineStart && (c == '.' || c == '\'')) strOut += "\\&";
        if (c == '\\') {
            strOut += "\\e";
        } else if (c == '-') {
            strOut += "\\-";
        } else {
            strOut += c;
        }
    }
    return strOut;
}

std::string Names(const option& st) {
    std::string strNames;
    for (const std::string& strName : st.Names()) {
        strNames += (strNames.empty() ? "" : ", ") + ("\\fB" + Roff(strName)) + "\\fR";
    }
    return st.strValue.empty() ? strNames : strNames + " \\fI" + Roff(st.strValue) + "\\fR";
}

std::string OptionText(const option& st) {
    std::string strText = ".TP\n" + Names(st) + "\n" + Roff(st.strDescription) + ".";
    if (st.bRequired) strText += " Required.";
    if (!st.strDefault.empty()) strText += " Default: " + Roff(st.strDefault) + ".";
    return strText + "\n";
}

/// What it must be given, as it stands in a synopsis.
std::string Usage(const command& stCommand) {
    std::string strOptions, strPositionals;
    for (const option& st : stCommand.vOptions) {
        if (!st.bRequired) continue;
        const std::string strOne = " \\fB" + Roff(st.Names().front()) + "\\fR";
        if (st.IsPositional()) {
            strPositionals += " \\fI" + Roff(st.Names().front()) + "\\fR";
        } else {
            strOptions +=
                strOne + " \\fI" + Roff(st.strValue) + "\\fR" + (st.IsRepeatable() ? " ..." : "");
        }
    }
    return "\\fBlocalstorage " + stCommand.strName + "\\fR" + strOptions + " [\\fIOPTIONS\\fR]" +
           strPositionals;
}

/// A command line of an example, on as many lines as a page of 80 columns needs.
std::string Example(std::string strLine) {
    constexpr std::size_t WIDEST = 68;
    std::string strOut;
    while (strLine.size() > WIDEST) {
        const std::size_t nCut = strLine.rfind(" -", WIDEST);
        if (nCut == std::string::npos || strLine.find_first_not_of(' ') > nCut) break;
        strOut += strLine.substr(0, nCut) + " \\\n";
        strLine = "      " + strLine.substr(nCut + 1);
    }
    return strOut + strLine + "\n";
}

/// Text of a command's help: lines that are indented stand as they are, the rest is filled.
std::string HelpText(const std::string& strHelp) {
    std::string strText;
    bool bExample = false;
    std::istringstream stLines(strHelp);
    for (std::string strLine; std::getline(stLines, strLine);) {
        const bool bIndented = strLine.starts_with(' ');
        if (bIndented != bExample) strText += bIndented ? ".PP\n.nf\n" : ".fi\n";
        bExample = bIndented;
        strText += strLine.empty() ? ".PP\n" : Roff(bIndented ? Example(strLine) : strLine + "\n");
    }
    return strText + (bExample ? ".fi\n" : "");
}

/// How every page begins, up to what is typed.
std::string Head(const program& stProgram, const std::string& strName,
                 const std::string& strPurpose) {
    return ".TH \"" + Roff(strName) + "\" 1 \"\" \"" + stProgram.strName + " " +
           stProgram.strVersion + "\" \"User Commands\"\n.SH NAME\n" + Roff(strName) + " \\- " +
           Roff(strPurpose) + "\n.SH SYNOPSIS\n";
}

std::string Options(const std::vector<option>& vOptions) {
    std::string strText = ".SH OPTIONS\n";
    for (const option& st : vOptions) strText += OptionText(st);
    return strText;
}

constexpr const char* END =
    ".SH TIMES\nTimes are local: \\fB2024\\-03\\-05T08:00:00\\fR, "
    "\\fB\"2024\\-03\\-05 08:00\"\\fR, \\fB2024\\-03\\-05\\fR, \\fB08:00\\fR, "
    "\\fBnow\\fR, \\fBtoday\\fR, \\fByesterday\\fR, \\fB\"yesterday 08:00\"\\fR, or an "
    "age such as \\fB\\-90s\\fR, \\fB\\-2h\\fR, \\fB\\-1d12h\\fR. Behind a time of day may "
    "stand \\fBZ\\fR or an offset, such as \\fB+02:00\\fR. At the end of summer time an hour "
    "comes twice: a range takes in both, and what is printed of it has its offset. Spans are "
    "written "
    "\\fB90\\fR, \\fB90s\\fR, \\fB15m\\fR, \\fB1h30m\\fR.\n"
    ".SH EVENTS\n"
    "\\fBrecord\\fR and \\fBimport\\fR print what happens, a line each; with "
    "\\fB\\-\\-json\\fR as objects with the keys \\fIevent\\fR (the name), \\fItime\\fR, where it "
    "is of one \\fIcamera\\fR, and those told here.\n"
    ".TP\n.B connecting, connected, lost, stalled\nA camera is tried, brings pictures, went away, "
    "is silent: \\fIwhy\\fR, \\fIretry_ms\\fR, \\fItries\\fR, \\fIreconnections\\fR, "
    "\\fIbytes\\fR, \\fIfiles\\fR.\n"
    ".TP\n.B created\nA file was begun: \\fIpath\\fR, and \\fIstart\\fR of the recording in it.\n"
    ".TP\n.B closed\nA file is complete: \\fIpath\\fR, \\fIstart\\fR, \\fIbytes\\fR.\n"
    ".TP\n.B snapshot\nA picture was stored: \\fIpath\\fR, \\fIbytes\\fR.\n"
    ".TP\n.B deleted\nA file was deleted, since the disks are full or it is older than it is "
    "kept: \\fIpath\\fR, \\fIstart\\fR.\n"
    ".TP\n.B switched\nRecording goes on in another directory.\n"
    ".TP\n.B disk\\-full\nNo record directory has room.\n"
    ".TP\n.B write\\-failed\nA disk did not take what was to be written.\n"
    ".TP\n.B ended\nA camera's recording is over: \\fIreason\\fR, \\fIbytes\\fR, "
    "\\fIfiles\\fR.\n"
    ".SH KEYS\n"
    "What \\fB\\-\\-json\\fR prints besides events; times are RFC 3339 with their offset, sizes "
    "bytes.\n"
    ".TP\n.B query\n\\fIcamera\\fR, \\fIstart\\fR, \\fIend\\fR, \\fIend_from\\fR (stamp: the times "
    "that key frames carry; stream: the length of the stream; name; next file or last change), "
    "\\fItype\\fR (null in the client layout), \\fIlayout\\fR, \\fIbytes\\fR, \\fIdir\\fR, "
    "\\fIpath\\fR.\n"
    ".TP\n.B timeline\n\\fIcamera\\fR, \\fIday\\fR, \\fIseconds\\fR recorded, \\fIrecordings\\fR "
    "(each with \\fIstart\\fR, \\fIend\\fR, \\fItype\\fR), \\fIgaps\\fR (each with "
    "\\fIstart\\fR, \\fIend\\fR).\n"
    ".TP\n.B export\n\\fIpath\\fR, \\fIcamera\\fR, \\fIstart\\fR, \\fIseconds\\fR, "
    "\\fIframes\\fR, \\fIrecordings\\fR, \\fIgaps\\fR, \\fIbytes\\fR.\n"
    ".TP\n.B status\n\\fIkind\\fR disk: \\fIdir\\fR, \\fIfree_bytes\\fR, \\fIfull\\fR, "
    "\\fIfolder\\fR, \\fIoldest_day\\fR, \\fInewest_day\\fR, \\fIrecordings\\fR, "
    "\\fIbytes\\fR, \\fIpictures\\fR, \\fIpicture_bytes\\fR; \\fIkind\\fR camera: "
    "\\fIcamera\\fR, \\fIfirst\\fR, \\fIlast\\fR, \\fIstate\\fR (recording, stopped, or \\- for "
    "one that is only imported), \\fIrecordings\\fR, \\fIbytes\\fR, \\fIseconds_today\\fR, "
    "\\fIgaps_today\\fR, \\fIgap_seconds_today\\fR.\n"
    ".TP\n.B check\n\\fIkind\\fR finding: \\fIdir\\fR, \\fIfinding\\fR, \\fIpath\\fR, "
    "\\fIwhy\\fR, \\fIfiles\\fR, \\fIbytes\\fR; \\fIkind\\fR directory: \\fIdir\\fR, "
    "\\fIfolder\\fR, \\fIlayout\\fR, \\fIin_use\\fR, \\fIrecordings\\fR, \\fIentries\\fR, "
    "\\fIhidden\\fR, \\fIfindings\\fR, \\fIwould_remove_files\\fR, \\fIclean\\fR.\n"
    ".SH SIGNALS\n"
    ".TP\n.B SIGINT, SIGTERM, SIGHUP\nEverything that is being written is closed and made durable, "
    "then the command ends; a second one ends it at once. A closed terminal sends SIGHUP. "
    "\\fBrecord \\-\\-config\\fR, not on a terminal, reads the file again upon SIGHUP and takes "
    "over "
    "its cameras.\n"
    ".TP\n.B SIGPIPE\nIs ignored: recording goes on when whoever read its output has gone.\n"
    ".SH EXIT STATUS\n"
    ".TP\n.B 0\nDone.\n"
    ".TP\n.B 1\nA failure; standard error says what failed, where and why.\n"
    ".TP\n.B 2\nThe command line makes no sense.\n"
    ".TP\n.B 3\nNothing was found.\n"
    ".TP\n.B 4\n\\fBcheck\\fR: index and recordings do not agree; \\fBverify\\fR: something was "
    "changed.\n"
    ".SH ENVIRONMENT\n"
    ".TP\n.B XDG_STATE_HOME\nWhere the library's log files go unless \\fB\\-\\-log\\-dir\\fR says "
    "otherwise: into the folder \\fIlocalstorage\\fR below it.\n"
    ".TP\n.B NO_COLOR\nIf set, \\fBtimeline\\fR draws without colours.\n"
    ".SH FILES\n"
    ".TP\n.I DIR/RecordFile\nThe recordings of a record directory, and their index. The folder "
    "belongs to the engine: whatever does not follow its naming rules there is deleted when the "
    "index is repaired. \\fIDIR/BackupFile\\fR takes its place while it cannot be used.\n"
    ".TP\n.I DIR/ImageFile\nThe snapshots.\n"
    ".TP\n.I /etc/localstorage/record.toml\nWhat \\fIlocalstorage\\-record.service\\fR records.\n"
    ".SH SEE ALSO\n.BR localstorage\\-files (5)\n";

}  // namespace

std::string MakeManPage(const program& stProgram) {
    std::string strPage =
        Head(stProgram, stProgram.strName, "record the video of cameras on local disks") +
        "\\fBlocalstorage\\fR [\\fB\\-\\-log\\-dir\\fR \\fIDIR\\fR] \\fICOMMAND\\fR "
        "[\\fIOPTIONS\\fR]\n.SH DESCRIPTION\n" +
        Roff(stProgram.strDescription) +
        "\nData goes to standard output, messages to standard error.\n.SH COMMANDS\n";
    for (const command& st : stProgram.vCommands) {
        strPage += ".TP\n.BR " + Roff(PageName(stProgram, st)) + " (1)\n" +
                   Roff(st.strDescription) + ".\n";
    }
    return strPage + Options(AllOptions(stProgram)) + END;
}

std::string PageName(const program& stProgram, const command& stCommand) {
    return stProgram.strName + "-" + stCommand.strName;
}

std::string MakeManPage(const program& stProgram, const command& stCommand) {
    // What is told of a command begins with examples; the rest stands behind an empty line.
    const std::string& strHelp = stCommand.strExamples;
    const std::size_t nEnd = std::min(strHelp.find("\n\n"), strHelp.size());
    const std::string strRest = strHelp.substr(std::min(nEnd + 2, strHelp.size()));
    return Head(stProgram, PageName(stProgram, stCommand), stCommand.strDescription) +
           Usage(stCommand) + "\n.SH DESCRIPTION\n" + Roff(stCommand.strDescription) + ".\n" +
           (strRest.empty() ? "" : ".PP\n" + HelpText(strRest)) + Options(AllOptions(stCommand)) +
           ".SH EXAMPLES\n" + HelpText(strHelp.substr(0, nEnd)) +
           ".SH SEE ALSO\n.BR localstorage (1),\n.BR localstorage\\-files (5)\n";
}
