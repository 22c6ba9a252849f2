// The lock on a record directory that a running host holds.

#ifndef LOCALSTORAGE_TOOL_RECORDS_DIRLOCK_H
#define LOCALSTORAGE_TOOL_RECORDS_DIRLOCK_H

#include <string>

#include "RecordTree/DirectoryLock.h"

/// Keeps every host off a record directory while it lives.
class CDirLock {
public:
    /// Throws CFailure when a host records into the directory.
    explicit CDirLock(const std::string& strDir);

private:
    CDirectoryLock m_objLock;
};

#endif  // LOCALSTORAGE_TOOL_RECORDS_DIRLOCK_H
