#include "commands/Commands.h"

std::vector<command> QuickCommands() {
    return {QueryCommand(),  TimelineCommand(), StatusCommand(), CheckCommand(),
            RepairCommand(), PruneCommand(),    DumpCommand()};
}
