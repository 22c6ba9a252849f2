// The disk check, and the thread that runs one every five seconds.

#include <cerrno>

#include "FileSystem/FileSystem.h"
#include "LocalStorage/DiskChoice.h"
#include "LocalStorage/Engine.h"

namespace {

constexpr std::uint32_t CHECK_INTERVAL = 5000;  // ms

const std::string METHOD = "[wtb][CLocalStorage::CheckDisk] ";

}  // namespace

std::uint32_t CLocalStorage::DiskCheckProc(void* pEngine) {
    if (!pEngine) return 0;
    auto& engine = *static_cast<CLocalStorage*>(pEngine);
    while (OSL_WaitForSingleObject(engine.m_hDiskCheckEvent, CHECK_INTERVAL) == OSL_WAIT_TIMEOUT) {
        OSL_Guard guard(engine.m_mtxDiskCheck);
        try {
            engine.CheckDisk();
        } catch (const std::exception&) {
            OutOfMemory("CheckDisk");
        }
    }
    return 0;
}

void CLocalStorage::CheckDisk() {
    RetryFailedDisks();
    const std::string strFull = GetCurRecDir();
    if (!IsDiskFull(strFull)) return;
    fullDiskState stState;
    stState.bCycWrite = m_stStoreInfo.bCycWrite;
    stState.bFoundFree = stState.bCycWrite && GetFreeDisk();
    stState.bClientLayout = IsClientLayout();
    stState.bAutoDelete = m_stStoreInfo.bAutoDelete;
    stState.bCanHelp = CanDeletingHelp(strFull);
    const fullDiskAction stAction = DecideFullDisk(stState);
    if (stAction.bReportSwitch) ReportSwitch();
    if (stAction.bReportFull) ReportFullDisk();
    // A second look: what could not be told a moment ago must not cost a day.
    const bool bDelete = stAction.bDelete && !HasRoom();
    if (bDelete && DeleteFile(m_stStoreInfo.enumStoreFileType)) AwaitFreedSpace();
    if (stAction.bChooseAgain) GetFreeDisk();
}

// A disk that is gone, read-only or dying takes no recording, whatever is deleted for it or from
// it.
bool CLocalStorage::CanDeletingHelp(const std::string& strRecDir) const {
    std::uint64_t nUsableSpace = 0;
    const int nFailure = m_objRecDirs.Failure(strRecDir);
    return IsDiskPresent(strRecDir) && OSL_AccessFile(strRecDir.c_str(), 0) == 0 &&
           nFailure != EROFS && nFailure != EIO &&
           GetDiskUsableSpace(strRecDir.c_str(), nUsableSpace);
}

void CLocalStorage::ReportSwitch() {
    const std::string strRecDir = GetCurRecDir();
    if (!SendDiskSwitch(
            strRecDir, METHOD + "pFunCallback MESSAGEVALUE_SWITCHDISK, szDisk [" + strRecDir + "]"))
        LogText(METHOD + "GetFreeDisk success, new Disk [" + strRecDir + "]");
}

void CLocalStorage::ReportFullDisk() {
    const std::string strTail =
        ", bCycWrite [" + std::to_string(int{m_stStoreInfo.bCycWrite}) + "]";
    if (!SendDiskFull(nullptr,
                      METHOD + "RemoteBackupStorage, pFunCallback MESSAGEVALUE_DISKFULL" + strTail))
        LogText(METHOD +
                (m_stStoreInfo.bCycWrite ? "RemoteBackupStorage, GetFreeDisk fail"
                                         : "RemoteBackupStorage, disk full, start delete record") +
                strTail);
}

std::uint32_t CLocalStorage::GetDiskWriteSpeed() {
    if (!m_bInit) {
        LogText("[wtb][CLocalStorage::GetDiskWriteSpeed] not initialized");
        return 0;
    }
    return m_mapRecordChannel.WriteSpeed(OSL_Time());
}
