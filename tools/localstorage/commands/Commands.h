// The subcommands: one file each, which declares what the command is called, which options it takes
// and what it does.

#ifndef LOCALSTORAGE_TOOL_COMMANDS_COMMANDS_H
#define LOCALSTORAGE_TOOL_COMMANDS_COMMANDS_H

#include <string>
#include <vector>

#include "help/Command.h"

command RecordCommand();
command ImportCommand();
command QueryCommand();
command TimelineCommand();
command ExportCommand();
command ServeCommand();
command KeepCommand();
command VerifyCommand();
command StatusCommand();
command CheckCommand();
command RepairCommand();
command PruneCommand();
command DumpCommand();

/// What is said to the program rather than to a subcommand.
struct programOptions {
    std::string strLogDir;
    bool bUtc = false, bOffset = false;
};

/// Every subcommand, in the order of the help.
std::vector<command> AllCommands();
/// Those that need neither video nor the server, nor the libraries for these.
std::vector<command> QuickCommands();

/// The program: its own options and these subcommands. `stOptions` gets the defaults.
program LocalStorageProgram(programOptions& stOptions, std::vector<command> vCommands);

/// Does what the command line asked for; every failure ends here, in words. Returns the exit code.
int Answer(const programOptions& stOptions, const request& stRequest);

#endif  // LOCALSTORAGE_TOOL_COMMANDS_COMMANDS_H
