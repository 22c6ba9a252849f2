// localstorage: the command-line host. Loading what handles video takes longer than most commands
// that need none of it, so they stand here alone; whole.cpp has all.

#include <cerrno>

#include "base/Failure.h"
#include "base/System.h"
#include "base/Text.h"
#include "commands/Commands.h"
#include "screen/Terminal.h"

namespace {

/// Goes on as the whole program, which was built and installed with this one.
int GoOnWhole(char** argv) {
    const std::string strWhole = ProgramFolder() + "/" WHOLE_PROGRAM;
    BecomeProgram(strWhole, argv);
    PrintMessage("cannot run " + strWhole + ": " + ErrorText(errno) +
                 "; it is installed with this program, of the same version");
    return EXIT_FAILED;
}

}  // namespace

int main(int argc, char** argv) {
    programOptions stOptions;
    const program stProgram = LocalStorageProgram(stOptions, QuickCommands());
    const request stRequest = ReadCommandLine(stProgram, argc, argv);
    // A mistake here may be none there, and help there tells of every command.
    const bool bComplete = stRequest.strMistake.empty() && !stRequest.bHelp;
    return bComplete ? Answer(stOptions, stRequest) : GoOnWhole(argv);
}
