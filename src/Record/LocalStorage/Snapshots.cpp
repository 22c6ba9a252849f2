// Snapshot pictures: stored by day, camera and second; deleted by day.

#include <cstring>

#include "FileSystem/FileSystem.h"
#include "IndexMgr/RecDirName.h"
#include "LocalStorage/Conversion.h"
#include "LocalStorage/Engine.h"
#include "LocalStorage/Naming.h"
#include "RecordTree/Names.h"

bool CLocalStorage::WriteImage(const char* pCameraID, const char* pBuf, unsigned int nSize,
                               char* pImgPath) try {
    if (!VerifyImageRequest(pCameraID, pBuf, pImgPath)) return false;
    MakeRecDir(GetCurRecDir());
    std::string strPath;
    OSL_FileHandle hFile = OSL_INVALID_FILE;
    {
        OSL_Guard guard(m_mtxDiskCheck);
        CheckDisk();
        hFile = OpenImageFile(pCameraID, strPath);
    }
    if (hFile == OSL_INVALID_FILE) return false;
    CopyText(pImgPath, LOCALSTORAGE_PATH_SIZE, strPath);
    return WriteImageData(hFile, pCameraID, strPath, pBuf, nSize);
} catch (const std::exception&) {
    return OutOfMemory("WriteImage");
}

bool CLocalStorage::VerifyImageRequest(const char* pCameraID, const char* pBuf,
                                       const char* pImgPath) const {
    const std::string strMethod = "[wtb][CLocalStorage::WriteImage] ";
    if (!pCameraID || !pBuf || !pImgPath)
        return Refuse(strMethod + "NULL == pCameraID || NULL == pBuf || NULL == pImgPath");
    if (!IsCameraID(pCameraID)) return Refuse(strMethod + CAMERA_ID_REFUSED);
    if (!m_bInit) return Refuse(strMethod + "not initialized, pCameraID [" + pCameraID + "]");
    return VerifyImagePath(BuildImagePath(pCameraID).strPath);
}

bool CLocalStorage::VerifyImagePath(const std::string& strPath) const {
    return !IsPathTooLong(strPath) ||
           Refuse("[wtb][CLocalStorage::WriteImage] path too long, strImageFilePath[" + strPath +
                  "]");
}

recordPath CLocalStorage::BuildImagePath(const std::string& strCameraID) const {
    tagBlockTime stNow;
    ConvertLocalTimeToBlockTime(OSL_Time(), stNow);
    return BuildPath(IMAGE_FOLDER, GetDayName(stNow), strCameraID, GetSecondName(stNow, ".jpg"));
}

OSL_FileHandle CLocalStorage::OpenImageFile(const std::string& strCameraID, std::string& strPath) {
    const std::string strMethod = "[wtb][CLocalStorage::WriteImage] ";
    const std::string strCamera = "pCameraID [" + strCameraID + "]";
    if (IsDiskFull(GetCurRecDir())) {
        SendDiskFull(nullptr, strMethod + "pFunCallback MESSAGEVALUE_DISKFULL, " + strCamera);
        LogText(strMethod + "IsDiskFull, m_strCurRecDir [" + GetCurRecDir() + "], " + strCamera);
        return OSL_INVALID_FILE;
    }
    const recordPath stPath = BuildImagePath(strCameraID);
    if (!VerifyImagePath(stPath.strPath)) return OSL_INVALID_FILE;
    strPath = stPath.strPath;
    const OSL_FileHandle hFile = OpenInFolder(stPath, OSL_OPEN_NEW);
    if (hFile == OSL_INVALID_FILE)
        LogText(strMethod + "OpenImageFile fail, strImageFilePath[" + strPath + "]");
    return hFile;
}

// Deliberate: what was written of a picture that failed stays, and the host has its path.
bool CLocalStorage::WriteImageData(OSL_FileHandle hFile, const std::string& strCameraID,
                                   const std::string& strPath, const char* pBuf,
                                   std::uint32_t nSize) {
    const bool bWritten = OSL_WriteFile(hFile, pBuf, nSize, nullptr) == 0;
    const int nError = bWritten ? 0 : OSL_GetSystemLastError();
    OSL_CloseFile(hFile);
    if (bWritten) return true;
    NoteDiskFailure(strPath, nError);
    SendWriteFail(strCameraID, nError, nullptr);
    LogFailedWrite("WriteImageData", strCameraID, pBuf, nSize, nError);
    return false;
}

bool CLocalStorage::DeleteImagesByDay(const tagBlockTime& stDay) try {
    if (!m_bInit) return true;  // another engine may have the directory
    OSL_Guard guard(m_mtxDiskCheck);
    const std::string strRecDir = GetCurRecDir();
    const std::string strDay = GetDayName(stDay);
    const std::string strRoot = strRecDir + IMAGE_FOLDER + "/";
    // Without a current directory the root would lie below the process's own.
    if (strRecDir.empty() || !IsDiskPresent(strRecDir)) return true;
    std::list<std::string> lsSubDir, lsSubFile;
    GetSubTargetList(strRoot, lsSubDir, lsSubFile);
    for (const std::string& strName : lsSubDir)
        if (strDay >= strName) DeleteDirectory(strRoot + strName);
    return true;
} catch (const std::exception&) {
    OutOfMemory("DeleteImagesByDay");
    return true;
}
