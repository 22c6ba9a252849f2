// "index.dirty" in a record folder: it says that the index files may be older than the tree, see
// IndexFiles.h. It stands when anything has its name, and is never opened through a link.

#ifndef LOCALSTORAGE_RECORDTREE_INDEXMARKER_H
#define LOCALSTORAGE_RECORDTREE_INDEXMARKER_H

#include <string>

enum class IndexMarker {
    None,
    Stands,
    Unknown  ///< cannot be asked for: it may stand
};
IndexMarker AskIndexMarker(const std::string& strFolder);

/// Makes it, as a plain file, also where something else has its name. False on failure: errno tells
/// why.
bool MakeIndexMarker(const std::string& strFolder);

/// Makes its standing durable. False on failure: errno tells why.
bool SyncIndexMarker(const std::string& strFolder);

/// Removes whatever has its name. True when nothing has it any more.
bool RemoveIndexMarker(const std::string& strFolder);

/// Sees to it that no start trusts the index files: removes index01.bin, or where that cannot be
/// (perhaps on a disk that is read-only by now), has the marker stand, which says the same. 0, or
/// the error number of the removal when neither could be done.
int DisownIndexFiles(const std::string& strFolder);

#endif  // LOCALSTORAGE_RECORDTREE_INDEXMARKER_H
