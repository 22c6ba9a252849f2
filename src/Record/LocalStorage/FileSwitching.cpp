// From one file of a channel to the next, in the client layout.

#include "LocalStorage/Engine.h"
#include "LocalStorage/Naming.h"

namespace {

const std::string METHOD = "[wtb][CLocalStorage::SwitchRecFile] ";

}  // namespace

bool CLocalStorage::IsNeedSwitchRecFile(const recordChannel& channel, std::size_t nPending) const {
    if (!IsClientLayout()) return false;
    const std::uint32_t nLimit = m_stStoreInfo.nFileSize * 1048576u;
    if (channel.nWrittenSize.load(std::memory_order_relaxed) + nPending >= nLimit &&
        OSL_Time() != channel.tNoneFree)
        return true;
    // A file on a disk that failed is given up once the engine records on another disk.
    return channel.bWriteFailed && !channel.strRecFilePath.starts_with(GetCurRecDir());
}

// Holds no disk-check lock: a switch never waits for a deletion pass. The new file is announced
// before it is made, so that no clean-up takes it.
void CLocalStorage::SwitchRecFile(recordChannel& channel) {
    constexpr int MAX_SECONDS_AHEAD = 1;
    const std::time_t tNow = OSL_Time();
    const auto stPath = BuildFreeSecondPath(channel.strCameraID, MAX_SECONDS_AHEAD);
    if (!stPath) channel.tNoneFree = tNow;  // a burst looks once a second, not with every piece
    if (!stPath || IsPathTooLong(stPath->strPath)) return;  // a later occasion tries again
    m_mapRecordChannel.Announce(channel, stPath->strPath);
    try {
        CloseOldFile(channel);
        OpenNewFile(channel, *stPath);
    } catch (const std::exception&) {
        OutOfMemory("SwitchRecFile");
    }
    m_mapRecordChannel.EndSwitch(channel);
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

void CLocalStorage::OpenNewFile(recordChannel& channel, const recordPath& stPath) {
    channel.hRecFile = OpenInFolder(stPath, OSL_OPEN_NEW);
    if (channel.hRecFile == OSL_INVALID_FILE)
        return LogText(METHOD + "OSL_OpenFile fail, strRecFilePath[" + stPath.strPath + "]");
    if (OSL_WriteFile(channel.hRecFile, channel.byStreamHead, channel.nStreamHeadLen, nullptr) !=
        0) {
        const int nError = OSL_GetSystemLastError();
        channel.CloseFile();
        OSL_DeleteFile(stPath.strPath.c_str());
        NoteDiskFailure(stPath.strPath, nError);
        return LogText(METHOD + "OSL_WriteFile fail, strRecFilePath[" + stPath.strPath + "]");
    }
    channel.tCreateTime = OSL_Time();
    channel.nWrittenSize = channel.nStreamHeadLen;
    channel.bWriteFailed = false;
    LogText(METHOD + "new file, strRecFilePath[" + stPath.strPath + "]");
    SendFileEvent(
        MESSAGEVALUE_CREATEFILE, channel.strCameraID, stPath.strPath, channel.pUser,
        METHOD + "pFunCallback MESSAGEVALUE_CREATEFILE, szFileName [" + stPath.strPath + "]");
}
