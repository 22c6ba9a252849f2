#include "LocalStorage/HostEvents.h"

#include <cstring>

#include "LocalStorage/Conversion.h"
#include "Osl/Osl.h"

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

bool CHostEvents::Send(StorageMessage eMessage, void* pData, std::size_t nDataLen, void* pUser) {
    OSL_Guard guard(m_mtxCallback);
    const auto nSize = static_cast<unsigned int>(nDataLen);
    if (m_pFunCallback) m_pFunCallback(eMessage, pData, nSize, pUser);
    if (m_pfnListener) m_pfnListener(m_pContext, eMessage, pData, nSize, pUser);
    return m_pFunCallback || m_pfnListener;
}

bool CHostEvents::SendDiskFull(void* pUser) {
    return Send(MESSAGEVALUE_DISKFULL, nullptr, 0, pUser);
}

bool CHostEvents::SendSwitchDisk(const std::string& strRecDir, std::uint64_t nUsableSpace) {
    auto stEvent = Zeroed<diskSwitchEvent>();
    CopyText(stEvent.szDisk, sizeof(stEvent.szDisk), strRecDir + "/");
    stEvent.nUsableSpace = nUsableSpace;
    return Send(MESSAGEVALUE_SWITCHDISK, &stEvent, sizeof(stEvent), nullptr);
}

bool CHostEvents::SendFileEvent(StorageMessage eMessage, const std::string& strCameraID,
                                const std::string& strPath, void* pUser) {
    auto stEvent = Zeroed<recFileEvent>();
    CopyText(stEvent.szCameraID, sizeof(stEvent.szCameraID), strCameraID);
    CopyText(stEvent.szFileName, sizeof(stEvent.szFileName), strPath);
    ConvertLocalTimeToBlockTime(OSL_Time(), stEvent.stTime);
    return Send(eMessage, &stEvent, sizeof(stEvent), pUser);
}

bool CHostEvents::SendCreateFile(const std::string& strCameraID, const std::string& strPath,
                                 void* pUser) {
    return SendFileEvent(MESSAGEVALUE_CREATEFILE, strCameraID, strPath, pUser);
}

bool CHostEvents::SendCloseFile(const std::string& strCameraID, const std::string& strPath,
                                void* pUser) {
    return SendFileEvent(MESSAGEVALUE_CLOSEFILE, strCameraID, strPath, pUser);
}

bool CHostEvents::SendDeleteFile(const std::string& strPath) {
    return Send(MESSAGEVALUE_DELETEFILE, const_cast<char*>(strPath.c_str()), strPath.size(),
                nullptr);
}

bool CHostEvents::SendWriteFail(const std::string& strCameraID, int nError, void* pUser) {
    auto stEvent = Zeroed<writeFailEvent>();
    CopyText(stEvent.szCameraID, sizeof(stEvent.szCameraID), strCameraID);
    stEvent.nError = nError;
    return Send(MESSAGEVALUE_WRITEFAIL, &stEvent, sizeof(stEvent), pUser);
}
