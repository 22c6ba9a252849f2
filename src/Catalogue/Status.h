// What stands on each disk and of each camera.

#ifndef LOCALSTORAGE_CATALOGUE_STATUS_H
#define LOCALSTORAGE_CATALOGUE_STATUS_H

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Catalogue/Catalogue.h"
#include "Catalogue/FolderInUse.h"
#include "RecordTree/RecordDirectory.h"

/// A camera of which nothing came for so long is not recorded any more.
constexpr Seconds CAMERA_SILENCE(60);

struct diskStatus {
    bool bMissing = false;  ///< the directory is not there
    diskRoom stRoom;
    std::string strFolder;          ///< the record folder in use; empty: there is none
    std::set<std::string> setDays;  ///< by their names
    std::uint64_t nRecordings = 0, nBytes = 0, nPictures = 0, nPictureBytes = 0;
    UnreadFolders mUnread;  ///< what they hold is not counted
    /// When it will be full if it is filled as in the last seven days; nothing: nothing was
    /// recorded.
    std::optional<UtcTime::duration> optUntilFull;
};

struct cameraStatus {
    std::uint64_t nRecordings = 0, nBytes = 0;
    timeSpan stWhole{UtcTime::max(), UtcTime::min()};
    std::vector<timeSpan> vToday;  ///< merged
    bool bLive = false;            ///< recorded as it is filmed: the client layout
    bool bStopped = false;         ///< is no more

    bool HasNeverCome() const { return nRecordings == 0; }
    const char* State() const {
        if (HasNeverCome()) return "never";
        return bStopped ? "stopped" : bLive ? "recording" : "-";
    }
};

/// By record directory and by camera.
using DiskStatuses = std::vector<std::pair<std::string, diskStatus>>;
using CameraStatuses = std::map<std::string, cameraStatus>;

/// The disks, of whose recordings these were found.
DiskStatuses StatusOfDisks(const std::vector<std::string>& vDirs,
                           const found<recording>& stRecordings);
/// The same of one of them.
diskStatus StatusOfDisk(const std::string& strDir, const found<recording>& stRecordings,
                        const CFolderInUse& objFolder);
/// What could not be read of any of them.
UnreadFolders UnreadOf(const DiskStatuses& vDisks);

/// The cameras of these recordings, and those that should be recorded.
CameraStatuses StatusOfCameras(const std::vector<recording>& vRecordings, UtcTime tNow,
                               const std::vector<std::string>& vExpected = {});

#endif  // LOCALSTORAGE_CATALOGUE_STATUS_H
