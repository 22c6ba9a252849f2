// What the host is told. Every message leaves through SendEvent: nothing else touches the callback.

#include <cstring>

#include "FileSystem/FileSystem.h"
#include "LocalStorage/Conversion.h"
#include "LocalStorage/Engine.h"

static_assert(sizeof(recFileEvent) == 396 && offsetof(recFileEvent, szFileName) == 128 &&
              offsetof(recFileEvent, stTime) == 388);
static_assert(sizeof(diskSwitchEvent) == 272 && offsetof(diskSwitchEvent, nUsableSpace) == 264);
static_assert(sizeof(writeFailEvent) == 132 && offsetof(writeFailEvent, nError) == 128);

namespace {

// Zeroed to the last byte: the record crosses to the host whole.
template <typename Record>
Record Zeroed() {
    Record stRecord;
    std::memset(static_cast<void*>(&stRecord), 0, sizeof(stRecord));
    return stRecord;
}

}  // namespace

bool CLocalStorage::SendEvent(StorageMessage eMessage, void* pData, std::size_t nDataLen,
                              void* pUser, const std::string& strLog) {
    OSL_Guard guard(m_mtxCallback);
    if (!m_stStoreInfo.pFunCallback) return false;
    m_stStoreInfo.pFunCallback(eMessage, pData, static_cast<unsigned int>(nDataLen), pUser);
    if (!strLog.empty()) LogText(strLog);
    return true;
}

bool CLocalStorage::SendDiskFull(void* pUser, const std::string& strLog) {
    return SendEvent(MESSAGEVALUE_DISKFULL, nullptr, 0, pUser, strLog);
}

bool CLocalStorage::SendDiskSwitch(const std::string& strRecDir, const std::string& strLog) {
    auto stEvent = Zeroed<diskSwitchEvent>();
    CopyText(stEvent.szDisk, sizeof(stEvent.szDisk), strRecDir);
    GetDiskUsableSpace(strRecDir.c_str(), stEvent.nUsableSpace);
    return SendEvent(MESSAGEVALUE_SWITCHDISK, &stEvent, sizeof(stEvent), nullptr, strLog);
}

bool CLocalStorage::SendFileEvent(StorageMessage eMessage, const std::string& strCameraID,
                                  const std::string& strPath, void* pUser,
                                  const std::string& strLog) {
    auto stEvent = Zeroed<recFileEvent>();
    CopyText(stEvent.szCameraID, sizeof(stEvent.szCameraID), strCameraID);
    CopyText(stEvent.szFileName, sizeof(stEvent.szFileName), strPath);
    ConvertLocalTimeToBlockTime(OSL_Time(), stEvent.stTime);
    return SendEvent(eMessage, &stEvent, sizeof(stEvent), pUser, strLog);
}

bool CLocalStorage::SendDeleted(const std::string& strPath, const std::string& strLog) {
    return SendEvent(MESSAGEVALUE_DELETEFILE, const_cast<char*>(strPath.c_str()), strPath.size(),
                     nullptr, strLog);
}

bool CLocalStorage::SendWriteFail(const std::string& strCameraID, int nError, void* pUser) {
    auto stEvent = Zeroed<writeFailEvent>();
    CopyText(stEvent.szCameraID, sizeof(stEvent.szCameraID), strCameraID);
    stEvent.nError = nError;
    return SendEvent(MESSAGEVALUE_WRITEFAIL, &stEvent, sizeof(stEvent), pUser, std::string());
}
