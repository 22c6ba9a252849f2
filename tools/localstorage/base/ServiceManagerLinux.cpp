#include <cstdlib>
#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include "base/ServiceManager.h"

void TellServiceManager(const std::string& strVariables) {
    sd_notify(0, strVariables.c_str());
}

std::chrono::microseconds WatchdogTime() {
    std::uint64_t nMicroseconds = 0;
    const bool bWatched = sd_watchdog_enabled(0, &nMicroseconds) > 0;
    return std::chrono::microseconds(bWatched ? nMicroseconds : 0);
}

bool IsReadByJournal(outputStream eStream) {
    const char* pStream = std::getenv("JOURNAL_STREAM");
    struct stat st = {};
    if (!pStream || fstat(eStream == outputStream::OUT ? STDOUT_FILENO : STDERR_FILENO, &st) != 0)
        return false;
    return pStream == std::to_string(st.st_dev) + ":" + std::to_string(st.st_ino);
}
