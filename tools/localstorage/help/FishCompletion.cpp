// Completion for fish, made from the table of commands.

#include "base/Text.h"
#include "help/Command.h"

namespace {

std::string InFishQuotes(const std::string& strText) {
    std::string strOut = "'";
    for (const char c : strText) {
        if (c == '\'' || c == '\\') strOut += '\\';
        strOut += c;
    }
    return strOut + "'";
}

std::string FishAction(const option& st) {
    if (st.strValue.empty()) return {};
    const optionValue stValue = ValueOf(st);
    switch (stValue.eKind) {
        case valueKind::DIRECTORY:
            return " -x -a '(__fish_complete_directories)'";
        case valueKind::PATH:
            return " -r -F";
        case valueKind::WORDS:
            return " -x -a " + InFishQuotes(Joined(stValue.vWords, " "));
        case valueKind::UNKNOWN:
            break;
    }
    return " -x";
}

/// The line that declares an option; `strWhere` is when it may stand.
std::string Line(const option& st, const std::string& strWhere) {
    std::string strLine = "complete -c localstorage" + strWhere;
    if (st.IsPositional()) return strLine + " -F\n";
    for (const std::string& strName : st.Names()) {
        const bool bLong = strName.starts_with("--");
        strLine += (bLong ? " -l " : " -s ") + strName.substr(bLong ? 2 : 1);
    }
    return strLine + " -d " + InFishQuotes(st.strDescription) + FishAction(st) + "\n";
}

}  // namespace

std::string MakeFishCompletion(const program& stProgram) {
    std::string strOut =
        "# Completion for fish; made from the tool's option table\n\ncomplete -c localstorage -f\n";
    for (const option& st : AllOptions(stProgram)) strOut += Line(st, "");
    for (const command& stCommand : stProgram.vCommands) {
        strOut += "complete -c localstorage -n __fish_use_subcommand -a " + stCommand.strName +
                  " -d " + InFishQuotes(stCommand.strDescription) + "\n";
        const std::string strWhere = " -n '__fish_seen_subcommand_from " + stCommand.strName + "'";
        for (const option& st : stCommand.vOptions) strOut += Line(st, strWhere);
    }
    return strOut;
}
