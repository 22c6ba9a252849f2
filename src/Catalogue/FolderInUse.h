// Which record folder hosts use where two may stand, RecordFile and BackupFile, and what lies in
// the other one, into which no host looks.

#ifndef LOCALSTORAGE_CATALOGUE_FOLDERINUSE_H
#define LOCALSTORAGE_CATALOGUE_FOLDERINUSE_H

#include <cstdint>
#include <string>
#include <vector>

#include "Catalogue/Catalogue.h"

/// Whether all recordings below the record directory are of the client layout, which has no index.
bool IsClientLayout(const std::string& strDir);

/// The record folder that the next host on `vDirs` uses: "BackupFile" where any of them has it and
/// "RecordFile" cannot be read on one, or is on none, since a host uses one of the two on all its
/// disks. In the client layout always "RecordFile".
class CFolderInUse {
public:
    /// Looks at all of them.
    explicit CFolderInUse(const std::vector<std::string>& vDirs);

    /// Takes in what was seen in others.
    void Add(const CFolderInUse& objOther);
    /// In one of them.
    std::string In(const std::string& strDir) const;

private:
    bool m_bBackup = false, m_bReadable = false, m_bUnreadable = false;  ///< on any of them
};

/// Recordings of a record directory that no host finds.
struct hiddenRecordings {
    std::string strDir;
    std::string strFolder;  ///< where they lie
    std::string strInUse;   ///< the record folder that hosts use instead
    std::uint64_t nCount = 0;
};

/// Which of the recordings that were found no host on `vDirs` would find.
std::vector<hiddenRecordings> FindHidden(const std::vector<std::string>& vDirs,
                                         const std::vector<recording>& vFound);

#endif  // LOCALSTORAGE_CATALOGUE_FOLDERINUSE_H
