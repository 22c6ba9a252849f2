// Begin and end of a recording.

#include <cerrno>
#include <limits>

#include "FileSystem/FileSystem.h"
#include "LocalStorage/Conversion.h"
#include "LocalStorage/DiskChoice.h"
#include "LocalStorage/Engine.h"
#include "LocalStorage/EngineLog.h"
#include "LocalStorage/StorageOptions.h"
#include "RecordTree/Names.h"

namespace {

// How often a folder is made anew that a clean-up takes before the file in it is opened.
constexpr int MAX_FOLDER_TRIES = 10;

}  // namespace

bool CLocalStorage::OpenChannelRecord(char* pCameraID, void* pUser,
                                      recFileInfo& stRecFileInfo) try {
    if (!VerifyOpenRequest(pCameraID, stRecFileInfo)) return false;
    {
        // Of two threads that open one channel one comes second here; and no clean-up comes
        // between the making of a folder and of the file in it.
        OSL_Guard guard(m_mtxDiskCheck);
        CheckDisk();
        if (!OpenChannel(pCameraID, pUser, stRecFileInfo)) return false;
    }
    SetLastError(STORAGE_ERROR_NONE);
    return true;
} catch (const std::exception&) {
    SetLastError(STORAGE_ERROR_NO_MEMORY);
    return OutOfMemory("OpenChannelRecord");
}

bool CLocalStorage::VerifyOpenRequest(const char* pCameraID, const recFileInfo& stRecFileInfo) {
    if (!pCameraID) {
        return Fail(STORAGE_ERROR_PARAM,
                    "[wtb][CLocalStorage::OpenChannelRecord] NULL == pCameraID");
    }
    const std::string strCameraID = pCameraID;
    if (!IsCameraID(strCameraID)) {
        return Fail(STORAGE_ERROR_PARAM, "[wtb][CLocalStorage::OpenChannelRecord] %s",
                    CAMERA_ID_REFUSED);
    }
    if (!m_bInit) {
        return Fail(STORAGE_ERROR_NOT_INIT,
                    "[wtb][CLocalStorage::OpenChannelRecord] not initialized, pCameraID [%s]",
                    pCameraID);
    }
    const fileTimeInfo stStart = ConvertBlockTimeToFileTime(stRecFileInfo.stStartTime);
    const fileTimeInfo stEnd = ConvertBlockTimeToFileTime(stRecFileInfo.stEndTime);
    if (stStart > stEnd || !stStart.IsPlain() || !stEnd.IsPlain()) {
        return Fail(STORAGE_ERROR_PARAM,
                    "[wtb][CLocalStorage::OpenChannelRecord] rec file time error, strMapID [%s]",
                    GetUniqMAPID(strCameraID, stRecFileInfo).c_str());
    }
    if (!IsClientLayout() && ClassifyChannel(strCameraID) == ChannelForm::NotStorable) {
        return Fail(STORAGE_ERROR_PARAM,
                    "[wtb][CLocalStorage::OpenChannelRecord] camera identifier refused, the index "
                    "cannot keep its numbers, pCameraID [%s]",
                    pCameraID);
    }
    return VerifyRecordPath(strCameraID, stRecFileInfo);
}

// The path may grow when the engine moves to another disk, so this is asked before and after.
bool CLocalStorage::VerifyRecordPath(const std::string& strCameraID,
                                     const recFileInfo& stRecFileInfo) {
    const std::string strPath = (IsClientLayout() ? BuildSecondPath(strCameraID, OSL_Time())
                                                  : BuildSpanPath(strCameraID, stRecFileInfo))
                                    .strPath;
    return !IsPathTooLong(strPath) ||
           Fail(STORAGE_ERROR_PARAM,
                "[wtb][CLocalStorage::OpenChannelRecord] path too long, strRecFilePath[%s]",
                strPath.c_str());
}

