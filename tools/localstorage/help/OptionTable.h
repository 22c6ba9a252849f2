// The command line as a table, read from its declaration: what completion and man page are made of.

#ifndef LOCALSTORAGE_TOOL_HELP_OPTIONTABLE_H
#define LOCALSTORAGE_TOOL_HELP_OPTIONTABLE_H

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

struct optionEntry {
    std::vector<std::string> vecNames;  ///< with their dashes; the bare name of a positional
    std::string strValue;               ///< what it takes, such as DIR; empty for a flag
    std::string strDescription;
    std::string strDefault;
    bool bPositional = false;
    bool bRequired = false;
    bool bRepeatable = false;
};

struct commandEntry {
    std::string strName;
    std::string strDescription;
    std::string strFooter;
    std::vector<optionEntry> vecOptions;
};

/// The options of the program or of one subcommand.
commandEntry DescribeCommand(const CLI::App& stCommand);
/// Its subcommands, in the order of declaration.
std::vector<commandEntry> DescribeSubcommands(const CLI::App& stApp);

/// Completion for bash, and the page for man(1), of the whole program.
std::string MakeBashCompletion(const CLI::App& stApp);
std::string MakeManPage(const CLI::App& stApp);

#endif  // LOCALSTORAGE_TOOL_HELP_OPTIONTABLE_H
