// Helpers on directories, paths and space that the log, the index and the engine share.
//
// They stand directly on the portable runtime and log nothing. Walks skip "." and "..", and never
// follow a link that they meet: it is an entry like a file. Where they begin they follow one when
// they are told to. Any thread.

#ifndef LOCALSTORAGE_FILESYSTEM_FILESYSTEM_H
#define LOCALSTORAGE_FILESYSTEM_FILESYSTEM_H

#include <cstdint>
#include <list>
#include <string>
#include <string_view>

#include "Osl/Osl.h"

/// Whether there is a directory, or a link to one, at the path.
bool IsDirectory(const char* pPath);

/// Whether nothing has this path, not even a link; false where that cannot be told.
bool IsGone(const std::string& strPath);

/// Removes `strPath` with everything below it. Single failures do not stop the walk. True when
/// nothing of it is left; else OSL_GetSystemLastError tells of the first failure. `eLink` is about
/// `strPath` itself: of a link that is followed everything goes but the link and its folder.
bool DeleteDirectory(const std::string& strPath, OSL_LastLink eLink = OSL_LastLink::Fails);

/// Appends the bare names of the sub-directories and of all other entries of `strDir`, in the order
/// the directory gives them. False when it could not be read to its end: then the lists may lack
/// entries, and nobody may take them for the whole directory. `eLink` is about `strDir` itself.
bool GetSubTargetList(const std::string& strDir, std::list<std::string>& lsSubDir,
                      std::list<std::string>& lsSubFile, OSL_LastLink eLink = OSL_LastLink::Fails);

/// Makes every directory that a prefix of `pPath` names which ends before a separator ("/" or "\"),
/// so the last component only when the path ends with one. Directories that this call made get the
/// mode of OSL_SetPrivateModes; those that were there keep theirs. Prefixes must stay below 260
/// bytes. True when all of them exist in the end; else OSL_GetSystemLastError tells why the first
/// could not be made.
bool MakeFullPath(const char* pPath);

/// Turns every "\" into "/" in place and appends a "/" where the last character is none: the buffer
/// needs room for one more. Null is ignored; the text must not be empty.
void ReplaceBlackSlash(char* pPath);

/// `strPath` without its trailing slashes: how directories are compared. Nothing is left of "/".
std::string_view WithoutTrailingSlashes(std::string_view strPath);

/// Gives a directory the mode of OSL_SetPrivateModes.
void SetMacAccessAttr(const char* pPath);

/// True (the list is rejected) exactly when the list is empty. Deliberate: a directory named twice
/// passes here, and gets one index later.
bool VerifyDuplicateDisk(const std::list<std::string>& lsRecDir);

/// Attributes of the entry `strName` of the directory `strDir`; false when there is none.
bool GetFolderAttribute(const std::string& strDir, const std::string& strName, OSL_FINFO_S& stInfo);

/// Free space that this process may use of the file system that holds `pPath`, in MiB, rounded
/// down. False, and 0, when the system cannot tell.
bool GetDiskUsableSpace(const char* pPath, std::uint64_t& nUsableSpace);

#endif  // LOCALSTORAGE_FILESYSTEM_FILESYSTEM_H
