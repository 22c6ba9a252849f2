// Reading a command line by the table of commands.

#include <memory>
#include <sstream>

#include <CLI/CLI.hpp>

#include "base/Address.h"
#include "help/Command.h"

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

/// Declares an option for the kind of value that it takes.
class COptionAdder {
public:
    COptionAdder(CLI::App& stApp, const option& stOption) : m_stApp(stApp), m_stOption(stOption) {}

    CLI::Option* operator()(bool* pFlag) const {
        return m_stApp.add_flag(m_stOption.strNames, *pFlag, m_stOption.strDescription);
    }
    CLI::Option* operator()(std::vector<std::string>* pTexts) const {
        return Add(pTexts)->allow_extra_args(false)->take_all();
    }
    CLI::Option* operator()(const std::function<void(const std::string&)>& fnTake) const {
        return m_stApp.add_option_function<std::string>(m_stOption.strNames, fnTake,
                                                        m_stOption.strDescription);
    }
    template <typename T>
    CLI::Option* operator()(T* pValue) const {
        return Add(pValue);
    }

private:
    template <typename T>
    CLI::Option* Add(T* pValue) const {
        return m_stApp.add_option(m_stOption.strNames, *pValue, m_stOption.strDescription);
    }

    CLI::App& m_stApp;
    const option& m_stOption;
};

void AddOption(CLI::App& stApp, const option& st) {
    CLI::Option* pOption = std::visit(COptionAdder(stApp, st), st.target);
    pOption->required(st.bRequired);
    if (!st.IsFlag()) pOption->type_name(st.strValue);
    if (!st.strDefault.empty()) pOption->default_str(st.strDefault);
    if (!st.vChoices.empty()) pOption->check(CLI::IsMember(st.vChoices).description(""));
    if (st.stRange.second > 0) {
        pOption->check(CLI::Range(st.stRange.first, st.stRange.second).description(""));
    }
    if (st.fnFault) pOption->check(CLI::Validator(st.fnFault, ""));
    if (!st.strNeeds.empty()) pOption->needs(stApp.get_option(st.strNeeds));
}

void AddCommand(CLI::App& stApp, const command& stCommand) {
    CLI::App* pCommand = stApp.add_subcommand(stCommand.strName, stCommand.strDescription);
    pCommand->footer(stCommand.Footer());
    for (const option& st : stCommand.vOptions) AddOption(*pCommand, st);
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

/// The mistake, and which help to read. What was typed may hold a password.
std::string MistakeText(const CLI::App& stApp, const CLI::ParseError& stError) {
    std::string strText = stError.what(), strHelp = stApp.get_name();
    const std::vector<std::string> vUnknown = stApp.remaining();
    const auto vCommands = stApp.get_subcommands();
    if (!vCommands.empty()) {
        strHelp += " " + vCommands.front()->get_name();
    } else if (!vUnknown.empty()) {
        strText = "there is no command \"" + vUnknown.front() + "\"";
    }
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
        if (stError.get_exit_code() == 0) return {nullptr, AnswerText(stApp, stError), {}};
        return {nullptr, {}, MistakeText(stApp, stError)};
    }
    const std::string strName = stApp.get_subcommands().front()->get_name();
    const auto it = std::find_if(stProgram.vCommands.begin(), stProgram.vCommands.end(),
                                 [&](const command& st) { return st.strName == strName; });
    return {&*it, {}, {}};
}
