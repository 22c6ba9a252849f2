// The disk check, and the thread that runs one every five seconds, and when a write fails.

#include "LocalStorage/DiskChoice.h"
#include "LocalStorage/Engine.h"
#include "LocalStorage/EngineLog.h"

namespace {

constexpr std::uint32_t CHECK_INTERVAL = 5000;  // ms

}  // namespace

std::uint32_t CLocalStorage::DiskCheckProc(void* pEngine) {
    if (!pEngine) return 0;
    auto& engine = *static_cast<CLocalStorage*>(pEngine);
    while (engine.AwaitDiskCheck()) {
        try {
            engine.TellLateRemovals();
            engine.m_objDisks.AskOthers();
            engine.CheckDisk(COverwriter::Pace::Gentle);
        } catch (const std::exception&) {
            OutOfMemory("CheckDisk");
        }
    }
    return 0;
}

bool CLocalStorage::AwaitDiskCheck() {
    OSL_WaitForSingleObject(m_hDiskCheckEvent, CHECK_INTERVAL);
    OSL_ResetEvent(m_hDiskCheckEvent);  // before the look at what it was set for
    return !m_bStopDiskCheck;
}

void CLocalStorage::CheckDisk(COverwriter::Pace ePace) {
    m_objDisks.Ask();
    if (DecideAndTell()) m_objOverwriter.MakeRoom(ePace);
}

bool CLocalStorage::DecideAndTell() {
    OSL_Guard guard(m_mtxDiskCheck);
    const CDisks::Room eRoom = m_objDisks.Choose();
    if (eRoom == CDisks::Room::Here) return false;
    fullDiskState stState;
    stState.bMoved = eRoom == CDisks::Room::Moved;
    stState.bClientLayout = IsClientLayout();
    stState.bAutoDelete = m_stStoreInfo.bAutoDelete;
    const fullDiskAction stAction = DecideFullDisk(stState);
    if (stAction.bReportSwitch) ReportSwitch();
    if (stAction.bReportFull) ReportFullDisk();
    return stAction.bDelete;
}

void CLocalStorage::ReportSwitch() {
    const std::string strRecDir = m_objDisks.Current();
    const std::uint64_t nUsableSpace = m_objDisks.CurrentLook().nUsableSpace.value_or(0);
    if (m_objEvents.SendSwitchDisk(strRecDir, nUsableSpace)) {
        LogText(
            "[wtb][CLocalStorage::CheckDisk] pFunCallback MESSAGEVALUE_SWITCHDISK, szDisk [%s/]",
            strRecDir.c_str());
    } else {
        LogText("[wtb][CLocalStorage::CheckDisk] GetFreeDisk success, new Disk [%s/]",
                strRecDir.c_str());
    }
}

void CLocalStorage::ReportFullDisk() {
    const bool bTold = m_objEvents.SendDiskFull(nullptr);
    LogText("[wtb][CLocalStorage::CheckDisk] RemoteBackupStorage, %s, bCycWrite [%d]",
            bTold                     ? "pFunCallback MESSAGEVALUE_DISKFULL"
            : m_stStoreInfo.bCycWrite ? "GetFreeDisk fail"
                                      : "disk full, start delete record",
            m_stStoreInfo.bCycWrite);
}

std::uint32_t CLocalStorage::GetDiskWriteSpeed() {
    if (!m_bInit) {
        LogText("[wtb][CLocalStorage::GetDiskWriteSpeed] not initialized");
        return 0;
    }
    return m_mapRecordChannel.WriteSpeed(OSL_Time());
}
