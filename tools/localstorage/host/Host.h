// The engine as this tool uses it: started and stopped with an object, failures as words, messages
// as records.

#ifndef LOCALSTORAGE_TOOL_HOST_HOST_H
#define LOCALSTORAGE_TOOL_HOST_HOST_H

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "Catalogue/Catalogue.h"
#include "localstorage/LocalStorage.h"
#include "media/ParameterSets.h"

/// One message of the engine.
struct hostEvent {
    int nMessage = 0;  ///< StorageMessage
    std::string strCamera;
    std::string strPath;           ///< file, or the new record directory
    std::uint64_t nUsableMiB = 0;  ///< of the new record directory
    int nError = 0;                ///< the system's error number
    void* pUser = nullptr;         ///< of the channel, where it concerns one
};

using EventHandler = std::function<void(const hostEvent&)>;

struct hostSettings {
    std::vector<std::string> vDirs = {};
    LocalStorageType eLayout = LOCAL_STORAGE_REMOTE_BACKUP;
    bool bAnalyze = false;
    bool bCyclic = false;
    bool bAutoDelete = false;
    bool bRequireMount = false;  ///< directories on the root's disk are waited for
    StoreFileType eDeleteKind = STORE_FILE_RECORD;
    unsigned nChannels = 0;
    unsigned nFileSize = 256;    ///< MiB
    unsigned nSyncEvery = 1000;  ///< ms; 0: never
};

/// A running engine. One at a time, since the engine's callback carries no context of its own.
class CHost {
public:
    /// Starts the engine; throws CFailure. `fnEvent` is called from any thread, one call at a time,
    /// and must not call the engine.
    CHost(hostSettings stSettings, EventHandler fnEvent);
    /// Closes what is open and writes the index.
    ~CHost();
    CHost(const CHost&) = delete;
    CHost& operator=(const CHost&) = delete;

    CLocalStorageInterface& Engine() { return *m_pEngine; }
    /// Opens a recording; throws CFailure. Any thread.
    void Open(std::string& strCamera, void* pUser, recFileInfo& stFile);

private:
    void Start();
    static int OnMessage(int nMessage, void* pData, unsigned int nDataLen, void* pUser);

    hostSettings m_stSettings;
    EventHandler m_fnEvent;
    std::mutex m_mtxOpen;  ///< the engine keeps one error code for all threads
    CLocalStorageInterface* m_pEngine = nullptr;
};

/// One open recording.
class CHostChannel {
public:
    /// Opens it, with an empty stream header; throws CFailure.
    CHostChannel(CHost& objHost, std::string strCamera, void* pUser, recFileInfo stFile);
    ~CHostChannel();
    CHostChannel(const CHostChannel&) = delete;
    CHostChannel& operator=(const CHostChannel&) = delete;

    bool Write(Bytes stBytes);

private:
    CHost& m_objHost;
    std::string m_strCamera;
    recFileInfo m_stFile;
};

/// Starts and stops the engine on a record directory, which repairs an index that is marked as not
/// up to date. The directory must not be locked. Throws CFailure.
void RunIndexRepair(const std::string& strDir);

/// Refuses record directories that hold recordings of the other layout: each layout takes the
/// other's files for foreign ones and deletes them. Throws CFailure.
void RefuseOtherLayout(const std::vector<std::string>& vDirs, LocalStorageType eLayout);

/// Makes record directories that do not exist; throws CFailure.
void MakeRecordDirs(const std::vector<std::string>& vDirs);

#endif  // LOCALSTORAGE_TOOL_HOST_HOST_H
