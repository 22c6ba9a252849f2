// From one file of a channel to the next, in the client layout.

#include "LocalStorage/Conversion.h"
#include "LocalStorage/DiskChoice.h"
#include "LocalStorage/Engine.h"
#include "LocalStorage/EngineLog.h"

bool CLocalStorage::IsNeedSwitchRecFile(const recordChannel& channel, std::size_t nPending) const {
    if (!IsClientLayout()) return false;
    const std::uint32_t nLimit = m_stStoreInfo.nFileSize * 1048576u;
    if (channel.nWrittenSize.load(std::memory_order_relaxed) + nPending >= nLimit &&
        OSL_Time() != channel.tNoneFree) {
        return true;
    }
    // A gap is to be seen between two files, not hidden in one; as soon as the disk takes files.
    if (channel.bHasHole && m_stStoreInfo.bAnalyze && !IsDiskFull(m_objDisks.CurrentLook())) {
        return true;
    }
    // A file on a disk that failed, or that did not answer for a while, is given up once the engine
    // records on another disk.
    const bool bSick =
        channel.bWriteFailed || (channel.pLastSilence && *channel.pLastSilence > channel.nOpened);
    return bSick && !m_objDisks.IsOnCurrent(channel.strRecFilePath);
}

// Has no turn of the disk: a switch never waits for a deletion pass. Nor does it wait for a disk
// that hangs: the channel keeps its file until the next one is open, which a later occasion finds.
void CLocalStorage::SwitchRecFile(recordChannel& channel) {
    if (!HaveNextFile(channel, SWITCH_PATIENCE)) return;
    std::string strNewPath;
    try {
        CloseOldFile(channel);
        // The host may have taken its time: meanwhile the engine may have moved to another disk,
        // and the day be another.
        if (HaveNextFile(channel, DISK_PATIENCE)) {
            strNewPath = channel.pNextFile->objOpening.Path().strPath;
            TakeNextFile(channel);
        }
    } catch (const std::exception&) {
        OutOfMemory("SwitchRecFile");
    }
    m_mapRecordChannel.EndSwitch(channel, strNewPath);
    if (!strNewPath.empty()) channel.pNextFile.reset();
}

bool CLocalStorage::HaveNextFile(recordChannel& channel, std::int64_t nPatience) {
    constexpr int MAX_SECONDS_AHEAD = 1;
    if (channel.pNextFile && !IsNextFileCurrent(channel)) channel.pNextFile.reset();
    if (channel.pNextFile) return channel.pNextFile->objOpening.Await(0);
    const std::string strRecDir = m_objDisks.Current();
    CDiskCalls& calls = m_pIndexMgr->Disk(strRecDir)->Calls();
    if (calls.IsTooLong(DiskLane::Use, nPatience)) return false;
    const std::time_t tNow = OSL_Time();
    auto found = FindFreeSecond(strRecDir, channel.strCameraID, MAX_SECONDS_AHEAD);
    if (!calls.Await(DiskLane::Use, found, nPatience)) return false;
    const auto stPath = found.get();
    if (!stPath) channel.tNoneFree = tNow;  // a burst looks once a second, not with every piece
    if (!stPath || IsNewPathTooLong(channel, *stPath)) return false;
    channel.pNextFile = std::make_unique<nextFile>(
        m_mapRecordChannel, OrderFor(*stPath, OSL_OPEN_UNIQUE, channel.strCameraID, channel.pUser),
        tNow);
    return channel.pNextFile->objOpening.Await(nPatience);
}

// A name that is a second old still does; one for which a disk, or the host, took longer does not.
bool CLocalStorage::IsNextFileCurrent(const recordChannel& channel) const {
    constexpr std::time_t MAX_AGE = 1;  // s
    return channel.pNextFile->objOpening.Path().RecDir() == m_objDisks.Current() &&
           OSL_Time() <= channel.pNextFile->tNamed + MAX_AGE;
}

// Told once, not with every piece.
bool CLocalStorage::IsNewPathTooLong(recordChannel& channel, const recordPath& stPath) {
    const bool bTooLong = IsPathTooLong(stPath.strPath);
    if (bTooLong && !channel.bTooLongTold) {
        LogText("[wtb][CLocalStorage::SwitchRecFile] path too long, strRecFilePath[%s]",
                stPath.strPath.c_str());
    }
    channel.bTooLongTold = bTooLong;
    return bTooLong;
}

// Nothing to close, and to report, when the switch before this one failed.
void CLocalStorage::CloseOldFile(recordChannel& channel) {
    if (!channel.objRecFile.IsOpen()) return;
    CloseRecFile(channel);
    const char* const pPath = channel.strRecFilePath.c_str();
    LogText("[wtb][CLocalStorage::SwitchRecFile] old file, strRecFilePath[%s]", pPath);
    if (m_objEvents.SendCloseFile(channel.strCameraID, channel.strRecFilePath, channel.pUser)) {
        LogText(
            "[wtb][CLocalStorage::SwitchRecFile] pFunCallback MESSAGEVALUE_CLOSEFILE, "
            "szFileName [%s]",
            pPath);
    }
    if (HoldsNoFrame(channel)) {
        RemoveFrameless(channel.strRecFilePath, channel.nFrontSize, SWITCH_PATIENCE);
    }
}

void CLocalStorage::TakeNextFile(recordChannel& channel) {
    CFileOpening& opening = channel.pNextFile->objOpening;
    const std::string& strPath = opening.Path().strPath;
    COpenedFile opened = opening.Get();
    if (!opened.IsOpen()) {
        m_objDisks.NoteFailure(strPath, opened.Error());
        LogText("[wtb][CLocalStorage::SwitchRecFile] OSL_OpenFile fail, strRecFilePath[%s]",
                strPath.c_str());
        return;
    }
    channel.objRecFile = opened.Take();
    channel.pLastSilence = m_objDisks.LastSilence(std::string(opening.Path().RecDir()));
    channel.nOpened = OSL_TickMilliseconds();
    if (!BeginNewFile(channel, strPath)) return;
    LogText("[wtb][CLocalStorage::SwitchRecFile] new file, strRecFilePath[%s]", strPath.c_str());
    if (m_objEvents.SendCreateFile(channel.strCameraID, strPath, channel.pUser)) {
        LogText(
            "[wtb][CLocalStorage::SwitchRecFile] pFunCallback MESSAGEVALUE_CREATEFILE, "
            "szFileName [%s]",
            strPath.c_str());
    }
}

// A header that cannot be written takes its file with it.
bool CLocalStorage::BeginNewFile(recordChannel& channel, const std::string& strPath) {
    std::size_t nWritten = 0;
    if (!channel.objRecFile.Write(channel.byStreamHead, channel.nStreamHeadLen, nWritten)) {
        const int nError = OSL_GetSystemLastError();
        channel.objRecFile.Close();
        OSL_DeleteFile(strPath.c_str());
        m_objDisks.NoteFailure(strPath, nError);
        LogText("[wtb][CLocalStorage::SwitchRecFile] OSL_WriteFile fail, strRecFilePath[%s]",
                strPath.c_str());
        return false;
    }
    channel.tCreateTime = OSL_Time();
    channel.nWrittenSize = channel.nFrontSize = channel.nStreamHeadLen;
    channel.bWriteFailed = channel.bHasHole = false;
    return true;
}
