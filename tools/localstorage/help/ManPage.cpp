// The page for man(1), made from the table of commands.

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

std::string CommandText(const command& stCommand) {
    std::string strText = ".SS " + stCommand.strName + "\n" + Roff(stCommand.strDescription) +
                          ".\n.PP\n" + Usage(stCommand) + "\n";
    for (const option& st : AllOptions(stCommand)) strText += OptionText(st);
    return strText + ".PP\n.nf\n" + Roff(stCommand.Footer()) + "\n.fi\n";
}

constexpr const char* END =
    ".SH EXIT STATUS\n"
    ".TP\n.B 0\nDone.\n"
    ".TP\n.B 1\nA failure; standard error says what failed, where and why.\n"
    ".TP\n.B 2\nThe command line makes no sense.\n"
    ".TP\n.B 3\nNothing was found.\n"
    ".TP\n.B 4\n\\fBcheck\\fR: index and recordings do not agree.\n"
    ".SH ENVIRONMENT\n"
    ".TP\n.B XDG_STATE_HOME\nWhere the library's log files go unless \\fB\\-\\-log\\-dir\\fR says "
    "otherwise: into the folder \\fIlocalstorage\\fR below it.\n"
    ".TP\n.B NO_COLOR\nIf set, \\fBtimeline\\fR draws without colours.\n"
    ".SH FILES\n"
    ".TP\n.I DIR/RecordFile\nThe recordings of a record directory, and their index. The folder "
    "belongs to the engine: whatever does not follow its naming rules there is deleted when the "
    "index is repaired. \\fIDIR/BackupFile\\fR takes its place while it cannot be used.\n"
    ".TP\n.I DIR/ImageFile\nThe snapshots.\n";

}  // namespace

std::string MakeManPage(const program& stProgram) {
    std::string strPage =
        ".TH LOCALSTORAGE 1 \"\" \"" + stProgram.strName + " " + stProgram.strVersion +
        "\" \"User Commands\"\n.SH NAME\nlocalstorage \\- record the video of cameras on local "
        "disks\n.SH SYNOPSIS\n\\fBlocalstorage\\fR [\\fB\\-\\-log\\-dir\\fR \\fIDIR\\fR] "
        "\\fICOMMAND\\fR [\\fIOPTIONS\\fR]\n.SH DESCRIPTION\n" +
        Roff(stProgram.strDescription) +
        "\nData goes to standard output, messages to standard error.\n.SH OPTIONS\n";
    for (const option& st : AllOptions(stProgram)) strPage += OptionText(st);
    strPage +=
        ".SH TIMES\nTimes are local: \\fB2024\\-03\\-05T08:00:00\\fR, "
        "\\fB\"2024\\-03\\-05 08:00\"\\fR, \\fB2024\\-03\\-05\\fR, \\fB08:00\\fR, "
        "\\fBnow\\fR, \\fBtoday\\fR, \\fByesterday\\fR, \\fB\"yesterday 08:00\"\\fR, or an "
        "age such as \\fB\\-90s\\fR, \\fB\\-2h\\fR, \\fB\\-1d12h\\fR. Spans are written "
        "\\fB90\\fR, \\fB90s\\fR, \\fB15m\\fR, \\fB1h30m\\fR.\n.SH COMMANDS\n";
    for (const command& st : stProgram.vCommands) strPage += CommandText(st);
    return strPage + END;
}
