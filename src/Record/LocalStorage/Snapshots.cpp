// Snapshot pictures: stored by day, camera and second; deleted by day.

#include <cstring>

#include "FileSystem/FileSystem.h"
#include "LocalStorage/Conversion.h"
#include "LocalStorage/DiskChoice.h"
#include "LocalStorage/Engine.h"
#include "LocalStorage/EngineLog.h"
#include "RecordTree/Names.h"

bool CLocalStorage::WriteImage(const char* pCameraID, const char* pBuf, unsigned int nSize,
                               char* pImgPath) try {
    if (!VerifyImageRequest(pCameraID, pBuf, pImgPath)) return false;
    std::string strPath;
    CRecordFile objFile;
    {
        OSL_Guard guard(m_mtxDiskCheck);
        CheckDisk();
        objFile = OpenImageFile(pCameraID, strPath);
    }
    if (!objFile.IsOpen()) return false;
    CopyText(pImgPath, LOCALSTORAGE_PATH_SIZE, strPath);
    return WriteImageData(objFile, pCameraID, strPath, pBuf, nSize);
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
    return VerifyImagePath(BuildImagePath(pCameraID).strPath);
}

bool CLocalStorage::VerifyImagePath(const std::string& strPath) const {
    return !IsPathTooLong(strPath) ||
           Refuse("[wtb][CLocalStorage::WriteImage] path too long, strImageFilePath[%s]",
                  strPath.c_str());
}

recordPath CLocalStorage::BuildImagePath(const std::string& strCameraID) const {
    tagBlockTime stNow;
    ConvertLocalTimeToBlockTime(OSL_Time(), stNow);
    return GetFolder(IMAGE_FOLDER, stNow, strCameraID)
        .File(GetSecondName(ConvertBlockTimeToFileTime(stNow), PICTURE_EXTENSION));
}

CRecordFile CLocalStorage::OpenImageFile(const std::string& strCameraID, std::string& strPath) {
    if (IsDiskFull(m_objDisks.CurrentLook())) {
        if (m_objEvents.SendDiskFull(nullptr)) {
            LogText(
                "[wtb][CLocalStorage::WriteImage] pFunCallback MESSAGEVALUE_DISKFULL, "
                "pCameraID [%s]",
                strCameraID.c_str());
        }
        LogText("[wtb][CLocalStorage::WriteImage] IsDiskFull, m_strCurRecDir [%s/], pCameraID [%s]",
                m_objDisks.Current().c_str(), strCameraID.c_str());
        return {};
    }
    const recordPath stPath = BuildImagePath(strCameraID);
    if (!VerifyImagePath(stPath.strPath)) return {};
    strPath = stPath.strPath;
    CRecordFile objFile = OpenRecFile(stPath, OSL_OPEN_NEW, strCameraID, nullptr, 0);
    if (!objFile.IsOpen()) {
        LogText("[wtb][CLocalStorage::WriteImage] OpenImageFile fail, strImageFilePath[%s]",
                strPath.c_str());
    }
    return objFile;
}

// Deliberate: what was written of a picture that failed stays, and the host has its path.
bool CLocalStorage::WriteImageData(CRecordFile& objFile, const std::string& strCameraID,
                                   const std::string& strPath, const char* pBuf,
                                   std::uint32_t nSize) {
    std::size_t nWritten = 0;
    int nError = objFile.Write(pBuf, nSize, nWritten) ? 0 : OSL_GetSystemLastError();
    const int nCloseError = objFile.Close();
    if (nError == 0) nError = nCloseError;
    if (nError == 0) return true;
    m_objDisks.NoteFailure(strPath, nError);
    m_objEvents.SendWriteFail(strCameraID, nError, nullptr);
    LogFailedWrite("WriteImageData", strCameraID, pBuf, nSize, nError);
    return false;
}

bool CLocalStorage::DeleteImagesByDay(const tagBlockTime& stDay) try {
    if (!m_bInit) return true;  // another engine may have the directory
    OSL_Guard guard(m_mtxDiskCheck);
    if (!m_objDisks.LookAtCurrent().bPresent) return true;
    const std::string strDay = GetDirName(ConvertBlockTimeToFileTime(stDay).GetDate());
    const std::string strRoot = m_objDisks.Current() + "/" + IMAGE_FOLDER;
    std::list<std::string> lsSubDir, lsSubFile;
    GetSubTargetList(strRoot, lsSubDir, lsSubFile, OSL_LastLink::IsFollowed);
    for (const std::string& strName : lsSubDir) {
        if (strDay >= strName) DeleteDirectory(strRoot + "/" + strName);
    }
    return true;
} catch (const std::exception&) {
    OutOfMemory("DeleteImagesByDay");
    return true;
}
