// Begin and end of a recording.

#include <chrono>
#include <limits>
#include <utility>

#include "LocalStorage/CallFailure.h"
#include "LocalStorage/Conversion.h"
#include "LocalStorage/DiskChoice.h"
#include "LocalStorage/Engine.h"
#include "LocalStorage/EngineLog.h"
#include "LocalStorage/StorageOptions.h"
#include "RecordTree/Names.h"

bool CLocalStorage::OpenChannelRecord(char* pCameraID, void* pUser,
                                      recFileInfo& stRecFileInfo) try {
    if (!VerifyOpenRequest(pCameraID, stRecFileInfo)) return false;
    const COverwriter::CHostCall call(m_objOverwriter);
    Attempt eAttempt = Attempt::GoElsewhere;
    while (eAttempt == Attempt::GoElsewhere) {
        CheckDisk(COverwriter::Pace::Full);
        eAttempt = OpenChannel(pCameraID, pUser, stRecFileInfo);
    }
    if (eAttempt == Attempt::Failed) return false;
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
    return VerifyRecordPath(m_objDisks.Current(), strCameraID, stRecFileInfo);
}

// The path may grow when the engine moves to another disk, so this is asked before and after.
bool CLocalStorage::VerifyRecordPath(const std::string& strRecDir, const std::string& strCameraID,
                                     const recFileInfo& stRecFileInfo) {
    const std::string strPath =
        (IsClientLayout() ? BuildSecondPath(strRecDir, strCameraID)
                          : BuildSpanPath(strRecDir, strCameraID, stRecFileInfo))
            .strPath;
    return !IsPathTooLong(strPath) ||
           Fail(STORAGE_ERROR_PARAM,
                "[wtb][CLocalStorage::OpenChannelRecord] path too long, strRecFilePath[%s]",
                strPath.c_str());
}

CLocalStorage::Attempt CLocalStorage::OpenChannel(const std::string& strCameraID, void* pUser,
                                                  const recFileInfo& stRecFileInfo) {
    const std::string strMapID = GetUniqMAPID(strCameraID, stRecFileInfo);
    const std::string strRecDir = m_objDisks.Current();
    if (!VerifyRecordPath(strRecDir, strCameraID, stRecFileInfo)) return Attempt::Failed;
    if (IsDiskFull(m_objDisks.CurrentLook())) {
        if (m_objEvents.SendDiskFull(pUser)) {
            LogText(
                "[wtb][CLocalStorage::OpenChannelRecord] pFunCallback MESSAGEVALUE_DISKFULL, "
                "strMapID [%s]",
                strMapID.c_str());
        }
        Fail(STORAGE_ERROR_DISK_FULL,
             "[wtb][CLocalStorage::OpenChannelRecord] IsDiskFull, m_strCurRecDir [%s/], "
             "strMapID [%s]",
             strRecDir.c_str(), strMapID.c_str());
        t_stCallFailure = FailureOf(m_objDisks.CurrentLook());
        return Attempt::Failed;
    }
    const channelKeyView key = GetChannelKey(strCameraID.c_str(), stRecFileInfo);
    const channelKey keyOwned = {strCameraID, key.nStart, key.nEnd, key.nType};
    const CReservedChannel objReserved(m_mapRecordChannel, keyOwned);
    if (!objReserved) {
        Fail(STORAGE_ERROR_CHANNEL_OPEN,
             "[wtb][CLocalStorage::OpenChannelRecord] IsRecordChannelExist, strMapID [%s]",
             strMapID.c_str());
        return Attempt::Failed;
    }
    return OpenChannelOn(strRecDir, keyOwned, pUser, stRecFileInfo);
}

