#include <iostream>

#include "Osl/Osl.h"
#include "base/Failure.h"
#include "base/System.h"
#include "base/Times.h"
#include "commands/Commands.h"
#include "localstorage/LocalStorageLog.h"
#include "screen/Terminal.h"

namespace {

int Run(const programOptions& stOptions, const command& stCommand) {
    const std::string& strLogDir = stOptions.strLogDir;
    if (stOptions.bOffset) SetShownClock(shownClock::LOCAL_WITH_OFFSET);
    if (stOptions.bUtc) SetShownClock(shownClock::UTC);
    try {
        SetStorageOption(STORAGE_OPTION_PRIVATE_MODES, 1);
        OSL_SetPrivateModes(true);  // what is made without the library, too
        // The library's own default lies outside the user's reach.
        if (EnableTarget(LOG_TARGET_FILE, strLogDir.c_str(), 0, 1) == LOG_ERR_PARAM) {
            throw CUsageError("--log-dir " + strLogDir + ": the path is too long");
        }
        if (IsReadByJournal(outputStream::ERR)) EnableTarget(LOG_TARGET_DEBUG, nullptr, 0, 0);
        return stCommand.fnRun();
    } catch (const CUsageError& error) {
        PrintMessage(error.what());
        return EXIT_USAGE;
    } catch (const std::exception& error) {
        PrintMessage(error.what());
        return EXIT_FAILED;
    }
}

}  // namespace

int Answer(const programOptions& stOptions, const request& stRequest) {
    int nResult = EXIT_OK;
    if (stRequest.pCommand) {
        nResult = Run(stOptions, *stRequest.pCommand);
    } else if (stRequest.strMistake.empty()) {
        std::cout << stRequest.strAnswer;
    } else {
        PrintMessage(stRequest.strMistake);
        nResult = EXIT_USAGE;
    }
    std::cout.flush();
    if (!std::cout && nResult == EXIT_OK) {
        PrintMessage("standard output could not be written");
        return EXIT_FAILED;
    }
    return nResult;
}
