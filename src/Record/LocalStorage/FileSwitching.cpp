// From one file of a channel to the next, in the client layout.

#include "LocalStorage/Engine.h"
#include "LocalStorage/Naming.h"

namespace {

const std::string METHOD = "[wtb][CLocalStorage::SwitchRecFile] ";

}  // namespace

bool CLocalStorage::IsNeedSwitchRecFile(const recordChannel& channel, std::size_t nPending) const {
    if (!IsClientLayout()) return false;
    const std::uint32_t nLimit = m_stStoreInfo.nFileSize * 1048576u;
    if (channel.nWrittenSize.load(std::memory_order_relaxed) + nPending >= nLimit) return true;
    // A file on a disk that failed is given up once the engine records on another disk.
    return channel.bWriteFailed && !channel.strRecFilePath.starts_with(GetCurRecDir());
}

// Holds no disk-check lock: a switch never waits for a deletion pass. The new file is announced
// before it is made, so that no clean-up takes it.
void CLocalStorage::SwitchRecFile(recordChannel& channel) {
    constexpr int MAX_SECONDS_AHEAD = 1;
    const auto stPath = BuildFreeSecondPath(channel.strCameraID, MAX_SECONDS_AHEAD);
    if (!stPath || IsPathTooLong(stPath->strPath)) return;  // the next occasion tries again
    m_mapRecordChannel.Announce(channel, stPath->strPath);
    CloseOldFile(channel);
    const bool bOpened = OpenNewFile(channel, *stPath);
    m_mapRecordChannel.SetFile(channel, bOpened ? stPath->strPath : std::string());
}

// Nothing to close, and to report, when the switch before this one failed.
void CLocalStorage::CloseOldFile(recordChannel& channel) {
    if (channel.hRecFile == OSL_INVALID_FILE) return;
    channel.CloseFile();
    LogText(METHOD + "old file, strRecFilePath[" + channel.strRecFilePath + "]");
    SendFileEvent(MESSAGEVALUE_CLOSEFILE, channel.strCameraID, channel.strRecFilePath,
                  channel.pUser,
                  METHOD + "pFunCallback MESSAGEVALUE_CLOSEFILE, szFileName [" +
                      channel.strRecFilePath + "]");
}

bool CLocalStorage::OpenNewFile(recordChannel& channel, const recordPath& stPath) {
    const OSL_FileHandle hFile = OpenInFolder(stPath, OSL_OPEN_NEW);
    if (hFile == OSL_INVALID_FILE)
        return Refuse(METHOD + "OSL_OpenFile fail, strRecFilePath[" + stPath.strPath + "]");
    if (OSL_WriteFile(hFile, channel.byStreamHead, channel.nStreamHeadLen, nullptr) != 0) {
        NoteDiskFailure(stPath.strPath, OSL_GetSystemLastError());
        OSL_CloseFile(hFile);
        OSL_DeleteFile(stPath.strPath.c_str());
        return Refuse(METHOD + "OSL_WriteFile fail, strRecFilePath[" + stPath.strPath + "]");
    }
    LogText(METHOD + "new file, strRecFilePath[" + stPath.strPath + "]");
    SendFileEvent(
        MESSAGEVALUE_CREATEFILE, channel.strCameraID, stPath.strPath, channel.pUser,
        METHOD + "pFunCallback MESSAGEVALUE_CREATEFILE, szFileName [" + stPath.strPath + "]");
    channel.hRecFile = hFile;
    channel.tCreateTime = OSL_Time();
    channel.nWrittenSize = channel.nStreamHeadLen;
    channel.bWriteFailed = false;
    return true;
}
