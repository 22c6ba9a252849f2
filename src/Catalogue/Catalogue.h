// The recordings and pictures of record directories, read without changing anything, in both
// layouts and also while a host records.
//
// What is there comes from the names in the tree. They tell what index entries tell, cost no more
// to read (one folder instead of one index file for each day and camera), and are up to date while
// a host records, after a crash and when hands have put files there. When exactly a recording began
// and ended comes from its own bytes: names count in seconds of a clock that shows an hour twice a
// year, and those of the client layout tell no end.

#ifndef LOCALSTORAGE_CATALOGUE_CATALOGUE_H
#define LOCALSTORAGE_CATALOGUE_CATALOGUE_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Catalogue/Coverage.h"
#include "Catalogue/RecordingName.h"
#include "Catalogue/Tree.h"

/// What tells when a recording ended.
enum class endSource {
    NAME,
    STAMP,       ///< the UTC times that its key frames carry
    STREAM,      ///< its container's times, or the number of its frames, from its start on
    LAST_CHANGE  ///< of its file, or the camera's next recording, whichever came first
};

/// One recording on disk.
struct recording {
    std::string strDir;     ///< record directory, without a trailing "/"
    std::string strFolder;  ///< record folder: RecordFile or BackupFile
    std::string strDay;     ///< day folder
    std::string strCamera;  ///< channel folder
    std::string strName;
    recordingName stName;
    UtcTime tStart = {}, tEnd = {};
    endSource eEnd = endSource::NAME;
    std::uint64_t nBytes = 0;  ///< size when it was looked at
    UtcTime tChange = {};      ///< last change of the file then
    bool bAsked = false;       ///< its own bytes tell when it began and ended, if they can

    bool IsClient() const;  ///< of the client layout
    std::string Path() const;
    /// What it covers: at least one second.
    timeSpan Span() const;
};

/// None is believed to be longer.
constexpr std::chrono::days LONGEST_RECORDING(7);

/// Which recordings are wanted.
struct recordingFilter {
    std::vector<std::string> vCameras = {};  ///< none: every camera
    std::optional<timeSpan> stRange = {};    ///< none: all of them
    unsigned nType = 0;                      ///< 0: every type; the client layout knows none
    /// Where the bytes of recordings are asked when they began and ended, unless in the range.
    std::optional<timeSpan> stExact = {};
    bool bEach = false;   ///< ask each of them, also where another adjoins
    bool bEmpty = false;  ///< files without a byte too, which show nothing
};

/// What was found where not everything may have been read.
template <typename T>
struct found {
    std::vector<T> vFound = {};
    UnreadFolders mUnread = {};  ///< what they hold is missing
};

/// A step of a search: works in record directories, on what has been found there so far. It owns
/// what it uses, and looks at no other directories.
using SearchStep =
    std::function<void(const std::vector<std::string>& vDirs, found<recording>& stFound)>;
/// Has a step carried out in the record directories that are searched, in all at once or one by
/// one. From then on what it leaves out has not been found.
using StepRunner = std::function<void(const SearchStep& fnStep, found<recording>& stFound)>;

/// The recordings that pass the filter, sorted by start time, then camera and path.
///
/// With a range, the folders of its days are read, and for each camera the last one before them, at
/// most a week back: the last recording there may reach into the range.
///
/// When a recording began and ended is read from it where no other one of its camera adjoins, by
/// name and last change, in the client layout with as many bytes; those in between begin and end to
/// the second unless each is asked.
/// Begin and end are those of the stamps that key frames carry; in the remote-backup layout only
/// where they agree with the name. Without stamps a recording begins as its name says. In the
/// client layout, whose names tell no end, it is then as long as its container's times say, unless
/// they were put back, or as its frames at their own rate; those are counted only where the file
/// was not last changed just when the camera's next one began. It never reaches into the next one.
/// An hour that clocks show twice is told apart by the stamps, else by the file's last change. A
/// few threads read the folders, unless of a single camera.
found<recording> SearchRecordings(const std::vector<std::string>& vDirs,
                                  const recordingFilter& stFilter);
/// The same in the directories in which `fnRun` works; what that throws leaves this.
found<recording> SearchRecordings(const recordingFilter& stFilter, const StepRunner& fnRun);
/// All of them: throws std::system_error when a folder cannot be read.
std::vector<recording> FindRecordings(const std::vector<std::string>& vDirs,
                                      const recordingFilter& stFilter);

/// The days in which recordings begin, by the names of their folders, in any order.
found<std::string> SearchDays(const std::vector<std::string>& vDirs);

/// One picture on disk.
struct picture {
    std::string strDir, strDay, strCamera, strName;
    LocalTime tTime;
    UtcTime tTaken;  ///< of an hour that clocks show twice, by the file's last change
    std::uint64_t nBytes = 0;

    std::string Path() const;
};

/// Of these cameras (none: every camera) in a range, or all of them; sorted by time, then camera
/// and path.
found<picture> SearchPictures(const std::vector<std::string>& vDirs,
                              const std::vector<std::string>& vCameras = {},
                              const std::optional<timeSpan>& stRange = {});
/// All of them: throws std::system_error when a folder cannot be read.
std::vector<picture> FindPictures(const std::vector<std::string>& vDirs,
                                  const std::vector<std::string>& vCameras = {},
                                  const std::optional<timeSpan>& stRange = {});

/// The record folders that exist below a record directory.
std::vector<std::string> RecordFolders(const std::string& strDir);

/// Whether a recording of the given layout lies below the record directory, and where the first of
/// them was found. Stops at the first. What cannot be read tells nothing: one bad folder keeps
/// nobody from recording.
std::optional<std::string> FindLayout(const std::string& strDir, LocalStorageType eLayout);

/// Record directories in the form that the catalogue uses: no trailing "/", each once. Throws
/// std::system_error for one that does not exist or is no directory.
std::vector<std::string> ExistingDirs(const std::vector<std::string>& vDirs);
/// The same form, without a look at them.
std::vector<std::string> PlainDirs(const std::vector<std::string>& vDirs);
/// Throws std::system_error for a directory that does not exist or is none.
void RefuseMissing(const std::string& strDir);

#endif  // LOCALSTORAGE_CATALOGUE_CATALOGUE_H
