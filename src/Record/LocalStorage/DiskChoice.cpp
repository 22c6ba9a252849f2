// Which disk to record on, and whether it has room.

#include "LocalStorage/DiskChoice.h"

#include <algorithm>
#include <array>

#include "FileSystem/FileSystem.h"
#include "LocalStorage/Engine.h"

namespace {

// Makes, writes and removes a small file.
bool CanWrite(const std::string& strRecDir) {
    static constexpr std::array<char, 4096> TRIAL{};
    const std::string strPath = strRecDir + ".write-trial";
    const OSL_FileHandle hFile = OSL_OpenFile(strPath.c_str(), OSL_OPEN_NEW, OSL_FILE_SHARED);
    if (hFile == OSL_INVALID_FILE) return false;
    const bool bWritten = OSL_WriteFile(hFile, TRIAL.data(), TRIAL.size(), nullptr) == 0;
    OSL_CloseFile(hFile);
    return OSL_DeleteFile(strPath.c_str()) == 0 && bWritten;
}

}  // namespace

fullDiskAction DecideFullDisk(const fullDiskState& stState) {
    fullDiskAction stAction;
    stAction.bReportSwitch = stState.bCycWrite && stState.bFoundFree;
    if (stAction.bReportSwitch) return stAction;
    stAction.bReportFull = !stState.bClientLayout;
    stAction.bDelete = stState.bAutoDelete && (stState.bCycWrite || stState.bCanHelp);
    stAction.bChooseAgain = stAction.bDelete && stState.bCycWrite;
    return stAction;
}

bool CLocalStorage::IsDiskPresent(const std::string& strRecDir) const {
    return !m_pIndexMgr || m_pIndexMgr->IsDirPresent(strRecDir);
}

bool CLocalStorage::IsDiskFull(const std::string& strRecDir) const {
    if (m_objRecDirs.Failure(strRecDir) != 0 || !IsDiskPresent(strRecDir)) return true;
    std::uint64_t nUsableSpace = 0;
    GetDiskUsableSpace(strRecDir.c_str(), nUsableSpace);
    return nUsableSpace <= LOCALSTORAGE_DISK_FULL_SPACE;
}

// Always from the first directory on: one that has regained room is taken again.
bool CLocalStorage::GetFreeDisk() {
    for (const std::string& strRecDir : m_objRecDirs.All()) {
        if (IsDiskFull(strRecDir)) continue;
        SetCurRecDir(strRecDir);
        return true;
    }
    return false;
}

// Some file systems, xfs for one, give back the space of a deleted file a little later. Without the
// wait the next check would find the disks as full as before and delete a day too many.
void CLocalStorage::AwaitFreedSpace() const {
    constexpr std::uint32_t PAUSE = 5;  // ms
    constexpr int MAX_IDLE_PAUSES = 10;
    std::uint64_t nMost = UsableSpace();
    for (int nIdle = 0; nIdle < MAX_IDLE_PAUSES && !HasRoom(); ++nIdle) {
        OSL_Sleep(PAUSE);
        const std::uint64_t nNow = UsableSpace();
        if (nNow > nMost) nIdle = 0;
        nMost = std::max(nMost, nNow);
    }
}

bool CLocalStorage::HasRoom() const {
    if (!m_stStoreInfo.bCycWrite) return !IsDiskFull(GetCurRecDir());
    const auto& lsRecDir = m_objRecDirs.All();
    return std::any_of(lsRecDir.begin(), lsRecDir.end(),
                       [this](const std::string& strRecDir) { return !IsDiskFull(strRecDir); });
}

// Of all record directories together.
std::uint64_t CLocalStorage::UsableSpace() const {
    std::uint64_t nSum = 0;
    for (const std::string& strRecDir : m_objRecDirs.All()) {
        std::uint64_t nUsableSpace = 0;
        GetDiskUsableSpace(strRecDir.c_str(), nUsableSpace);
        nSum += nUsableSpace;
    }
    return nSum;
}

bool CLocalStorage::MakeRecDir(const std::string& strRecDir) {
    const bool bThere = OSL_AccessFile(strRecDir.c_str(), 0) == 0;
    if (!bThere && !(IsDiskPresent(strRecDir) && MakeFullPath(strRecDir.c_str()))) return false;
    return IsDiskPresent(strRecDir);
}

void CLocalStorage::NoteDiskFailure(const std::string& strPath, int nError) {
    if (!m_objRecDirs.NoteFailure(strPath, nError)) return;
    char szError[128];
    LogText(
        "[wtb][CLocalStorage::NoteDiskFailure] disk counts as full until it can be written "
        "again, strPath [" +
        strPath + "], error [" + OSL_ErrorText(nError, szError, sizeof(szError)) + "]");
}

void CLocalStorage::RetryFailedDisks() {
    for (const std::string& strRecDir : m_objRecDirs.All()) {
        if (m_objRecDirs.Failure(strRecDir) == 0 || !IsDiskPresent(strRecDir)) continue;
        if (!CanWrite(strRecDir)) continue;
        m_objRecDirs.ClearFailure(strRecDir);
        LogText("[wtb][CLocalStorage::RetryFailedDisks] disk can be written again, strRecDir [" +
                strRecDir + "]");
    }
}
