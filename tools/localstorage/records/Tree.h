// The record tree as it stands on disk: day folders, channel folders, files. Reads only.

#ifndef LOCALSTORAGE_TOOL_RECORDS_TREE_H
#define LOCALSTORAGE_TOOL_RECORDS_TREE_H

#include <functional>
#include <string>
#include <vector>

/// Names of the sub-directories and of everything else in a directory, sorted.
struct dirListing {
    std::vector<std::string> vecDirs;
    std::vector<std::string> vecFiles;
};

/// Lists a directory. One that is not there, or has just been removed, lists nothing; throws
/// CFailure when it cannot be read to its end.
dirListing ListDir(const std::string& strPath);

/// Whether anything stands at the path; a link counts as what it leads to.
bool Exists(const std::string& strPath);

/// Whether the path is a directory, itself, not a link to one.
bool IsDirectory(const std::string& strPath);

/// One file of a channel folder.
struct treeFile {
    const std::string& strDay;
    const std::string& strCamera;
    const std::string& strName;
};

/// Calls `fnFile` for every file two levels below `strRoot`, day by day, camera by camera, until it
/// returns false. With cameras given, only their folders are looked at.
void WalkTree(const std::string& strRoot, const std::vector<std::string>& vecCameras,
              const std::function<bool(const treeFile&)>& fnFile);

#endif  // LOCALSTORAGE_TOOL_RECORDS_TREE_H
