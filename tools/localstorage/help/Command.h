// The command line as a table: what each command is called, which options it takes and what it
// does. Whatever knows the command line reads it: the parser, completion and man page.

#ifndef LOCALSTORAGE_TOOL_HELP_COMMAND_H
#define LOCALSTORAGE_TOOL_HELP_COMMAND_H

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

/// Says why a value cannot be used; empty when it can.
using FaultFunction = std::function<std::string(const std::string&)>;

/// A file of settings that a command takes besides its command line, which overrides it.
struct configFile {
    std::string strPath;                  ///< empty: none
    std::vector<std::string> vArguments;  ///< the command line, so that both can be read again
};

struct option {
    /// Where the value goes. A flag has a bool; a vector takes the option several times; the
    /// settings of a file go to the options that they name.
    using Target = std::variant<bool*, std::string*, std::vector<std::string>*, unsigned*,
                                std::uint64_t*, configFile*>;

    std::string strNames;  ///< "--dir", "-o,--output"; "!" marks what unsets a flag; without dashes
                           ///< a positional
    Target target;         ///< must outlive the command
    std::string strDescription = {};
    std::string strValue = {};    ///< what it takes, such as DIR
    std::string strDefault = {};  ///< as help shows it
    bool bRequired = false;
    std::vector<std::string> vChoices = {};                ///< empty: any text
    std::pair<std::uint64_t, std::uint64_t> stRange = {};  ///< of a number
    FaultFunction fnFault = {};
    std::string strNeeds = {};  ///< option without which it makes no sense
    bool bInConfig = true;      ///< false: only the command line may have it
    /// What may be shown of a value that can hold a secret.
    std::function<std::string(const std::string&)> fnShown = {};

    std::string Key() const;  ///< as a configuration file names it: the first name, without dashes
    std::vector<std::string> Names() const;  ///< as they are typed
    bool IsPositional() const { return strNames.front() != '-' && strNames.front() != '!'; }
    bool IsFlag() const { return std::holds_alternative<bool*>(target); }
    bool IsRepeatable() const { return std::holds_alternative<std::vector<std::string>*>(target); }
};

/// How a shell completes the value of an option.
enum class valueKind {
    UNKNOWN,  ///< only the user knows it
    DIRECTORY,
    PATH,
    WORDS  ///< one of a few, or something like them
};
struct optionValue {
    valueKind eKind = valueKind::UNKNOWN;
    std::vector<std::string> vWords = {};
};
optionValue ValueOf(const option& st);

/// Tables of a configuration file: [NAME.ID].
struct configTable {
    std::string strName;
    /// A table begins at `strWhere` (FILE:LINE): what may stand in it. Throws CUsageError.
    std::function<std::vector<option>(const std::string& strId, const std::string& strWhere)>
        fnOptions;
};

struct command {
    std::string strName = {};
    std::string strDescription = {};
    std::string strExamples = {};
    std::vector<option> vOptions = {};
    std::function<int()> fnRun = {};  ///< returns the exit code
    configTable stTable = {};         ///< of its configuration file

    std::string Footer() const { return "Examples:\n" + strExamples; }
};

struct program {
    std::string strName;
    std::string strVersion;
    std::string strDescription;
    std::string strFooter;
    std::vector<option> vOptions;
    std::vector<command> vCommands;
};

/// Those that the parser answers by itself, which the tables do not name.
option HelpOption();
option VersionOption();
/// Everything that may be given, in the order of the help.
std::vector<option> AllOptions(const command& stCommand);
std::vector<option> AllOptions(const program& stProgram);

/// What a command line asks for: one of these.
struct request {
    const command* pCommand = nullptr;  ///< its options have their values
    std::string strAnswer;              ///< help or version, to be printed
    std::string strMistake;             ///< what is wrong with it
    bool bHelp = false;                 ///< the answer is help
};

request ReadCommandLine(const program& stProgram, int argc, const char* const* argv);
/// Reads a command's own arguments, and the file that they name, into its options. Throws
/// CUsageError.
void ReadArguments(const command& stCommand, const std::vector<std::string>& vArguments);

/// The values that options have now, as a configuration file that can be read.
std::string ConfigText(const std::vector<option>& vOptions);

/// Completion for shells, of the whole program.
std::string MakeBashCompletion(const program& stProgram);
std::string MakeZshCompletion(const program& stProgram);
std::string MakeFishCompletion(const program& stProgram);

/// The pages for man(1): of the whole program, and of a command, which has a name of its own.
std::string MakeManPage(const program& stProgram);
std::string PageName(const program& stProgram, const command& stCommand);
std::string MakeManPage(const program& stProgram, const command& stCommand);

#endif  // LOCALSTORAGE_TOOL_HELP_COMMAND_H
