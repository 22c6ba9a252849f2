// The subcommands: one file each, which declares what the command is called, which options it takes
// and what it does.

#ifndef LOCALSTORAGE_TOOL_COMMANDS_COMMANDS_H
#define LOCALSTORAGE_TOOL_COMMANDS_COMMANDS_H

#include <string>

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

/// The program: its own options and every subcommand. `stOptions` gets the defaults.
program LocalStorageProgram(programOptions& stOptions);

#endif  // LOCALSTORAGE_TOOL_COMMANDS_COMMANDS_H
