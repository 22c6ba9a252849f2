// The log of these tests: this room's lines, kept instead of written.

#ifndef LOCALSTORAGE_TESTS_INDEXMGR_LOGCAPTURE_H
#define LOCALSTORAGE_TESTS_INDEXMGR_LOGCAPTURE_H

#include <string>
#include <vector>

/// The lines since the last call.
std::vector<std::string> TakeLog();

#endif  // LOCALSTORAGE_TESTS_INDEXMGR_LOGCAPTURE_H
