// Snapshot pictures: stored by day, camera and second; deleted by day.

#include <cstring>

#include "LocalStorage/CallFailure.h"
#include "LocalStorage/Conversion.h"
#include "LocalStorage/DiskChoice.h"
#include "LocalStorage/Engine.h"
#include "LocalStorage/EngineLog.h"
#include "RecordTree/Names.h"

bool CLocalStorage::WriteImage(const char* pCameraID, const char* pBuf, unsigned int nSize,
                               char* pImgPath) try {
    if (!VerifyImageRequest(pCameraID, pBuf, pImgPath)) return false;
    const COverwriter::CHostCall call(m_objOverwriter);
    Attempt eAttempt = Attempt::GoElsewhere;
    while (eAttempt == Attempt::GoElsewhere) {
        CheckDisk(COverwriter::Pace::Full);
        eAttempt = StoreImage(pCameraID, pBuf, nSize, pImgPath);
    }
    return eAttempt == Attempt::Done;
} catch (const std::exception&) {
    return OutOfMemory("WriteImage");
}

bool CLocalStorage::VerifyImageRequest(const char* pCameraID, const char* pBuf,
                                       const char* pImgPath) const {
    if (!pCameraID || !pBuf || !pImgPath) {
        return Refuse(
            "[wtb][CLocalStorage::WriteImage] NULL == pCameraID || NULL == pBuf || "
            "NULL == pImgPath");
    }
    if (!IsCameraID(pCameraID)) {
        return Refuse("[wtb][CLocalStorage::WriteImage] %s", CAMERA_ID_REFUSED);
    }
    if (!m_bInit) {
        return Refuse("[wtb][CLocalStorage::WriteImage] not initialized, pCameraID [%s]",
                      pCameraID);
    }
    return VerifyImagePath(BuildImagePath(m_objDisks.Current(), pCameraID).strPath);
}

bool CLocalStorage::VerifyImagePath(const std::string& strPath) const {
    return !IsPathTooLong(strPath) ||
           Refuse("[wtb][CLocalStorage::WriteImage] path too long, strImageFilePath[%s]",
                  strPath.c_str());
}

recordPath CLocalStorage::BuildImagePath(const std::string& strRecDir,
                                         const std::string& strCameraID) const {
    tagBlockTime stNow;
    ConvertLocalTimeToBlockTime(OSL_Time(), stNow);
    return GetFolder(strRecDir, IMAGE_FOLDER, stNow, strCameraID)
        .File(GetSecondName(ConvertBlockTimeToFileTime(stNow), PICTURE_EXTENSION));
}

CLocalStorage::Attempt CLocalStorage::StoreImage(const std::string& strCameraID, const char* pBuf,
                                                 std::uint32_t nSize, char* pImgPath) {
    const std::string strRecDir = m_objDisks.Current();
    if (!IsDiskFull(m_objDisks.CurrentLook())) {
        return StoreImageOn(strRecDir, strCameraID, pBuf, nSize, pImgPath);
    }
    if (m_objEvents.SendDiskFull(nullptr)) {
        LogText(
            "[wtb][CLocalStorage::WriteImage] pFunCallback MESSAGEVALUE_DISKFULL, "
            "pCameraID [%s]",
            strCameraID.c_str());
    }
    LogText("[wtb][CLocalStorage::WriteImage] IsDiskFull, m_strCurRecDir [%s/], pCameraID [%s]",
            strRecDir.c_str(), strCameraID.c_str());
    t_stCallFailure = FailureOf(m_objDisks.CurrentLook());
    return Attempt::Failed;
}

