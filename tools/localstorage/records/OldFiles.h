// Old recordings and pictures on disk: found, and deleted.

#ifndef LOCALSTORAGE_TOOL_RECORDS_OLDFILES_H
#define LOCALSTORAGE_TOOL_RECORDS_OLDFILES_H

#include <functional>
#include <string>
#include <system_error>
#include <vector>

#include "localstorage/LocalStorage.h"
#include "records/PrunePlan.h"

/// All recordings that hosts find in these record directories, or all pictures, in any order.
/// Throws std::system_error.
std::vector<oldFile> FindOldFiles(const std::vector<std::string>& vDirs, StoreFileType eKind);

/// Deletes the files, and the folders in which nothing but files of the index is left. Each file is
/// told with what the system says, but for one that was gone already.
void DeleteOldFiles(const std::vector<oldFile>& vFiles,
                    const std::function<void(const oldFile&, const std::error_code&)>& fnTold);

#endif  // LOCALSTORAGE_TOOL_RECORDS_OLDFILES_H
