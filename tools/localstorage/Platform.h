// What differs between platforms; each has a file of its own.

#ifndef LOCALSTORAGE_TOOL_PLATFORM_H
#define LOCALSTORAGE_TOOL_PLATFORM_H

/// Where programs keep their logs, below the user's home.
extern const char* const STATE_BELOW_HOME;

#endif  // LOCALSTORAGE_TOOL_PLATFORM_H
