// The marker that an index is not up to date.

#ifndef LOCALSTORAGE_TOOL_RECORDS_INDEXMARKER_H
#define LOCALSTORAGE_TOOL_RECORDS_INDEXMARKER_H

#include <string>

/// Marks the index below a record folder as not up to date, as the engine does before a change.
/// Throws CFailure.
void MarkIndex(const std::string& strFolderPath);

#endif  // LOCALSTORAGE_TOOL_RECORDS_INDEXMARKER_H
