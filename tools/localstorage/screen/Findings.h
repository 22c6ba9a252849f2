// What was found in record directories, told.

#ifndef LOCALSTORAGE_TOOL_SCREEN_FINDINGS_H
#define LOCALSTORAGE_TOOL_SCREEN_FINDINGS_H

#include <string>
#include <vector>

#include "Catalogue/Catalogue.h"
#include "base/Failure.h"
#include "records/Inspection.h"

/// Prints the findings of record directories, and one summary for each.
void PrintInspections(const std::vector<inspection>& vInspections, bool bJson);

/// Says on standard error which folders could not be read, and why.
void TellUnread(const UnreadFolders& mUnread);
/// The exit code of an answer that lacks what these hold; where there are none, `eWhole`.
exitCode CodeWithout(const UnreadFolders& mUnread, exitCode eWhole = EXIT_OK);

/// Says on standard error which of the recordings that were found no host on `vDirs` would find.
void TellHidden(const std::vector<std::string>& vDirs, const std::vector<recording>& vFound);

/// Says on standard error that the camera has no recording in the range, and what that means.
void TellNothingFound(const std::string& strCamera, const timeSpan& stRange,
                      const std::string& strOutcome);

#endif  // LOCALSTORAGE_TOOL_SCREEN_FINDINGS_H
