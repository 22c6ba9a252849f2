#include <systemd/sd-daemon.h>

#include "base/ServiceManager.h"

void TellServiceManager(const std::string& strVariables) {
    sd_notify(0, strVariables.c_str());
}

std::chrono::microseconds WatchdogTime() {
    std::uint64_t nMicroseconds = 0;
    const bool bWatched = sd_watchdog_enabled(0, &nMicroseconds) > 0;
    return std::chrono::microseconds(bWatched ? nMicroseconds : 0);
}
