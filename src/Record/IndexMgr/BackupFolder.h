// The way back from "BackupFile": what was recorded there, while "RecordFile" could not be used, is
// moved into it by the next start that can use it.
//
// Every recording is a change of its own: the marker stands, the file is renamed, its entry comes.
// So a crash in between costs a repair, and the next start moves the rest.

#ifndef LOCALSTORAGE_INDEXMGR_BACKUPFOLDER_H
#define LOCALSTORAGE_INDEXMGR_BACKUPFOLDER_H

#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "RecordTree/RecordPath.h"
#include "RecordTree/RepairPlan.h"

class CRecordDisk;

class CBackupFolder {
public:
    /// Of a record directory whose indexes are open below "RecordFile". On its disk's thread.
    explicit CBackupFolder(std::shared_ptr<CRecordDisk> pDisk);

    /// Moves the recordings, and removes what the index left and folders that are empty. A
    /// recording whose path is taken stays where it is, and so does what is no recording; that is
    /// logged. False: the process has no handle or memory to spare; what is moved is moved.
    bool MoveToRecordFolder();

private:
    using Names = std::list<std::string>;

    bool List(const std::string& strPath, Names& lsFolder, Names& lsFile);
    void ListRecordings();
    void AddRecording(const CChannelFolder& folder, const std::string& strFrom,
                      const std::string& strName);
    bool Prepare() const;
    void Move(const std::string& strFrom, const recordPath& stTo);
    void LogStays(const std::string& strPath, int nError) const;

    const std::shared_ptr<CRecordDisk> m_pDisk;
    const std::string m_strRecDir;
    const bool m_bClientLayout;
    std::vector<std::pair<std::string, recordPath>> m_vMoves;   // from where, to where
    std::vector<std::pair<std::string, TreeLevel>> m_vFolders;  // inner ones first
    std::size_t m_nMoved = 0;
    bool m_bShortage = false;
};

#endif  // LOCALSTORAGE_INDEXMGR_BACKUPFOLDER_H
