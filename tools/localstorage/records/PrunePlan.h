// Which days go when old recordings or pictures are deleted. Pure functions.

#ifndef LOCALSTORAGE_TOOL_RECORDS_PRUNEPLAN_H
#define LOCALSTORAGE_TOOL_RECORDS_PRUNEPLAN_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "RecordTree/RecordDirectory.h"
#include "base/Times.h"

/// A file that might go.
struct oldFile {
    std::string strDir;
    std::string strRoot;  ///< folder of the day folders
    std::string strDay, strCamera, strName;
    std::uint64_t nBytes = 0;
    LocalTime tEnd;  ///< end of what it shows

    std::string DayPath() const { return strRoot + "/" + strDay; }
    std::string CameraPath() const { return DayPath() + "/" + strCamera; }
    std::string Path() const { return CameraPath() + "/" + strName; }
};

/// The files that may go at all: those of earlier days that do not run into today, oldest day
/// first.
std::vector<oldFile> EarlierThanToday(std::vector<oldFile> vFiles, LocalTime tNow);

/// Those of days before `tDay`.
std::vector<oldFile> BeforeDay(const std::vector<oldFile>& vFiles, LocalTime tDay);

/// How many days files are kept besides today; 0: for ever.
struct keepRules {
    unsigned nDays = 0;
    std::map<std::string, unsigned> mOfCameras;  ///< of those that have a rule of their own
};

/// Those that are older than they are kept.
std::vector<oldFile> OlderThanKept(const std::vector<oldFile>& vFiles, const keepRules& stRules,
                                   LocalTime tNow);

/// Whole days, the oldest first, until every file system has so many bytes free.
std::vector<oldFile> UntilFree(const std::vector<oldFile>& vFiles,
                               const std::map<std::string, diskRoom>& mRooms,
                               std::uint64_t nKeepFree);

#endif  // LOCALSTORAGE_TOOL_RECORDS_PRUNEPLAN_H
