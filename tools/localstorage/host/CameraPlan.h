// What a camera is recorded with.

#ifndef LOCALSTORAGE_TOOL_HOST_CAMERAPLAN_H
#define LOCALSTORAGE_TOOL_HOST_CAMERAPLAN_H

#include <string>

#include "base/Times.h"
#include "media/StreamWriter.h"

/// As many as an engine records at once.
constexpr unsigned MOST_CAMERAS = 64;

struct cameraPlan {
    std::string strCamera;
    std::string strInput;  ///< an address, or what stands for one (AddressOf)
    mediaOptions stOptions;
    streamForm stForm;
    bool bRetry = false;        ///< files are read again and again, too
    bool bRealTime = true;      ///< files are read as fast as a camera would send them
    Seconds nSnapshotEvery{0};  ///< 0: no snapshots

    bool operator==(const cameraPlan&) const = default;
};

#endif  // LOCALSTORAGE_TOOL_HOST_CAMERAPLAN_H
