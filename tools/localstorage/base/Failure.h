// How a command fails: in words a user can act on, and with an exit code.

#ifndef LOCALSTORAGE_TOOL_BASE_FAILURE_H
#define LOCALSTORAGE_TOOL_BASE_FAILURE_H

#include <stdexcept>

enum exitCode {
    EXIT_OK = 0,
    EXIT_FAILED = 1,
    EXIT_USAGE = 2,
    EXIT_NOTHING_FOUND = 3,
    EXIT_DAMAGED = 4  ///< check, verify: something is wrong
};

/// A failure that ends the command.
class CFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// An option whose value makes no sense, found after the command line was read.
class CUsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

#endif  // LOCALSTORAGE_TOOL_BASE_FAILURE_H
