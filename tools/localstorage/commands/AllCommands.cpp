#include "commands/Commands.h"

std::vector<command> AllCommands() {
    return {RecordCommand(), ImportCommand(), QueryCommand(),  TimelineCommand(), ExportCommand(),
            ServeCommand(),  KeepCommand(),   VerifyCommand(), StatusCommand(),   CheckCommand(),
            RepairCommand(), PruneCommand(),  DumpCommand()};
}
