// localstorage: the command-line host.

#include <cstdlib>
#include <iostream>

#include "base/Failure.h"
#include "commands/Commands.h"
#include "localstorage/LocalStorageLog.h"
#include "media/MediaInput.h"
#include "screen/Terminal.h"

namespace {

/// Runs what the command line asked for; every failure ends here, in words.
int Run(const std::string& strLogDir, const RunFunction& fnRun) {
    try {
        // The library's own default lies outside the user's reach.
        if (EnableTarget(LOG_TARGET_FILE, strLogDir.c_str(), 0, 1) == LOG_ERR_PARAM) {
            throw CUsageError("--log-dir " + strLogDir + ": the path is too long");
        }
        return fnRun();
    } catch (const CUsageError& stError) {
        PrintMessage(stError.what());
        return EXIT_USAGE;
    } catch (const std::exception& stError) {
        PrintMessage(stError.what());
        return EXIT_FAILED;
    }
}

/// Help and version go to standard output; a mistake is told with the help to read.
int TellParseResult(const CLI::App& stApp, const CLI::ParseError& stError) {
    if (stError.get_exit_code() == 0) return stApp.exit(stError);
    std::string strText = stError.what(), strHelp = "localstorage";
    const std::vector<std::string> vecUnknown = stApp.remaining();
    const auto vecCommands = stApp.get_subcommands();
    if (!vecCommands.empty()) {
        strHelp += " " + vecCommands.front()->get_name();
    } else if (!vecUnknown.empty()) {
        strText = "there is no command \"" + vecUnknown.front() + "\"";
    }
    PrintMessage(strText + "; see \"" + strHelp + " --help\"");
    return EXIT_USAGE;
}

}  // namespace

int main(int argc, char** argv) {
    SilenceFfmpeg();
    CLI::App stApp;
    std::string strLogDir;
    RunFunction fnRun;
    AddCommands(stApp, strLogDir, fnRun);
    try {
        stApp.parse(argc, argv);
    } catch (const CLI::ParseError& stError) {
        return TellParseResult(stApp, stError);
    }
    const int nResult = Run(strLogDir, fnRun);
    std::cout.flush();
    if (!std::cout && nResult == EXIT_OK) {
        PrintMessage("standard output could not be written");
        return EXIT_FAILED;
    }
    return nResult;
}
