// Completion for zsh, made from the table of commands.

#include "base/Text.h"
#include "help/Command.h"

namespace {

/// Text within single quotes, where brackets and colons have a meaning.
std::string Escaped(const std::string& strText) {
    std::string strOut;
    for (const char c : strText) {
        if (c == '\'') {
            strOut += "'\\''";
            continue;
        }
        if (c == '[' || c == ']' || c == ':' || c == '\\') strOut += '\\';
        strOut += c;
    }
    return strOut;
}

std::string ZshAction(const option& st) {
    const optionValue stValue = ValueOf(st);
    switch (stValue.eKind) {
        case valueKind::DIRECTORY:
            return "_files -/";
        case valueKind::PATH:
            return "_files";
        case valueKind::WORDS:
            return "(" + Joined(stValue.vWords, " ") + ")";
        case valueKind::UNKNOWN:
            break;
    }
    return " ";
}

/// The arguments of _arguments for an option: one for each name.
std::string Arguments(const option& st) {
    const std::string strValue =
        st.strValue.empty() ? "" : ":" + Escaped(st.strValue) + ":" + ZshAction(st);
    std::string strOut;
    for (const std::string& strName : st.Names()) {
        strOut += " \\\n            '";
        if (st.IsPositional()) {
            strOut += "*:" + Escaped(strName) + ":_files'";
        } else {
            strOut += (st.IsRepeatable() ? "*" : "") + strName + "[" + Escaped(st.strDescription) +
                      "]" + strValue + "'";
        }
    }
    return strOut;
}

}  // namespace

std::string MakeZshCompletion(const program& stProgram) {
    std::string strNames, strOptions, strCases;
    for (const option& st : AllOptions(stProgram)) strOptions += Arguments(st);
    for (const command& stCommand : stProgram.vCommands) {
        strNames +=
            "        '" + stCommand.strName + ":" + Escaped(stCommand.strDescription) + "'\n";
        strCases += "    " + stCommand.strName + ")\n        _arguments";
        for (const option& st : AllOptions(stCommand)) strCases += Arguments(st);
        strCases += "\n        ;;\n";
    }
    return "#compdef localstorage\n# Completion for zsh; made from the tool's option table\n\n"
           "_localstorage() {\n"
           "    local context state state_descr line\n"
           "    typeset -A opt_args\n"
           "    local -a commands=(\n" +
           strNames + "    )\n    _arguments -C" + strOptions +
           " \\\n            '1:command:->command' '*::argument:->argument'\n"
           "    if [[ $state == command ]]; then\n"
           "        _describe command commands\n"
           "        return\n"
           "    fi\n"
           "    case $words[1] in\n" +
           strCases +
           "    esac\n"
           "}\n\n"
           "_localstorage \"$@\"\n";
}