// The turn keeps clean-ups away from the choice of the name until the entry is there.
CLocalStorage::Attempt CLocalStorage::OpenChannelOn(const std::string& strRecDir,
                                                    const channelKey& key, void* pUser,
                                                    const recFileInfo& stRecFileInfo) {
    const CDiskTurn turn(m_pIndexMgr->Disk(strRecDir)->Calls());
    if (!turn) return FailToOpen(strRecDir, strRecDir + "/");
    const auto stPath = ChooseOpenPath(strRecDir, key.strCameraID, stRecFileInfo);
    if (!stPath) return FailToOpen(strRecDir, strRecDir + "/");
    CProtectedFile objProtected(m_mapRecordChannel, stPath->strPath);
    const unsigned nNewFile = IsClientLayout() ? OSL_OPEN_UNIQUE : OSL_OPEN_NEW;
    const fileOrder stOrder = OrderFor(
        *stPath, stRecFileInfo.bOpenFlag ? OSL_OPEN_CONTINUE : nNewFile, key.strCameraID, pUser);
    CFileOpening opening(stOrder);
    const auto await = [&](std::int64_t nPatience) { return opening.Await(nPatience); };
    if (!IsAnswered(strRecDir, await)) return FailToOpen(strRecDir, stPath->strPath);
    COpenedFile opened = opening.Get();
    if (opened.IsOpen()) return EnterChannel(opened, stOrder, key, objProtected);
    m_objDisks.NoteFailure(stPath->strPath, opened.Error());
    Fail(STORAGE_ERROR_OPEN_FILE,
         "[wtb][CLocalStorage::OpenChannelRecord] OSL_OpenFile fail, strRecFilePath[%s]",
         stPath->strPath.c_str());
    t_stCallFailure.nSystemError = opened.Error();
    return Attempt::Failed;
}

bool CLocalStorage::IsAnswered(const std::string& strRecDir,
                               const std::function<bool(std::int64_t nPatience)>& await) const {
    return await(DISK_PATIENCE) || (!m_objDisks.HasAnother(strRecDir) && await(LAST_PATIENCE));
}

// After the disk gave no answer.
CLocalStorage::Attempt CLocalStorage::FailToOpen(const std::string& strRecDir,
                                                 const std::string& strRecFilePath) {
    LogText(
        "[wtb][CLocalStorage::OpenChannelRecord] the disk gives no answer, given up, "
        "strRecFilePath[%s]",
        strRecFilePath.c_str());
    if (m_objDisks.HasAnother(strRecDir)) return Attempt::GoElsewhere;
    SetLastError(STORAGE_ERROR_OPEN_FILE);
    t_stCallFailure.nCode = CALL_FAILED_DISK;
    return Attempt::Failed;
}

CLocalStorage::Attempt CLocalStorage::EnterChannel(COpenedFile& opened, const fileOrder& stOrder,
                                                   const channelKey& key,
                                                   CProtectedFile& objProtected) {
    const recordPath& stPath = stOrder.stPath;
    CRecordFile objRecFile = opened.Take();
    if (m_objEvents.SendCreateFile(key.strCameraID, stPath.strPath, stOrder.pUser)) {
        LogText(
            "[wtb][CLocalStorage::OpenChannelRecord] pFunCallback MESSAGEVALUE_CREATEFILE, "
            "strRecFilePath[%s]",
            stPath.strPath.c_str());
    }
    CChannelClaim claim = m_mapRecordChannel.Insert(key, stOrder.pUser, std::move(objRecFile),
                                                    objProtected, OSL_Time());
    try {
        claim.Channel().pLastSilence = m_objDisks.LastSilence(stOrder.pDisk->Path());
        claim.Channel().nOpened = OSL_TickMilliseconds();
        m_pIndexMgr->WriteIndex(stPath, CIndexMgr::INDEX_TYPE_ADD);
    } catch (const std::exception&) {
        // The file stays, perhaps without an entry: the change does not end, so the marker stays.
        claim.Remove();
        throw;
    }
    return Attempt::Done;
}

fileOrder CLocalStorage::OrderFor(const recordPath& stPath, unsigned nFlags,
                                  const std::string& strCameraID, void* pUser) const {
    auto pSync = m_objSyncs.Of(stPath.RecDir());
    // Giving back what a file reserved that nobody syncs would note its size long before its
    // content.
    const std::uint64_t nReserveStep = pSync ? GetStorageOption(STORAGE_OPTION_RESERVE_STEP) : 0;
    return {m_pIndexMgr->Disk(stPath.RecDir()),
            std::move(pSync),
            stPath,
            nFlags,
            true,
            nReserveStep << 20,
            strCameraID,
            pUser};
}

