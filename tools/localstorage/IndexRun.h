// Has the engine bring the index of a record directory in line with its recordings.

#ifndef LOCALSTORAGE_TOOL_INDEXRUN_H
#define LOCALSTORAGE_TOOL_INDEXRUN_H

#include <string>

/// Marks the index below a record folder as not up to date, as the engine does before a change.
/// Throws CFailure.
void MarkIndex(const std::string& strFolderPath);

/// Starts and stops the engine on the directory, which repairs a marked index. The directory must
/// not be locked. Throws CFailure.
void RunIndexRepair(const std::string& strDir);

#endif  // LOCALSTORAGE_TOOL_INDEXRUN_H