bool CLocalStorage::OpenChannel(const std::string& strCameraID, void* pUser,
                                const recFileInfo& stRecFileInfo) {
    const std::string strMapID = GetUniqMAPID(strCameraID, stRecFileInfo);
    if (!VerifyRecordPath(strCameraID, stRecFileInfo)) return false;
    if (IsDiskFull(m_objDisks.CurrentLook())) {
        if (m_objEvents.SendDiskFull(pUser)) {
            LogText(
                "[wtb][CLocalStorage::OpenChannelRecord] pFunCallback MESSAGEVALUE_DISKFULL, "
                "strMapID [%s]",
                strMapID.c_str());
        }
        return Fail(STORAGE_ERROR_DISK_FULL,
                    "[wtb][CLocalStorage::OpenChannelRecord] IsDiskFull, m_strCurRecDir [%s/], "
                    "strMapID [%s]",
                    m_objDisks.Current().c_str(), strMapID.c_str());
    }
    const channelKeyView key = GetChannelKey(strCameraID.c_str(), stRecFileInfo);
    if (m_mapRecordChannel.Contains(key)) {
        return Fail(STORAGE_ERROR_CHANNEL_OPEN,
                    "[wtb][CLocalStorage::OpenChannelRecord] IsRecordChannelExist, strMapID [%s]",
                    strMapID.c_str());
    }

    const recordPath stPath = ChooseOpenPath(strCameraID, stRecFileInfo);
    const CIndexMgr::CChange change(*m_pIndexMgr, stPath.RecDir());
    const unsigned nNewFile = IsClientLayout() ? OSL_OPEN_UNIQUE : OSL_OPEN_NEW;
    CRecordFile objRecFile =
        OpenRecFile(stPath, stRecFileInfo.bOpenFlag ? OSL_OPEN_CONTINUE : nNewFile, strCameraID,
                    pUser, GetStorageOption(STORAGE_OPTION_RESERVE_STEP));
    if (!objRecFile.IsOpen()) {
        return Fail(STORAGE_ERROR_OPEN_FILE,
                    "[wtb][CLocalStorage::OpenChannelRecord] OSL_OpenFile fail, strRecFilePath[%s]",
                    stPath.strPath.c_str());
    }
    try {
        if (m_objEvents.SendCreateFile(strCameraID, stPath.strPath, pUser)) {
            LogText(
                "[wtb][CLocalStorage::OpenChannelRecord] pFunCallback MESSAGEVALUE_CREATEFILE, "
                "strRecFilePath[%s]",
                stPath.strPath.c_str());
        }
        m_mapRecordChannel.Insert({strCameraID, key.nStart, key.nEnd, key.nType}, pUser,
                                  std::move(objRecFile), stPath.strPath, OSL_Time());
        m_pIndexMgr->WriteIndex(stPath, CIndexMgr::INDEX_TYPE_ADD);
    } catch (const std::exception&) {
        // The file stays, perhaps without an entry: the change does not end, so the marker stays.
        CChannelClaim claim = m_mapRecordChannel.Claim(key);
        if (claim) claim.Remove();
        throw;
    }
    return true;
}

// In the client layout a new file never takes the name, and with it the content, of another.
recordPath CLocalStorage::ChooseOpenPath(const std::string& strCameraID,
                                         const recFileInfo& stRecFileInfo) const {
    if (!IsClientLayout()) return BuildSpanPath(strCameraID, stRecFileInfo);
    return stRecFileInfo.bOpenFlag ? BuildSecondPath(strCameraID, OSL_Time())
                                   : ChooseNewPath(strCameraID);
}

// Where no name can be told free, opening the file tells why.
recordPath CLocalStorage::ChooseNewPath(const std::string& strCameraID) const {
    const auto stFree = BuildFreeSecondPath(strCameraID, std::numeric_limits<int>::max());
    return stFree ? *stFree : BuildSecondPath(strCameraID, OSL_Time());
}

