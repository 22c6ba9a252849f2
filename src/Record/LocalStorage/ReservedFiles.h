// What closed files of one record directory still have reserved. It is given back when a sync has
// made their content durable: together with it a file system may note a size up to which nothing
// was written yet, and a power cut would leave zeros there.

#ifndef LOCALSTORAGE_RECORD_RESERVEDFILES_H
#define LOCALSTORAGE_RECORD_RESERVEDFILES_H

#include <condition_variable>
#include <map>
#include <string>

#include "Osl/Osl.h"
#include "Osl/OslMutex.h"

/// Any thread, but for Take and GiveBack, which the sync's thread calls.
class CReservedFiles {
public:
    /// A file that was closed; takes over a handle of it. False: there is no memory, or as many
    /// files wait as may between two syncs; then the handle stays the caller's.
    bool Add(const std::string& strPath, OSL_FileHandle hFile);

    /// Before a sync: what was closed until now.
    void Take();
    /// Behind it: gives back what those files have reserved.
    void GiveBack();

    /// Before a file is opened to be written to: from now on its space is left alone, since giving
    /// it back cuts the file at its size of that moment. Waits while that is being done.
    void Leave(const std::string& strPath);

private:
    using Files = std::map<std::string, OSL_OwnFile>;  // by their paths

    OSL_Mutex m_mtx{OSL_LockRank::DiskSync, "reserved files"};
    std::condition_variable_any m_given;
    Files m_mClosed OSL_GUARDED_BY(m_mtx), m_mTaken OSL_GUARDED_BY(m_mtx);
    const std::string* m_pInHand OSL_GUARDED_BY(m_mtx) = nullptr;  // what is given back just now
};

#endif  // LOCALSTORAGE_RECORD_RESERVEDFILES_H
