// Deletes what is older than it is kept, while a host records.

#ifndef LOCALSTORAGE_TOOL_HOST_EXPIRY_H
#define LOCALSTORAGE_TOOL_HOST_EXPIRY_H

#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "host/Host.h"
#include "records/PrunePlan.h"

/// How long recordings and pictures are kept.
struct keepPlan {
    keepRules stRecordings, stPictures;
};

/// Of record directories of the client layout, which has no index that would have to follow. What
/// shows any of today stays, and so does a file that is being written. Any thread.
class CExpiry {
public:
    using PathFunction = std::function<void(const std::string& strPath)>;
    using TextFunction = std::function<void(const std::string& strText)>;

    /// Each file that goes is told, and what fails, in words.
    CExpiry(std::vector<std::string> vDirs, PathFunction fnDeleted, TextFunction fnTrouble);

    void SetPlan(const keepPlan& stPlan);
    /// A message of the engine's: which files are being written.
    void OnEvent(const hostEvent& stEvent);

    /// Deletes what is too old now; may take long.
    void DeleteOld();

private:
    void DeleteOld(StoreFileType eKind, const keepRules& stRules);
    bool IsOpen(const std::string& strPath);

    const std::vector<std::string> m_vDirs;
    const PathFunction m_fnDeleted;
    const TextFunction m_fnTrouble;
    std::mutex m_mtx;
    keepPlan m_stPlan;                ///< guarded by m_mtx
    std::set<std::string> m_setOpen;  ///< paths; guarded by m_mtx
};

#endif  // LOCALSTORAGE_TOOL_HOST_EXPIRY_H
