// What the host is told: its callback and the six messages. Nothing else touches the callback.

#ifndef LOCALSTORAGE_RECORD_HOSTEVENTS_H
#define LOCALSTORAGE_RECORD_HOSTEVENTS_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "Osl/OslMutex.h"
#include "localstorage/LocalStorage.h"

/// Every message is sent under the callback lock, so calls never overlap. True: the host was told;
/// false: it has no callback. Any thread.
class CHostEvents {
public:
    /// Null: nobody is told. No other call may run meanwhile.
    void SetCallback(StorageMsgCallback pFunCallback) { m_pFunCallback = pFunCallback; }
    /// Somebody who is told as well, with a pointer of its own. Likewise.
    using Listener = void (*)(void* pContext, int nMsgType, void* pData, unsigned int nDataLen,
                              void* pUser);
    void SetListener(Listener pfnListener, void* pContext) {
        m_pfnListener = pfnListener;
        m_pContext = pContext;
    }

    bool SendDiskFull(void* pUser);
    bool SendSwitchDisk(const std::string& strRecDir, std::uint64_t nUsableSpace);
    bool SendCreateFile(const std::string& strCameraID, const std::string& strPath, void* pUser);
    bool SendCloseFile(const std::string& strCameraID, const std::string& strPath, void* pUser);
    bool SendDeleteFile(const std::string& strPath);
    bool SendWriteFail(const std::string& strCameraID, int nError, void* pUser);

private:
    bool Send(StorageMessage eMessage, void* pData, std::size_t nDataLen, void* pUser);
    bool SendFileEvent(StorageMessage eMessage, const std::string& strCameraID,
                       const std::string& strPath, void* pUser);

    OSL_Mutex m_mtxCallback{OSL_LockRank::Callback, "callback"};  ///< held around calls only
    StorageMsgCallback m_pFunCallback = nullptr;
    Listener m_pfnListener = nullptr;
    void* m_pContext = nullptr;
};

#endif  // LOCALSTORAGE_RECORD_HOSTEVENTS_H
