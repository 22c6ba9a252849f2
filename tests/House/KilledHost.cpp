// A host that is going to be killed: KilledHost RECORD-DIRECTORY LOG-DIRECTORY FIRST
//
// Opens recording after recording, numbered from FIRST on, and prints the number of each as soon as
// it is open. Every few recordings it releases its engine and starts another, so that flushes and
// starts are met as well.

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "House/Killed.h"

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    constexpr int PER_ENGINE = 8;
    for (int nNumber = std::atoi(argv[3]);;) {
        CBackupHost host(argv[1], argv[2]);
        for (int n = 0; n < PER_ENGINE; ++n, ++nNumber) {
            const std::string strCamera = NumberedCamera(nNumber);
            const recFileInfo stFile = NumberedFile(nNumber);
            if (!host.Open(strCamera, stFile)) return 1;
            char szLine[16];
            const int nSize = std::snprintf(szLine, sizeof(szLine), "%d\n", nNumber);
            if (::write(STDOUT_FILENO, szLine, static_cast<std::size_t>(nSize)) != nSize) return 1;
            host.Write(strCamera, stFile, "stream");
            if (n % 2 == 0) host.Close(strCamera, stFile);
            ::usleep(500);
        }
    }
}
