// The table's options as the library that parses knows them. For the readers of command line and
// configuration file alone.

#ifndef LOCALSTORAGE_TOOL_HELP_OPTIONPARSER_H
#define LOCALSTORAGE_TOOL_HELP_OPTIONPARSER_H

#include <CLI/CLI.hpp>

#include "help/Command.h"

/// Declares an option, with its checks.
CLI::Option* AddOption(CLI::App& stApp, const option& st);

/// Takes the settings of a command's file into what the command line left open, and notes in
/// `stFile` what the command line said. Throws CUsageError.
void TakeConfig(CLI::App& stApp, const command& stCommand, configFile& stFile);

#endif  // LOCALSTORAGE_TOOL_HELP_OPTIONPARSER_H
