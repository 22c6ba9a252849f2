// The record files of one channel on one day, in memory.
//
// They are kept ascending by start time, equal start times in the order they came, in blocks of at
// most BLOCK_FILES. Each block knows its first start and its latest end, so a search touches one
// block and a query only those that can hold a match. Blocks are shared with snapshots until they
// change. The reserved bytes of the records are not kept: they are 0.
//
// No lock of its own (see CShared).

#ifndef LOCALSTORAGE_RECORDTREE_FILELIST_H
#define LOCALSTORAGE_RECORDTREE_FILELIST_H

#include <algorithm>
#include <cstddef>
#include <vector>

#include "RecordTree/IndexRecords.h"
#include "RecordTree/Shared.h"

/// True when a query for [stStart, stEnd) finds this file: it spans the start, lies inside, or
/// spans the end; one that ends as it starts, whose host did not know the end yet, lasts that
/// second. Deliberate: with the start after the end, files that span either are found all the same.
inline bool IsFileInQuery(const indexLevel3Body& stFile, const fileTimeInfo& stStart,
                          const fileTimeInfo& stEnd) {
    const fileTimeInfo& fs = stFile.stStartTime;
    const fileTimeInfo& fe = stFile.stEndTime;
    if (fs == fe) return fs == stStart || (fs > stStart && fs < stEnd);
    return fs < fe && ((fs <= stStart && fe > stStart) || (fs > stStart && fe < stEnd) ||
                       (fs < stEnd && fe >= stEnd));
}

class CFileList {
public:
    /// Enters a file behind those with the same start time. False: one with the same times is
    /// there, or MAX_TOGETHER with the same start.
    bool Add(const indexLevel3Body& stFile);
    /// Removes the file with these times. False: there is none.
    bool Remove(const indexLevel3Body& stFile);
    /// Fills in the file with the times of `stFile`. False: there is none.
    bool Find(indexLevel3Body& stFile) const;

    /// What AppendAll found.
    enum class Order { Kept, Mended, Doubled };
    /// Enters many files, best in order. Mended: they were not in order, and are now. Doubled: two
    /// had the same times; it stopped at the second.
    Order AppendAll(const indexLevel3Body* pFiles, std::size_t nFiles);

    std::size_t size() const { return m_nFiles; }

    /// Calls f(const indexLevel3Body&) for every file, in order.
    template <typename F>
    void ForEach(F f) const {
        for (const Block& block : m_vBlocks) {
            for (const Entry& entry : *block.objEntries) f(entry.Body());
        }
    }

    /// Calls f for every file that a query for [stStart, stEnd) finds, in order.
    template <typename F>
    void ForEachInQuery(const fileTimeInfo& stStart, const fileTimeInfo& stEnd, F f) const {
        // Whatever the order of the two: a match starts no later than the later one and ends no
        // earlier than the earlier one.
        const fileTimeInfo& stLatest = std::max(stStart, stEnd);
        const fileTimeInfo& stEarliest = std::min(stStart, stEnd);
        for (const Block& block : m_vBlocks) {
            if (block.stFirst > stLatest) return;
            if (block.stLastEnd < stEarliest) continue;
            for (const Entry& entry : *block.objEntries) {
                const indexLevel3Body stFile = entry.Body();
                if (IsFileInQuery(stFile, stStart, stEnd)) f(stFile);
            }
        }
    }

    static constexpr std::size_t BLOCK_FILES = 64;
    /// Files that may start at the same second. No camera records as many; a damaged index file
    /// may.
    static constexpr std::size_t MAX_TOGETHER = 1024;

private:
    // What a record is without its reserved bytes.
    struct Entry {
        fileTimeInfo stStartTime, stEndTime;
        RecFileType enumRecFileType;

        Entry(const indexLevel3Body& stFile)
            : stStartTime(stFile.stStartTime),
              stEndTime(stFile.stEndTime),
              enumRecFileType(stFile.enumRecFileType) {}
        indexLevel3Body Body() const { return {stStartTime, stEndTime, enumRecFileType, {}}; }
    };
    using Entries = std::vector<Entry>;

    struct Block {
        fileTimeInfo stFirst;    // start time of the first entry
        fileTimeInfo stLastEnd;  // latest end time of all
        CShared<Entries> objEntries;

        void Measure();
    };

    // A place in front of an entry, or behind the last one of a block.
    struct Position {
        std::size_t nBlock;
        std::size_t nOffset;
    };

    Position FirstNotBefore(const fileTimeInfo& stStart) const;
    const Entry* At(Position& pos) const;
    bool Search(const indexLevel3Body& stFile, Position& pos, std::size_t& nTogether) const;
    void Insert(Position pos, const indexLevel3Body& stFile);
    void MakeRoom(Position& pos);
    std::size_t AppendRun(const indexLevel3Body* pFiles, std::size_t nFiles);
    const Entry& Last() const;

    std::vector<Block> m_vBlocks;
    std::size_t m_nFiles = 0;
};

#endif  // LOCALSTORAGE_RECORDTREE_FILELIST_H
