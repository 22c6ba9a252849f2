// Ctrl-C and SIGTERM as a flag, so that everything can be closed properly.

#ifndef LOCALSTORAGE_TOOL_STOPSIGNAL_H
#define LOCALSTORAGE_TOOL_STOPSIGNAL_H

#include <atomic>

/// Catches SIGINT and SIGTERM from now on and returns the flag that they set. A second one ends the
/// process at once. A reader of standard output that goes away is no longer fatal.
const std::atomic<bool>& CatchStopSignals();

/// Sets the flag from inside, as a signal would.
void RequestStop();

#endif  // LOCALSTORAGE_TOOL_STOPSIGNAL_H
