// The index of one record folder in memory: days, their channels, their record files.
//
// Invariants: days ascend; the channels of a day stand in the order they first came and their
// folder names differ; record files ascend by start time and differ in start or end. No day is
// without a channel and no channel without a file, once a change is complete.
//
// Every change takes a new version number, which it leaves on each index file that it changed, so
// that a flush can tell which files to write.
//
// No lock of its own, no I/O.

#ifndef LOCALSTORAGE_RECORDTREE_INDEXTREE_H
#define LOCALSTORAGE_RECORDTREE_INDEXTREE_H

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "RecordTree/FileList.h"
#include "RecordTree/IndexRecords.h"
#include "RecordTree/Shared.h"

/// One index03.bin.
struct indexChannel {
    indexLevel2Body stBody;
    std::string strName;  ///< of its folder
    CShared<CFileList> objFiles;
    std::uint64_t nVersion = 0;  ///< of its last change
};

/// One index02.bin.
struct indexDay {
    std::string strName;  ///< of its folder
    std::list<indexChannel> lsChannels;
    std::unordered_map<std::string_view, std::list<indexChannel>::iterator> mByName;
    std::uint64_t nVersion = 0;

    /// The channel whose folder has that name, or null.
    const indexChannel* Find(std::string_view strChannel) const;
};

/// What a flush writes: the index files that changed since some version, as they were at one
/// moment.
struct indexSnapshot {
    struct Channels {
        std::string strDay;
        std::vector<indexLevel2Body> vBodies;
    };
    struct Files {
        std::string strDay, strChannel;
        CShared<CFileList> objFiles;
    };

    std::uint64_t nVersion = 0;
    bool bDays = false;  ///< the list of days changed
    std::vector<indexLevel1Body> vDays;
    std::vector<Channels> vChannels;
    std::vector<Files> vFiles;

    bool IsEmpty() const { return !bDays && vChannels.empty() && vFiles.empty(); }
};

/// Version of what is built level by level, before any change.
constexpr std::uint64_t LOADED_VERSION = 1;

class CIndexTree {
public:
    using Days = std::map<dateInfo, indexDay>;

    CIndexTree() = default;
    CIndexTree(CIndexTree&&) = default;
    CIndexTree& operator=(CIndexTree&&) = default;

    /// Enters one record file with its day and channel. False: one with these times is there.
    bool Add(const indexLevel1Body& stDay, const indexLevel2Body& stChannel,
             const indexLevel3Body& stFile);
    /// Removes one record file and what it leaves empty. False: it is not there.
    bool Remove(const indexLevel1Body& stDay, const indexLevel2Body& stChannel,
                const indexLevel3Body& stFile);
    /// Removes a day with everything in it.
    void RemoveDay(const indexLevel1Body& stDay);

    const Days& GetDays() const { return m_mDays; }
    /// Fills in the entry of a channel's file with the times of `stFile`. False: there is none.
    bool Find(const dateInfo& stDate, std::string_view strChannel, indexLevel3Body& stFile) const;
    bool IsEmpty() const { return m_mDays.empty(); }
    std::size_t CountFiles() const;

    // --- Building a whole index, level by level. Null: it is there already. The pointers stay
    // valid until their day or channel leaves.

    indexDay* NewDay(const indexLevel1Body& stDay);
    indexChannel* NewChannel(indexDay& day, const indexLevel2Body& stChannel);

    // --- Versions

    std::uint64_t GetVersion() const { return m_nVersion; }
    /// A new version number, for a change made through a pointer of this tree.
    std::uint64_t NewVersion() { return ++m_nVersion; }
    /// All index files that changed after `nSince`; 0 takes them all.
    indexSnapshot TakeSnapshot(std::uint64_t nSince) const;

private:
    void RemoveChannel(Days::iterator itDay, std::list<indexChannel>::iterator itChannel);

    Days m_mDays;
    std::uint64_t m_nVersion = LOADED_VERSION;
    std::uint64_t m_nDaysVersion = LOADED_VERSION;  // of the last change of index01.bin
};

#endif  // LOCALSTORAGE_RECORDTREE_INDEXTREE_H