namespace {

struct storedImage {
    bool bOpened = false;
    int nError = 0;
};

// Gives the picture its name. Deliberate: what was written of one that failed gets it too, since
// the host has its path; but it replaces none.
int NameImage(const std::string& strNew, const std::string& strPath, bool bDone) {
    if (!bDone && OSL_AccessFile(strPath.c_str(), 0) == 0) return OSL_DeleteFile(strNew.c_str());
    return OSL_RenameFile(strNew.c_str(), strPath.c_str());
}

// Under another name until it is whole, so that nobody ever meets half a picture, or parts of two
// of one second.
storedImage Store(const fileOrder& stOrder, const std::string& strPath, const std::string& strImage,
                  const WantedFlag& pbWanted) {
    COpenedFile opened = COpenedFile::Open(stOrder, pbWanted);
    if (!opened.IsOpen() || !*pbWanted) return {false, opened.Error()};
    CRecordFile objFile = opened.Take();
    std::size_t nWritten = 0;
    int nError =
        objFile.Write(strImage.data(), strImage.size(), nWritten) ? 0 : OSL_GetSystemLastError();
    const int nCloseError = objFile.Close();
    if (nError == 0) nError = nCloseError;
    const bool bNamed = NameImage(stOrder.stPath.strPath, strPath, nError == 0) == 0;
    if (nError == 0 && !bNamed) nError = OSL_GetSystemLastError();
    return {true, nError};
}

}  // namespace

// All of it on the disk's thread, with a copy of the picture.
CLocalStorage::Attempt CLocalStorage::StoreImageOn(const std::string& strRecDir,
                                                   const std::string& strCameraID, const char* pBuf,
                                                   std::uint32_t nSize, char* pImgPath) {
    const recordPath stPath = BuildImagePath(strRecDir, strCameraID);
    if (!VerifyImagePath(stPath.strPath)) return Attempt::Failed;
    fileOrder stOrder = OrderFor(stPath, OSL_OPEN_NEW, strCameraID, nullptr);
    stOrder.stPath.strPath = std::string(stPath.Folder()) + "/" + NEW_PICTURE;
    stOrder.bIndexed = false;
    stOrder.nReserveStep = 0;
    CDiskCalls& calls = stOrder.pDisk->Calls();
    const auto pbWanted = std::make_shared<std::atomic<bool>>(true);
    std::future<storedImage> stored;
    const auto await = [&](std::int64_t nPatience) {
        return calls.Await(DiskLane::Use, stored, nPatience);
    };
    const CDiskTurn turn(calls);
    if (turn) {
        stored = calls.Post(DiskLane::Use,
                            [=, strPath = stPath.strPath, strImage = std::string(pBuf, nSize)] {
                                return Store(stOrder, strPath, strImage, pbWanted);
                            });
    }
    if (!turn || !IsAnswered(strRecDir, await)) {
        *pbWanted = false;
        t_stCallFailure = {CALL_FAILED_DISK, 0};
        LogText(
            "[wtb][CLocalStorage::WriteImage] the disk gives no answer, given up, "
            "strImageFilePath[%s]",
            stPath.strPath.c_str());
        return m_objDisks.HasAnother(strRecDir) ? Attempt::GoElsewhere : Attempt::Failed;
    }
    const storedImage stStored = stored.get();
    if (stStored.bOpened) CopyText(pImgPath, LOCALSTORAGE_PATH_SIZE, stPath.strPath);
    if (stStored.bOpened && stStored.nError == 0) return Attempt::Done;
    t_stCallFailure = {stStored.bOpened ? CALL_FAILED_WRITE : STORAGE_ERROR_OPEN_FILE,
                       stStored.nError};
    m_objDisks.NoteFailure(stPath.strPath, stStored.nError);
    if (stStored.bOpened) {
        m_objEvents.SendWriteFail(strCameraID, stStored.nError, nullptr);
        LogFailedWrite("WriteImageData", strCameraID, pBuf, nSize, stStored.nError);
    } else {
        LogText("[wtb][CLocalStorage::WriteImage] OpenImageFile fail, strImageFilePath[%s]",
                stPath.strPath.c_str());
    }
    return Attempt::Failed;
}

bool CLocalStorage::DeleteImagesByDay(const tagBlockTime& stDay) try {
    if (!m_bInit) return true;  // another engine may have the directory
    const COverwriter::CHostCall call(m_objOverwriter);
    m_objOverwriter.DeletePicturesUpTo(GetDirName(ConvertBlockTimeToFileTime(stDay).GetDate()));
    return true;
} catch (const std::exception&) {
    OutOfMemory("DeleteImagesByDay");
    return true;
}
