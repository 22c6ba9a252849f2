// The recordings and pictures of record directories, read without changing anything, in both
// layouts and also while a host records.
//
// Everything comes from the names in the tree. They tell what index entries tell, cost no more to
// read (one folder instead of one index file for each day and camera), and are up to date while a
// host records, after a crash and when hands have put files there.

#ifndef LOCALSTORAGE_TOOL_RECORDS_CATALOGUE_H
#define LOCALSTORAGE_TOOL_RECORDS_CATALOGUE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "records/Coverage.h"
#include "records/RecordingName.h"

/// One recording on disk.
struct recording {
    std::string strDir;     ///< record directory, without a trailing "/"
    std::string strFolder;  ///< record folder: RecordFile or BackupFile
    std::string strDay;     ///< day folder
    std::string strCamera;  ///< channel folder
    std::string strName;
    recordingName stName;
    LocalTime tEnd;            ///< as the name says; client layout: see FindRecordings
    std::uint64_t nBytes = 0;  ///< size when it was looked at

    std::string Path() const;
    /// What it covers: at least one second.
    timeSpan Span() const;
};

/// Which recordings are wanted.
struct recordingFilter {
    std::vector<std::string> vCameras;  ///< none: every camera
    std::optional<timeSpan> stRange;    ///< none: all of them
    unsigned nType = 0;                 ///< 0: every type; the client layout knows none
};

/// The recordings that pass the filter, sorted by start time, then camera and path.
///
/// The client layout names no end: there a recording ends where the next one of its camera begins
/// or with its last change, whichever comes first. With a range, folders of days that are more than
/// a week away from it are not looked at. Throws CFailure when a directory cannot be read.
std::vector<recording> FindRecordings(const std::vector<std::string>& vDirs,
                                      const recordingFilter& stFilter);

/// One picture on disk.
struct picture {
    std::string strDir, strDay, strCamera, strName;
    LocalTime tTime;
    std::uint64_t nBytes = 0;

    std::string Path() const;
};

std::vector<picture> FindPictures(const std::vector<std::string>& vDirs);

/// The record folders that exist below a record directory.
std::vector<std::string> RecordFolders(const std::string& strDir);

/// Whether a recording of the given layout lies below the record directory, and where the first of
/// them was found. Stops at the first.
std::optional<std::string> FindLayout(const std::string& strDir, LocalStorageType eLayout);

/// Whether the end of any of them is not its name's (client layout).
bool AnyEndGuessed(const std::vector<recording>& vRecordings);

/// Record directories in the form that the catalogue uses: no trailing "/", each once. Throws
/// CFailure for one that does not exist or is no directory.
std::vector<std::string> ExistingDirs(const std::vector<std::string>& vDirs);

#endif  // LOCALSTORAGE_TOOL_RECORDS_CATALOGUE_H
