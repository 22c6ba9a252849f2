// Completion for bash, made from the table of commands.

#include "base/Text.h"
#include "help/Command.h"

namespace {

std::string OptionWords(const std::vector<option>& vOptions) {
    std::string strWords;
    for (const option& st : vOptions) {
        if (!st.IsPositional()) strWords += (strWords.empty() ? "" : " ") + Joined(st.Names(), " ");
    }
    return strWords;
}

std::string BashAction(const option& st) {
    const optionValue stValue = ValueOf(st);
    switch (stValue.eKind) {
        case valueKind::DIRECTORY:
            return "_localstorage_paths -d";
        case valueKind::PATH:
            return "_localstorage_paths -f";
        case valueKind::WORDS:
            return "COMPREPLY=($(compgen -W \"" + Joined(stValue.vWords, " ") + "\" -- \"$cur\"))";
        case valueKind::UNKNOWN:
            break;
    }
    return "COMPREPLY=()";
}

/// One case of the shell's switch over command and option.
std::string ValueCase(const std::string& strCommand, const option& st) {
    if (st.IsPositional() || st.strValue.empty()) return {};
    std::vector<std::string> vPatterns;
    for (const std::string& strName : st.Names()) vPatterns.push_back(strCommand + ":" + strName);
    return "    " + Joined(vPatterns, " | ") + ")\n        " + BashAction(st) +
           "\n        return\n        ;;\n";
}

}  // namespace

std::string MakeBashCompletion(const program& stProgram) {
    std::string strNames, strValues, strOptions;
    for (const option& st : stProgram.vOptions) strValues += ValueCase("*", st);
    for (const command& stCommand : stProgram.vCommands) {
        strNames += (strNames.empty() ? "" : " ") + stCommand.strName;
        for (const option& st : stCommand.vOptions) {
            strValues += ValueCase(stCommand.strName, st);
        }
        strOptions += "    " + stCommand.strName + ") words=\"" +
                      OptionWords(AllOptions(stCommand)) + "\" ;;\n";
    }
    return "# bash completion for localstorage; made from its option table\n\n"
           "_localstorage_paths() {\n"
           "    local IFS=$'\\n'\n"
           "    COMPREPLY=($(compgen \"$1\" -- \"$cur\"))\n"
           "}\n\n"
           "_localstorage() {\n"
           "    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}\n"
           "    local command= word words\n"
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "        case \" " +
           strNames +
           " \" in *\" $word \"*) command=$word; break ;; esac\n"
           "    done\n"
           "    case $command:$prev in\n" +
           strValues +
           "    esac\n"
           "    case $command in\n" +
           strOptions + "    *) words=\"" + strNames + " " + OptionWords(AllOptions(stProgram)) +
           "\" ;;\n"
           "    esac\n"
           "    if [[ -n $command && $cur != -* ]]; then\n"
           "        _localstorage_paths -f\n"
           "    else\n"
           "        COMPREPLY=($(compgen -W \"$words\" -- \"$cur\"))\n"
           "    fi\n"
           "}\n"
           "complete -o filenames -F _localstorage localstorage\n";
}
