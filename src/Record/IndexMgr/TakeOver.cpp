// A disk that was not mounted in time at boot, and is found mounted over a directory in which
// nothing had been recorded before the start: it is taken over as if it had been there.
//
// What was recorded in the directory until then stays below the mount point. It leaves the queries,
// since its paths lead to the disk now; who still writes to a file there goes on until its next.

#include "FileSystem/FileSystem.h"
#include "IndexMgr/BackupFolder.h"
#include "IndexMgr/RecordDisk.h"
#include "Log/LogText.h"
#include "RecordTree/IndexMarker.h"
#include "RecordTree/Names.h"

namespace {

using NameList = std::list<std::string>;

NameList FoldersIn(const std::string& strDir) {
    NameList lsFolder, lsFile;
    GetSubTargetList(strDir, lsFolder, lsFile);
    return lsFolder;
}

// Names the channel folders of one tree, which only the handle that locked it leads to.
void LogBelow(const CDirectoryLock& lock, const std::string& strRecDir, const char* pTree) {
    const std::string strTree = lock.Inside() + "/" + pTree;
    if (lock.Inside().empty()) return;
    for (const std::string& strDay : FoldersIn(strTree)) {
        for (const std::string& strChannel : FoldersIn(strTree + "/" + strDay)) {
            NameList lsFolder, lsFile;
            GetSubTargetList(strTree + "/" + strDay + "/" + strChannel, lsFolder, lsFile);
            LogText(
                "[wtb][CRecordDisk::TakeOver] stays below the mount point, strPath [%s/%s/%s/%s], "
                "files [%zu]",
                strRecDir.c_str(), pTree, strDay.c_str(), strChannel.c_str(), lsFile.size());
        }
    }
}

}  // namespace

bool CRecordDisk::TakeOver() {
    if (m_eMeeting != Meeting::Ready) return false;
    if (!m_bOpenAgain && !LeaveForMounted()) return false;
    const std::string strFolder = Path() + "/" + m_pFolder.load();
    if (m_bClientLayout || AskIndexMarker(strFolder) == IndexMarker::None) {
        OpenTakenOver();
    } else {
        m_objCalls.Post(DiskLane::Use, [p = shared_from_this()] { p->OpenTakenOver(); });
    }
    return IsPresent();
}

// Whoever has the turn is to find the disk that he has begun with.
bool CRecordDisk::LeaveForMounted() {
    const CDiskTurn turn(m_objCalls, 0);
    const auto pBelow = turn ? m_objDir.TakeOver() : nullptr;
    if (!pBelow) return false;
    m_bOpen = false;
    if (CIndex* const pIndex = m_pIndex) pIndex->EndWriter();
    LogText(
        "[wtb][CRecordDisk::TakeOver] a disk was mounted over the directory and is taken over, "
        "strRecDir [%s]",
        Path().c_str());
    LogBelow(*pBelow, Path(), m_pFolder);
    LogBelow(*pBelow, Path(), IMAGE_FOLDER);
    return true;
}

// The end waits for what was asked before it, and not for a job that came later.
void CRecordDisk::OpenTakenOver() {
    if (m_bStopped) return;
    const int nResult = OpenIndex(m_pFolder, false);
    m_bOpenAgain = nResult == 1;
    if (nResult != 0) {
        LogText("[wtb][CRecordDisk::TakeOver] the disk is not used until %s, strRecDir [%s]",
                m_bOpenAgain ? "there are handles and memory for its index" : "the next start",
                Path().c_str());
        return;
    }
    if (m_pFolder.load() == RECORD_FOLDER) CBackupFolder(shared_from_this()).MoveToRecordFolder();
    BeginUse();
}
