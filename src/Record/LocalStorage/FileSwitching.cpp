// From one file of a channel to the next, in the client layout.

#include "LocalStorage/Conversion.h"
#include "LocalStorage/Engine.h"
#include "LocalStorage/EngineLog.h"
#include "LocalStorage/StorageOptions.h"

bool CLocalStorage::IsNeedSwitchRecFile(const recordChannel& channel, std::size_t nPending) const {
    if (!IsClientLayout()) return false;
    const std::uint32_t nLimit = m_stStoreInfo.nFileSize * 1048576u;
    if (channel.nWrittenSize.load(std::memory_order_relaxed) + nPending >= nLimit &&
        OSL_Time() != channel.tNoneFree) {
        return true;
    }
    // A file on a disk that failed is given up once the engine records on another disk.
    return channel.bWriteFailed && !m_objDisks.IsOnCurrent(channel.strRecFilePath);
}

// Holds no disk-check lock: a switch never waits for a deletion pass. The new file's path is chosen
// once the old one is closed, since the host's callback may take its time: until then the engine
// may have moved to another disk, and the day be another.
void CLocalStorage::SwitchRecFile(recordChannel& channel) {
    constexpr int MAX_SECONDS_AHEAD = 1;
    const std::time_t tNow = OSL_Time();
    const auto stPath = BuildFreeSecondPath(channel.strCameraID, MAX_SECONDS_AHEAD);
    if (!stPath) channel.tNoneFree = tNow;  // a burst looks once a second, not with every piece
    if (!stPath || IsNewPathTooLong(channel, *stPath)) return;  // a later occasion tries again
    try {
        CloseOldFile(channel);
        OpenNewFile(channel);
    } catch (const std::exception&) {
        OutOfMemory("SwitchRecFile");
    }
    m_mapRecordChannel.EndSwitch(channel);
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
}

// The new file is announced before it is made, so that no clean-up takes it.
void CLocalStorage::OpenNewFile(recordChannel& channel) {
    const recordPath stPath = ChooseNewPath(channel.strCameraID);
    if (IsNewPathTooLong(channel, stPath)) return;
    m_mapRecordChannel.Announce(channel, stPath.strPath);
    const char* const pPath = stPath.strPath.c_str();
    channel.objRecFile = OpenRecFile(stPath, OSL_OPEN_UNIQUE, channel.strCameraID, channel.pUser,
                                     GetStorageOption(STORAGE_OPTION_RESERVE_STEP));
    if (!channel.objRecFile.IsOpen()) {
        LogText("[wtb][CLocalStorage::SwitchRecFile] OSL_OpenFile fail, strRecFilePath[%s]", pPath);
        return;
    }
    std::size_t nWritten = 0;
    if (!channel.objRecFile.Write(channel.byStreamHead, channel.nStreamHeadLen, nWritten)) {
        const int nError = OSL_GetSystemLastError();
        channel.objRecFile.Close();
        OSL_DeleteFile(pPath);
        m_objDisks.NoteFailure(stPath.strPath, nError);
        LogText("[wtb][CLocalStorage::SwitchRecFile] OSL_WriteFile fail, strRecFilePath[%s]",
                pPath);
        return;
    }
    channel.tCreateTime = OSL_Time();
    channel.nWrittenSize = channel.nStreamHeadLen;
    channel.bWriteFailed = false;
    LogText("[wtb][CLocalStorage::SwitchRecFile] new file, strRecFilePath[%s]", pPath);
    if (m_objEvents.SendCreateFile(channel.strCameraID, stPath.strPath, channel.pUser)) {
        LogText(
            "[wtb][CLocalStorage::SwitchRecFile] pFunCallback MESSAGEVALUE_CREATEFILE, "
            "szFileName [%s]",
            pPath);
    }
}
