// A host that is going to be killed: KilledHost RECORD-DIRECTORY LOG-DIRECTORY FIRST CAMERA...
//
// Opens recording after recording of the cameras, numbered from FIRST on, and prints the path of
// each when the engine tells it. Every few recordings it releases its engine and starts another, so
// that flushes and starts are met as well.

#include <cstdlib>
#include <unistd.h>

#include "Support/Host.h"

namespace {

int PrintPath(int nType, void* pData, unsigned int, void*) {
    if (nType != MESSAGEVALUE_CREATEFILE) return 0;
    const std::string strLine = std::string(static_cast<recFileEvent*>(pData)->szFileName) + "\n";
    const auto nSize = static_cast<ssize_t>(strLine.size());
    if (::write(STDOUT_FILENO, strLine.data(), strLine.size()) != nSize) std::_Exit(1);
    return 0;
}

/// Ten minutes each, one after the other, from 2024-03-01 on.
recFileInfo NumberedFile(int nNumber) {
    constexpr int PER_HOUR = 6, PER_DAY = 24 * PER_HOUR;
    recFileInfo stFile;
    stFile.stStartTime = BlockTime(2024, 3, 1 + nNumber / PER_DAY, nNumber % PER_DAY / PER_HOUR,
                                   nNumber % PER_HOUR * 10);
    stFile.stEndTime = stFile.stStartTime;
    stFile.stEndTime.byMinute += 9;
    return stFile;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) return 2;
    constexpr int PER_ENGINE = 8;
    for (int nNumber = std::atoi(argv[3]);;) {
        tagStoreInfo stInfo;
        AddRecordDir(stInfo, argv[1]);
        stInfo.pFunCallback = PrintPath;
        CHost host(stInfo, argv[2]);
        for (int n = 0; n < PER_ENGINE; ++n, ++nNumber) {
            const std::string strCamera = argv[4 + nNumber % (argc - 4)];
            const recFileInfo stFile = NumberedFile(nNumber);
            if (!host.Open(strCamera, stFile)) return 1;
            host.Write(strCamera, stFile, "stream");
            if (n % 2 == 0) host.Close(strCamera, stFile);
            ::usleep(500);
        }
    }
}
