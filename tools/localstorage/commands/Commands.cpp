#include "commands/Commands.h"

#include "help/CommonOptions.h"

program LocalStorageProgram(programOptions& stOptions, std::vector<command> vCommands) {
    stOptions.strLogDir = DefaultLogDir();
    return {
        "localstorage",
        LOCALSTORAGE_VERSION,
        "Records the video of cameras on local disks, finds it again, keeps it tidy.",
        "Times are local: 2024-03-05T08:00:00, \"2024-03-05 08:00\", 2024-03-05, 08:00, now, "
        "today,\n"
        "yesterday, \"yesterday 08:00\", or an age: -90s, -30m, -2h, -1d12h. Z or an offset may "
        "stand\n"
        "behind a time of day: 08:00Z, 2024-03-05T08:00:00+02:00. A range takes in both hours "
        "that\n"
        "the end of summer time makes of one.\n\n"
        "Exit codes: 0 done, 1 failure, or a folder could not be read, 2 wrong usage, 3 nothing\n"
        "found, 4 check, verify: something is wrong.\n\n"
        "\"localstorage COMMAND --help\" tells more of each command, with examples.",
        {{"--log-dir", &stOptions.strLogDir,
          "Directory of the library's log files; unless given, localstorage in the user's state "
          "directory",
          "DIR"},
         {"--utc", &stOptions.bUtc, "Take and print times in UTC; names of files stay local"},
         {"--offset", &stOptions.bOffset,
          "Print the offset behind every time; --json always does"}},
        std::move(vCommands)};
}
