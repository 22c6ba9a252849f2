// The record tree as it stands on disk: day folders, channel folders, files. Reads only.
//
// Below the folder that a walk begins at, a link is nothing: it is neither a folder nor a file.

#ifndef LOCALSTORAGE_CATALOGUE_TREE_H
#define LOCALSTORAGE_CATALOGUE_TREE_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

/// Whether anything stands at the path; a link counts as what it leads to.
bool Exists(const std::string& strPath);

/// Bytes of a file; 0 when the system cannot tell.
std::uint64_t FileSize(const std::string& strPath);

/// Folders that could not be read to their end, by their paths, and the system's error numbers.
using UnreadFolders = std::map<std::string, int>;
/// Throws std::system_error when there is one.
void RefuseUnread(const UnreadFolders& mUnread);

/// One file of a channel folder.
struct treeFile {
    const std::string& strDay;
    const std::string& strCamera;
    const std::string& strName;
};

/// Which folders of a tree are looked at.
struct treePart {
    std::vector<std::string> vCameras;    ///< none: every camera
    std::size_t nShare = 0, nShares = 1;  ///< of these, one of so many shares
    /// Days by the names of their folders, the last one included; a name that is no day's counts
    /// for any.
    std::string strFirstDay = "", strLastDay = "99999999";
    /// Back to this day, the last folder that a camera has before the first day is read too.
    std::string strReach = strFirstDay;
};

/// The names of the days that have a folder of some camera's, in order; of what cannot be read see
/// WalkTree.
std::vector<std::string> DaysOf(const std::string& strRoot, UnreadFolders& mUnread);

/// Calls `fnFile` for every file two levels below `strRoot`, day by day from the last one on,
/// camera by camera, until it returns false. What is not there, or has just been removed, holds
/// nothing. Of a folder that cannot be read to its end that is told, and what was read.
void WalkTree(const std::string& strRoot, const treePart& stPart,
              const std::function<bool(const treeFile&)>& fnFile, UnreadFolders& mUnread);

#endif  // LOCALSTORAGE_CATALOGUE_TREE_H
