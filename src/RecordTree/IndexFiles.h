// The index files: where they stand, how they are read and how a set of them is written.
//
// Below a record folder stand one index01.bin (the days), in every day folder one index02.bin (its
// channels), in every channel folder one index03.bin (its record files). All are little-endian:
//
//     0  4                   count of elements, never 0
//     4  4                   reserved, 0
//     8  count x element     of 4, 92 or 44 bytes: indexLevel1Body, indexLevel2Body or
//                            indexLevel3Body
//
// What holds on disk, also after a crash (writer, check and repair cite these numbers):
//
//   [1] No index file is written to before "index.dirty" beside index01.bin is durable.
//   [2] Unless "index.dirty" stands beside index01.bin, or index01.bin is missing, the index files
//       are whole and one set: every day of index01.bin has its index02.bin, every channel of it
//       its index03.bin, and together they list the recordings of the tree.
//
// Procedures, and what a crash leaves behind after each step:
//
//   Change  C1  make "index.dirty", unless it stands since the last flush
//           C2  make or remove the record file              [2] by the marker: repaired at start
//           C3  change the index in memory                  likewise
//   Flush   C1 again, then
//           F1  make the marker durable                     the old set, marker: repaired
//           F2  write every changed file in its place       a torn set, marker: repaired
//           F3  make them durable, all at once              the new set, marker: repaired
//           F4  remove the marker, if no change came or is under way: the new set, complete
//   Repair  R1  read the whole tree
//           R2  remove index01.bin                          [2] by its absence: repaired again
//               (where it cannot be removed, or R1 broke off somewhere, [2] by the marker)
//           R3  remove what does not belong, unless R1 broke off or R2 failed
//           R4  flush everything (F1 to F4)
//
// A power cut may also lose what was not yet durable. F1 comes before F2, so the marker is there
// whatever of F2 is; F3 before F4, so whatever the marker's absence vouches for is there; the file
// system keeps the order of new names and removals.
//
// Who reads beside a writer may meet a file that is half written; the marker stands then.

#ifndef LOCALSTORAGE_RECORDTREE_INDEXFILES_H
#define LOCALSTORAGE_RECORDTREE_INDEXFILES_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "RecordTree/IndexTree.h"
#include "RecordTree/Names.h"

enum class IndexFileError {
    None,
    NotExist,
    Open,
    Silent,  ///< seek failed, or too short to have an element: Deliberate, an empty level is damage
    Head,
    Length,
    Memory,
    Body,
    Element,  ///< what no index can hold: a name that may name no folder, the same thing twice
    Sync
};

/// What went wrong with which index file.
struct indexFileFault {
    IndexFileError eError = IndexFileError::None;
    int nLevel = 1;
    std::string strPath;
    std::uint32_t nCount = 0;  ///< as its head says
    int nSystemError = 0;      ///< 0: none
};

/// How far LoadIndex trusts the length of a file.
enum class IndexLength {
    Exact,  ///< a file must be as long as its count says
    AtLeast
};

/// Runs two pieces of work, one after the other or at the same time; neither throws.
using LoadWork = std::function<void()>;
using RunBoth = void (*)(const LoadWork& first, const LoadWork& second);
inline void RunInTurn(const LoadWork& first, const LoadWork& second) {
    first();
    second();
}

/// Reads all index files of record folder `strFolder` into the empty `tree`, each once:
/// index01.bin, then, one half of the days beside the other, day by day its index02.bin and their
/// index03.bin. False with the first fault; the tree is then incomplete. Memory grows with what the
/// files hold, never with what they claim.
bool LoadIndex(const std::string& strFolder, IndexLength eLength, CIndexTree& tree,
               indexFileFault& fault, RunBoth runBoth = RunInTurn);

/// Reads one index file, of the level that its name says, and calls the function of that level for
/// each element. False with the fault.
struct indexFileVisitor {
    std::function<bool(const indexLevel1Body&)> onDay;
    std::function<bool(const indexLevel2Body&)> onChannel;
    std::function<bool(const indexLevel3Body&)> onFile;
};
bool ReadIndexFile(const std::string& strPath, const indexFileVisitor& visitor,
                   indexFileFault& fault);

/// Writes the files of a snapshot (F1 to F3); the marker must stand. False with the first fault:
/// then some files may be torn, and the marker has to stay.
bool WriteIndexFiles(const std::string& strFolder, const indexSnapshot& snapshot,
                     indexFileFault& fault);

#endif  // LOCALSTORAGE_RECORDTREE_INDEXFILES_H
