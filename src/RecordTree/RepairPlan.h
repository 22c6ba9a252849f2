// What a repair makes of a record folder: the index of what is there, and what it would remove.
//
// Making a plan only reads. CIndex carries it out; the command-line host shows it.

#ifndef LOCALSTORAGE_RECORDTREE_REPAIRPLAN_H
#define LOCALSTORAGE_RECORDTREE_REPAIRPLAN_H

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "RecordTree/IndexTree.h"

/// Where an entry of the record tree lies.
enum class TreeLevel { RecordFolder, Day, Channel };

/// What becomes of an entry.
enum class EntryVerdict {
    Keep,
    KeepIfRecorded,  ///< a folder that stays only if it holds a recording
    IndexFile,       ///< the index's own
    // All others are removed.
    NotADay,         ///< a folder whose name is no day
    NotAChannel,     ///< a folder whose name is no channel
    NotRecorded,     ///< a folder that might be a channel but holds no recording
    OutsideChannel,  ///< a file that lies in no channel folder
    FolderInChannel,
    NotARecording,  ///< a file whose name is no recording's
    LeftOver        ///< an index file that describes nothing
};

/// The rule for one entry; a link counts as a file. Deliberate: whatever does not follow the naming
/// rules goes, so that after a repair the tree holds what the index describes.
EntryVerdict JudgeEntry(TreeLevel eLevel, std::string_view strName, bool bDirectory);

/// Words for a verdict, for people.
const char* VerdictText(EntryVerdict eVerdict);

/// One entry that a repair would remove.
struct repairFinding {
    EntryVerdict eVerdict = EntryVerdict::LeftOver;
    std::string strPath;  ///< full path
    bool bDirectory = false;
};

/// Bytes and number of the files in a finding, the largest one's bytes, and 0 for what is gone.
struct findingSize {
    std::uint64_t nBytes = 0;
    std::uint64_t nFiles = 0;
    std::uint64_t nLargest = 0;
};
findingSize MeasureFinding(const repairFinding& finding);

/// What could not be read or removed, and the system's error number.
struct treeFault {
    std::string strPath;
    int nError = 0;
};

struct repairPlan {
    CIndexTree objTree;  ///< the index of the recordings in the tree
    /// "day/channel/file" of recordings that stay without an entry, since another one of that
    /// channel has the same times.
    std::set<std::string> setTwins;
    /// Likewise of those that stay without one since as many as an index takes begin with them.
    std::vector<std::string> vCrowded;
    /// Folders that could not be read to their end: nothing is known of what lies in them.
    std::vector<treeFault> vUnreadable;
    std::vector<repairFinding> vFindings;
    /// Number of day and channel folders under valid names, with or without recordings.
    std::size_t nDays = 0;
    std::size_t nChannels = 0;
};

/// Reads the tree of a record folder, which may be a link. False, with nothing of the plan to be
/// used but `vUnreadable`, when the record folder itself could not be read.
bool MakeRepairPlan(const std::string& strFolder, repairPlan& plan);

/// Removes the findings. The first that could not be removed, unless it is only left over from the
/// index: such a file says nothing without index01.bin.
std::optional<treeFault> RemoveFindings(const repairPlan& plan);

/// The recordings in which an index and a tree differ, as "day/channel/file".
struct indexDifference {
    std::vector<std::string> vGone;      ///< in the index, not in the tree
    std::vector<std::string> vUnlisted;  ///< in the tree, not in the index
};
indexDifference CompareWithTree(const CIndexTree& index, const repairPlan& plan);

#endif  // LOCALSTORAGE_RECORDTREE_REPAIRPLAN_H
