// Reading a command line by the table of commands.

#include <algorithm>
#include <memory>
#include <numeric>
#include <sstream>

#include "base/Address.h"
#include "base/Failure.h"
#include "help/OptionParser.h"

namespace {

/// The library's formatter tells what a negated flag is made of as well.
class CHelpFormatter : public CLI::Formatter {
public:
    CHelpFormatter() { column_width(26); }

    std::string make_option_name(const CLI::Option* pOption, bool bPositional) const override {
        std::string strName = CLI::Formatter::make_option_name(pOption, bPositional);
        return strName.substr(0, strName.find('{'));
    }
};

void AddOptions(CLI::App& stApp, const command& stCommand) {
    for (const option& st : stCommand.vOptions) {
        CLI::Option* pOption = AddOption(stApp, st);
        const auto ppFile = std::get_if<configFile*>(&st.target);
        if (!ppFile) continue;
        pOption->each([&stApp, &stCommand, pFile = *ppFile](const std::string& strPath) {
            pFile->strPath = strPath;
            TakeConfig(stApp, stCommand, *pFile);
        });
    }
}

void AddCommand(CLI::App& stApp, const command& stCommand) {
    CLI::App* pCommand = stApp.add_subcommand(stCommand.strName, stCommand.strDescription);
    pCommand->footer(stCommand.Footer());
    AddOptions(*pCommand, stCommand);
}

void AddProgram(CLI::App& stApp, const program& stProgram) {
    stApp.name(stProgram.strName);
    stApp.formatter(std::make_shared<CHelpFormatter>());
    stApp.description(stProgram.strDescription);
    stApp.set_version_flag(VersionOption().strNames, stProgram.strName + " " + stProgram.strVersion,
                           VersionOption().strDescription);
    stApp.set_help_flag(HelpOption().strNames, HelpOption().strDescription);
    stApp.require_subcommand(1);
    // Options of the program may also stand behind the subcommand.
    stApp.fallthrough();
    for (const option& st : stProgram.vOptions) AddOption(stApp, st);
    for (const command& st : stProgram.vCommands) AddCommand(stApp, st);
    stApp.footer(stProgram.strFooter);
}

/// How many characters have to be put in, left out or changed to make one text the other.
std::size_t Distance(const std::string& strOne, const std::string& strOther) {
    std::vector<std::size_t> vRow(strOther.size() + 1);
    std::iota(vRow.begin(), vRow.end(), 0u);
    for (std::size_t i = 1; i <= strOne.size(); ++i) {
        std::size_t nDiagonal = std::exchange(vRow[0], i);
        for (std::size_t j = 1; j <= strOther.size(); ++j) {
            const std::size_t nChanged = nDiagonal + (strOne[i - 1] != strOther[j - 1]);
            nDiagonal = vRow[j];
            vRow[j] = std::min({nChanged, vRow[j] + 1, vRow[j - 1] + 1});
        }
    }
    return vRow.back();
}

/// The name that may have been meant, as a question behind the mistake; empty when none comes near.
std::string Suggestion(std::string strTyped, const std::vector<std::string>& vNames) {
    constexpr std::size_t NEAR = 2;
    strTyped = strTyped.substr(0, strTyped.find('='));
    const auto it = std::min_element(
        vNames.begin(), vNames.end(), [&](const std::string& strOne, const std::string& strOther) {
            return Distance(strTyped, strOne) < Distance(strTyped, strOther);
        });
    if (it == vNames.end() || Distance(strTyped, *it) > NEAR) return {};
    return "; did you mean " + *it + "?";
}

std::vector<std::string> NamesOf(const std::vector<option>& vOptions) {
    std::vector<std::string> vNames;
    for (const option& st : vOptions) {
        const auto vMore = st.Names();
        if (!st.IsPositional()) vNames.insert(vNames.end(), vMore.begin(), vMore.end());
    }
    return vNames;
}

const command& CommandOf(const program& stProgram, const CLI::App& stApp) {
    const std::string strName = stApp.get_subcommands().front()->get_name();
    return *std::find_if(stProgram.vCommands.begin(), stProgram.vCommands.end(),
                         [&](const command& st) { return st.strName == strName; });
}

/// The first option that there is not, with what was meant; empty when all are known.
std::string UnknownOption(const std::vector<std::string>& vUnknown,
                          const std::vector<option>& vOptions) {
    const auto it = std::find_if(vUnknown.begin(), vUnknown.end(),
                                 [](const std::string& str) { return str.starts_with('-'); });
    if (it == vUnknown.end()) return {};
    const auto vNames = NamesOf(vOptions);
    if (std::find(vNames.begin(), vNames.end(), it->substr(0, it->find('='))) != vNames.end()) {
        return *it + " belongs behind the command";
    }
    return "there is no option " + *it + Suggestion(*it, vNames);
}

std::string UnknownCommand(const std::string& strTyped, const program& stProgram) {
    std::vector<std::string> vNames;
    for (const command& st : stProgram.vCommands) vNames.push_back(st.strName);
    return "there is no command \"" + strTyped + "\"" + Suggestion(strTyped, vNames);
}

/// The mistake, and which help to read. What was typed may hold a password.
std::string MistakeText(const program& stProgram, const CLI::App& stApp,
                        const CLI::ParseError& stError) {
    std::string strHelp = stApp.get_name(), strText;
    const std::vector<std::string> vUnknown = stApp.remaining(true);
    std::vector<option> vOptions = AllOptions(stProgram);
    if (!stApp.get_subcommands().empty()) {
        const command& stCommand = CommandOf(stProgram, stApp);
        strHelp += " " + stCommand.strName;
        vOptions.insert(vOptions.end(), stCommand.vOptions.begin(), stCommand.vOptions.end());
    } else if (!vUnknown.empty() && !vUnknown.front().starts_with('-')) {
        strText = UnknownCommand(vUnknown.front(), stProgram);
    }
    if (strText.empty()) strText = UnknownOption(vUnknown, vOptions);
    if (strText.empty()) strText = stError.what();
    return WithoutPasswords(strText) + "; see \"" + strHelp + " --help\"";
}

std::string AnswerText(const CLI::App& stApp, const CLI::ParseError& stError) {
    std::ostringstream stText;
    stApp.exit(stError, stText, stText);
    return stText.str();
}

}  // namespace

request ReadCommandLine(const program& stProgram, int argc, const char* const* argv) {
    CLI::App stApp;
    AddProgram(stApp, stProgram);
    try {
        stApp.parse(argc, argv);
    } catch (const CLI::ParseError& stError) {
        if (stError.get_exit_code() == 0) {
            const bool bVersion = dynamic_cast<const CLI::CallForVersion*>(&stError);
            return {nullptr, AnswerText(stApp, stError), {}, !bVersion};
        }
        return {nullptr, {}, MistakeText(stProgram, stApp, stError)};
    } catch (const CUsageError& error) {
        return {nullptr, {}, error.what()};
    }
    return {&CommandOf(stProgram, stApp), {}, {}};
}

void ReadArguments(const command& stCommand, const std::vector<std::string>& vArguments) {
    CLI::App stApp;
    AddOptions(stApp, stCommand);
    try {
        stApp.parse(std::vector<std::string>(vArguments.rbegin(), vArguments.rend()));
    } catch (const CLI::ParseError& error) {
        throw CUsageError(error.what());
    }
}
