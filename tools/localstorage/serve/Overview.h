// What stands on all disks and of all cameras. To tell it takes a walk through all that is
// recorded, so who asks again soon is told the same, unless other disks can be read by then.

#ifndef LOCALSTORAGE_TOOL_SERVE_OVERVIEW_H
#define LOCALSTORAGE_TOOL_SERVE_OVERVIEW_H

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Catalogue/Status.h"
#include "serve/Search.h"

struct overview {
    DiskStatuses vDisks;  ///< those that can be read
    CameraStatuses mCameras;
    UnreadFolders mUnread;  ///< what they hold is missing in both
};

class COverview {
public:
    COverview(const CDisks& objDisks, const CSearch& objSearch)
        : m_objDisks(objDisks), m_objSearch(objSearch) {}

    /// Of the directories that can be read. Made by one thread at a time, and kept for ten times as
    /// long as that took: no more than a tenth of the time is spent on it. Throws what making it
    /// throws. Any thread.
    std::shared_ptr<const overview> Get(const std::vector<std::string>& vDirs);

private:
    overview Make(std::vector<std::string> vDirs) const;

    const CDisks& m_objDisks;
    const CSearch& m_objSearch;
    std::mutex m_mutex;
    std::vector<std::string> m_vDirs;  ///< of which the latest was made
    std::shared_ptr<const overview> m_pLatest;
    std::chrono::steady_clock::time_point m_tEnd = {};
};

#endif  // LOCALSTORAGE_TOOL_SERVE_OVERVIEW_H