OSL_FileHandle CLocalStorage::OpenInFolder(const recordPath& stPath, unsigned nFlags) {
    if (!MakeRecDir(*m_pIndexMgr, std::string(stPath.RecDir()))) return OSL_INVALID_FILE;
    const std::string strFolder(stPath.Folder());
    int nError = 0;
    for (int nTry = 0; nTry < MAX_FOLDER_TRIES; ++nTry) {
        const bool bMade = MakeFullPath(stPath.strPath.c_str());
        const OSL_FileHandle hFile =
            bMade ? OSL_OpenFile(stPath.strPath.c_str(), nFlags, OSL_FILE_SHARED)
                  : OSL_INVALID_FILE;
        if (hFile != OSL_INVALID_FILE) return hFile;
        nError = OSL_GetSystemLastError();
        if (bMade ? OSL_AccessFile(strFolder.c_str(), 0) == 0 : nError != ENOENT) break;
    }
    m_objDisks.NoteFailure(stPath.strPath, nError);
    return OSL_INVALID_FILE;
}

CRecordFile CLocalStorage::OpenRecFile(const recordPath& stPath, unsigned nFlags,
                                       const std::string& strCameraID, void* pUser,
                                       int nReserveStep) {
    const OSL_FileHandle hFile = OpenInFolder(stPath, nFlags);
    if (hFile == OSL_INVALID_FILE) return {};
    return {hFile, m_objSyncs.Add(stPath, strCameraID, pUser, hFile),
            static_cast<std::uint64_t>(nReserveStep) << 20};
}

bool CLocalStorage::CloseChannelRecord(char* pCameraID, recFileInfo& stRecFileInfo) try {
    if (!pCameraID) return Refuse("[wtb][CLocalStorage::CloseChannelRecord] NULL == pCameraID");
    if (!m_bInit) {
        return Refuse("[wtb][CLocalStorage::CloseChannelRecord] not initialized, pCameraID [%s]",
                      pCameraID);
    }
    CChannelClaim claim = m_mapRecordChannel.Claim(GetChannelKey(pCameraID, stRecFileInfo));
    if (!claim) {
        return Refuse(
            "[wtb][CLocalStorage::CloseChannelRecord] IsRecordChannelExist fail, strMapID [%s]",
            GetUniqMAPID(pCameraID, stRecFileInfo).c_str());
    }
    void* const pUser = claim.Channel().pUser;
    const std::string strPath = claim.Channel().strRecFilePath;
    // Until the host has been told that the file is closed, it is not told that it is deleted.
    const CProtectedFile objFile(m_mapRecordChannel, strPath);
    CloseChannelRecord(claim);
    if (!strPath.empty() && m_objEvents.SendCloseFile(pCameraID, strPath, pUser)) {
        LogText(
            "[wtb][CLocalStorage::CloseChannelRecord] pFunCallback MESSAGEVALUE_CLOSEFILE, "
            "strCameraID [%s]",
            pCameraID);
    }
    return true;
} catch (const std::exception&) {
    return OutOfMemory("CloseChannelRecord");
}

// The file is closed before the channel is gone: a deletion pass leaves open files alone.
void CLocalStorage::CloseChannelRecord(CChannelClaim& claim) noexcept {
    recordChannel& channel = claim.Channel();
    try {
        WriteRest(channel);
    } catch (const std::exception&) {
        OutOfMemory("CloseChannelRecord");
    }
    CloseRecFile(channel);
    claim.Remove();
}

// Some disks say only now that they did not take what was written.
void CLocalStorage::CloseRecFile(recordChannel& channel) {
    const int nError = channel.objRecFile.Close();
    if (nError == 0) return;
    ReportLoss(channel, nError);
    LogText("[wtb][CLocalStorage::CloseRecFile] OSL_CloseFile fail, strRecFilePath[%s], iErr [%d]",
            channel.strRecFilePath.c_str(), nError);
}
