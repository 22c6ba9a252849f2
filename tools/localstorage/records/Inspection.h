// What is wrong with the index of a record directory, and what a repair would do about it. Reads
// only; check shows it, repair acts on it.

#ifndef LOCALSTORAGE_TOOL_RECORDS_INSPECTION_H
#define LOCALSTORAGE_TOOL_RECORDS_INSPECTION_H

#include <cstdint>
#include <string>
#include <vector>

#include "Catalogue/Tree.h"

/// What kind of thing was found.
enum class findingKind {
    NOT_UP_TO_DATE,  ///< the marker of an unfinished change
    DAMAGED,         ///< an index file that cannot be used
    GONE,            ///< an entry without its file
    UNLISTED,        ///< a recording without an entry
    TWIN,            ///< a recording without an entry, since another has the same times
    CROWDED,         ///< a recording without an entry, since too many others begin with it
    HIDDEN,          ///< recordings in a record folder that no host uses any more
    UNREADABLE,      ///< a folder that could not be read
    FOREIGN          ///< a repair removes it
};

struct finding {
    findingKind eKind = findingKind::FOREIGN;
    std::string strPath;
    std::string strWhy;
    bool bDirectory = false;
    std::uint64_t nFiles = 0, nBytes = 0, nLargest = 0;  ///< of what is foreign or hidden
    bool bRecording = false;                             ///< a recording of the client layout
};

struct inspection {
    std::string strDir;
    std::string strFolder;       ///< record folder in use
    bool bEmpty = false;         ///< it is not there: nothing recorded yet
    bool bClientLayout = false;  ///< there is no index to look at
    bool bInUse = false;         ///< a host is recording: what it has not flushed yet is no fault
    std::uint64_t nRecordings = 0;  ///< in the tree
    std::uint64_t nEntries = 0;     ///< in the index
    std::uint64_t nHidden = 0;      ///< recordings that no host finds
    UnreadFolders mUnread;          ///< nothing is known of what they hold
    std::vector<finding> vFindings;

    std::string FolderPath() const { return strDir + "/" + strFolder; }
    bool IsClean() const;
    /// Whether something is wrong that a repair mends.
    bool NeedsRepair() const;
    /// Files that a repair would remove; it removes nothing while something cannot be read.
    std::uint64_t RemovedFiles() const;
    /// Why a repair should not go ahead unasked; empty when it may.
    std::string Alarm() const;
};

/// Whether the next start of a host on this record folder makes the index anew, and so removes what
/// is foreign.
bool IsRepairDue(const std::string& strFolderPath);

/// Looks at a record directory of which hosts use this record folder. Throws CFailure when a folder
/// of it cannot be read.
inspection Inspect(const std::string& strDir, const std::string& strFolder);
/// Looks at record directories that one host uses.
std::vector<inspection> InspectAll(const std::vector<std::string>& vDirs);
/// Looks at what of them can be read; what cannot is a finding.
std::vector<inspection> InspectReadable(const std::vector<std::string>& vDirs);

/// The word for a kind in tables and JSON.
const char* KindName(findingKind eKind);

#endif  // LOCALSTORAGE_TOOL_RECORDS_INSPECTION_H
