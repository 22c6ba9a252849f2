// The manager of services that started this process, if one did. Any thread.

#ifndef LOCALSTORAGE_TOOL_BASE_SERVICEMANAGER_H
#define LOCALSTORAGE_TOOL_BASE_SERVICEMANAGER_H

#include <chrono>
#include <string>

/// Tells it variables such as "READY=1", one a line. Nothing happens without a manager.
void TellServiceManager(const std::string& strVariables);

/// It ends the process when it has not been told "WATCHDOG=1" for so long; 0: it does not.
std::chrono::microseconds WatchdogTime();

#endif  // LOCALSTORAGE_TOOL_BASE_SERVICEMANAGER_H