// In the client layout a new file never takes the name, and with it the content, of another. Where
// no name can be told free, opening the file tells why. Nothing when the disk gives no answer.
std::optional<recordPath> CLocalStorage::ChooseOpenPath(const std::string& strRecDir,
                                                        const std::string& strCameraID,
                                                        const recFileInfo& stRecFileInfo) const {
    if (!IsClientLayout()) return BuildSpanPath(strRecDir, strCameraID, stRecFileInfo);
    if (stRecFileInfo.bOpenFlag) return BuildSecondPath(strRecDir, strCameraID);
    auto found = FindFreeSecond(strRecDir, strCameraID, std::numeric_limits<int>::max());
    CDiskCalls& calls = m_pIndexMgr->Disk(strRecDir)->Calls();
    const auto await = [&](std::int64_t nPatience) {
        return calls.Await(DiskLane::Use, found, nPatience);
    };
    if (!IsAnswered(strRecDir, await)) return std::nullopt;
    const auto stFree = found.get();
    return stFree ? stFree : BuildSecondPath(strRecDir, strCameraID);
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
    const std::uint64_t nFrontSize = claim.Channel().nFrontSize;
    const bool bFrameless = CloseChannelRecord(claim);
    if (!strPath.empty() && m_objEvents.SendCloseFile(pCameraID, strPath, pUser)) {
        LogText(
            "[wtb][CLocalStorage::CloseChannelRecord] pFunCallback MESSAGEVALUE_CLOSEFILE, "
            "strCameraID [%s]",
            pCameraID);
    }
    if (bFrameless && !strPath.empty()) {
        // The name comes free: nobody is told of a new file there before this one is told gone.
        const CDiskTurn turn(m_pIndexMgr->Disk(m_objDisks.DirectoryOf(strPath))->Calls());
        if (turn) RemoveFrameless(strPath, nFrontSize, DISK_PATIENCE);
    }
    return true;
} catch (const std::exception&) {
    return OutOfMemory("CloseChannelRecord");
}

// The file is closed before the channel is gone: a deletion pass leaves open files alone.
bool CLocalStorage::CloseChannelRecord(CChannelClaim& claim) noexcept {
    recordChannel& channel = claim.Channel();
    try {
        const std::string strRest = TakeRest(channel);
        WriteRecord(channel, strRest.data(), strRest.size());
    } catch (const std::exception&) {
        OutOfMemory("CloseChannelRecord");
    }
    CloseRecFile(channel);
    const bool bFrameless = HoldsNoFrame(channel);
    claim.Remove();
    return bFrameless;
}

bool CLocalStorage::HoldsNoFrame(const recordChannel& channel) const {
    return IsClientLayout() && m_stStoreInfo.bAnalyze && channel.nWrittenSize <= channel.nFrontSize;
}

// The size on disk is asked: a recording that was continued holds more than this run wrote.
void CLocalStorage::RemoveFrameless(const std::string& strRecFilePath, std::uint64_t nFrontSize,
                                    std::int64_t nPatience) {
    const auto pDisk = m_pIndexMgr->Disk(m_objDisks.DirectoryOf(strRecFilePath));
    CDiskCalls& calls = pDisk->Calls();
    if (calls.IsTooLong(DiskLane::Use, nPatience)) return;
    auto removed = calls.Post(DiskLane::Use, [strRecFilePath, nFrontSize] {
        OSL_FINFO_S stInfo;
        return OSL_GetFileInfo(strRecFilePath.c_str(), stInfo) == 0 && stInfo.nSize <= nFrontSize &&
               OSL_DeleteFile(strRecFilePath.c_str()) == 0;
    });
    if (calls.Await(DiskLane::Use, removed, nPatience)) {
        if (removed.get()) TellRemoved(strRecFilePath);
    } else if (removed.valid()) {
        OSL_Guard guard(m_mtxRemovals);
        m_lsRemovals.emplace_back(strRecFilePath, std::move(removed));
    }
}

void CLocalStorage::TellRemoved(const std::string& strRecFilePath) {
    LogText("[wtb][CLocalStorage::CloseRecFile] no frame came, file removed, strRecFilePath[%s]",
            strRecFilePath.c_str());
    m_objEvents.SendDeleteFile(strRecFilePath);
}

void CLocalStorage::TellLateRemovals() {
    Removals lsEnded;
    {
        OSL_Guard guard(m_mtxRemovals);
        for (auto it = m_lsRemovals.begin(); it != m_lsRemovals.end();) {
            const auto itRemoval = it++;
            if (itRemoval->second.wait_for(std::chrono::seconds(0)) == std::future_status::ready) {
                lsEnded.splice(lsEnded.end(), m_lsRemovals, itRemoval);
            }
        }
    }
    for (auto& [strPath, removed] : lsEnded) {
        if (removed.get()) TellRemoved(strPath);
    }
}

// Some disks say only now that they did not take what was written.
void CLocalStorage::CloseRecFile(recordChannel& channel) {
    const int nError = channel.objRecFile.Close();
    if (nError == 0) return;
    ReportFailedClose(channel.strRecFilePath, channel.strCameraID, channel.pUser, nError);
}
