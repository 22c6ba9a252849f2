// A host for all test programs: an engine through the public interface, and what it is told.

#ifndef LOCALSTORAGE_TESTS_SUPPORT_HOST_H
#define LOCALSTORAGE_TESTS_SUPPORT_HOST_H

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "Support/AllocationFault.h"
#include "localstorage/LocalStorage.h"
#include "localstorage/LocalStorageLog.h"

// ---- Times ----

inline tagBlockTime BlockTime(int nYear, int nMonth, int nDay, int nHour = 0, int nMinute = 0,
                              int nSecond = 0) {
    tagBlockTime stTime;
    stTime.wYear = static_cast<std::uint16_t>(nYear);
    stTime.byMonth = static_cast<std::uint8_t>(nMonth);
    stTime.byDay = static_cast<std::uint8_t>(nDay);
    stTime.byHour = static_cast<std::uint8_t>(nHour);
    stTime.byMinute = static_cast<std::uint8_t>(nMinute);
    stTime.bySecond = static_cast<std::uint8_t>(nSecond);
    return stTime;
}

/// A recording from one time to another.
inline recFileInfo Recording(const tagBlockTime& stStart, const tagBlockTime& stEnd,
                             RecordType eType = RECORD_TYPE_1) {
    recFileInfo stFile;
    stFile.stStartTime = stStart;
    stFile.stEndTime = stEnd;
    stFile.enumRecordType = eType;
    return stFile;
}

/// "20240305080000".
inline std::string Digits(const tagBlockTime& stTime) {
    char szTime[32];
    std::snprintf(szTime, sizeof(szTime), "%04d%02d%02d%02d%02d%02d", stTime.wYear, stTime.byMonth,
                  stTime.byDay, stTime.byHour, stTime.byMinute, stTime.bySecond);
    return szTime;
}

// ---- What the engines of this process say; any thread ----

struct hostMessage {
    int nType = 0;
    std::string strCamera, strWhat;  ///< a file, a disk or an error number
    std::string strRest;  ///< time or space, size of the record and user: "20240305080000 396 user"
    std::chrono::steady_clock::time_point at = std::chrono::steady_clock::now();
};

/// Runs with every message, on its thread, until it is set anew.
using MessageHook = std::function<void(const hostMessage&)>;

inline struct hostMessages {
    std::mutex mtx;
    std::vector<hostMessage> vMessage;
    MessageHook hook;
} g_messages;

inline std::vector<hostMessage> Messages() {
    const std::lock_guard<std::mutex> guard(g_messages.mtx);
    return g_messages.vMessage;
}

/// The files, disks or errors of the messages of one type.
inline std::vector<std::string> Told(int nType) {
    std::vector<std::string> vWhat;
    for (const hostMessage& stMessage : Messages()) {
        if (stMessage.nType == nType) vWhat.push_back(stMessage.strWhat);
    }
    return vWhat;
}

inline void ForgetMessages() {
    const std::lock_guard<std::mutex> guard(g_messages.mtx);
    g_messages.vMessage.clear();
}

inline void OnMessage(MessageHook hook) {
    const std::lock_guard<std::mutex> guard(g_messages.mtx);
    g_messages.hook = std::move(hook);
}

/// The callback to give to an engine. A recording's `pUser` must point to a text.
inline int RecordMessage(int nType, void* pData, unsigned int nSize, void* pUser) {
    const CUncounted uncounted;
    hostMessage stMessage{nType, {}, {}, {}};
    if (nType == MESSAGEVALUE_CREATEFILE || nType == MESSAGEVALUE_CLOSEFILE) {
        const auto& stEvent = *static_cast<const recFileEvent*>(pData);
        stMessage.strCamera = stEvent.szCameraID;
        stMessage.strWhat = stEvent.szFileName;
        stMessage.strRest = Digits(stEvent.stTime) + " ";
    } else if (nType == MESSAGEVALUE_DELETEFILE) {
        stMessage.strWhat.assign(static_cast<const char*>(pData), nSize);
    } else if (nType == MESSAGEVALUE_SWITCHDISK) {
        const auto& stEvent = *static_cast<const diskSwitchEvent*>(pData);
        stMessage.strWhat = stEvent.szDisk;
        stMessage.strRest = std::to_string(stEvent.nUsableSpace) + " ";
    } else if (nType == MESSAGEVALUE_WRITEFAIL) {
        const auto& stEvent = *static_cast<const writeFailEvent*>(pData);
        stMessage.strCamera = stEvent.szCameraID;
        stMessage.strWhat = std::to_string(stEvent.nError);
    }
    stMessage.strRest += std::to_string(nSize) + " ";
    stMessage.strRest += pUser ? static_cast<const char*>(pUser) : "-";
    std::unique_lock<std::mutex> lock(g_messages.mtx);
    g_messages.vMessage.push_back(stMessage);
    const MessageHook hook = g_messages.hook;
    lock.unlock();
    if (hook) hook(stMessage);
    return 0;
}

// ---- The host ----

inline void AddRecordDir(tagStoreInfo& stInfo, const std::string& strRecDir) {
    pathNode stDir;
    std::strncpy(stDir.szPath, strRecDir.c_str(), sizeof(stDir.szPath) - 1);
    stInfo.lsRecDir.push_back(stDir);
}

class CRecordingHost {
public:
    /// With an engine that is not started.
    CRecordingHost() { NewLocalStorageClass(&m_pEngine); }
    /// With a running one; throws when it cannot start.
    CRecordingHost(tagStoreInfo& stInfo, const std::string& strLogDir) : CRecordingHost() {
        Start(stInfo, strLogDir);
    }
    /// Likewise, of the remote-backup layout on one directory.
    CRecordingHost(const std::string& strRecDir, const std::string& strLogDir) : CRecordingHost() {
        tagStoreInfo stInfo;
        AddRecordDir(stInfo, strRecDir);
        Start(stInfo, strLogDir);
    }
    ~CRecordingHost() { DelLocalStorageClass(&m_pEngine); }
    CRecordingHost(const CRecordingHost&) = delete;
    CRecordingHost& operator=(const CRecordingHost&) = delete;

    bool Open(std::string strCamera, recFileInfo stFile) {
        static char s_szUser[] = "user";
        return m_pEngine->OpenChannelRecord(strCamera.data(), s_szUser, stFile);
    }
    bool Write(std::string strCamera, recFileInfo stFile, std::string strData,
               unsigned int nDataType = 0) {
        return m_pEngine->WriteData(strCamera.data(), nDataType, strData.data(),
                                    static_cast<unsigned int>(strData.size()), stFile);
    }
    bool Close(std::string strCamera, recFileInfo stFile) {
        return m_pEngine->CloseChannelRecord(strCamera.data(), stFile);
    }
    /// A whole recording.
    bool Record(const std::string& strCamera, const recFileInfo& stFile,
                const std::string& strData = "video") {
        return Open(strCamera, stFile) && Write(strCamera, stFile, strData) &&
               Close(strCamera, stFile);
    }
    /// `pPath` receives where it lies, unless it is null.
    bool Picture(const std::string& strCamera, const std::string& strData,
                 std::string* pPath = nullptr) {
        char szPath[LOCALSTORAGE_PATH_SIZE] = {};
        const bool bStored = m_pEngine->WriteImage(
            strCamera.c_str(), strData.data(), static_cast<unsigned int>(strData.size()), szPath);
        const CUncounted uncounted;
        if (pPath) *pPath = szPath;
        return bStored;
    }
    int LastError() { return m_pEngine->GetLastError(); }
    /// The paths of a camera's recordings, as a query gives them; remote-backup layout.
    std::vector<std::string> Find(const std::string& strCamera, const tagBlockTime& stFrom,
                                  const tagBlockTime& stTo, RecordType eType = RECORD_TYPE_ALL) {
        recQueryParam stQuery;
        stQuery.stQueryStartTime = stFrom;
        stQuery.stQueryEndTime = stTo;
        stQuery.enumRecordType = eType;
        std::strncpy(stQuery.szCameraID, strCamera.c_str(), sizeof(stQuery.szCameraID) - 1);
        CVexList<pathNode>* pList = nullptr;
        std::vector<std::string> vPaths;
        if (!m_pEngine->QueryRecFile(stQuery, &pList)) return vPaths;
        const CUncounted uncounted;
        for (const pathNode& stPath : *pList) vPaths.emplace_back(stPath.szPath);
        return vPaths;
    }
    /// All of them, sorted.
    std::vector<std::string> Recordings(const std::string& strCamera) {
        auto vPaths = Find(strCamera, BlockTime(1, 1, 1), BlockTime(9999, 12, 31, 23, 59, 59));
        std::sort(vPaths.begin(), vPaths.end());
        return vPaths;
    }

protected:
    CLocalStorageInterface* m_pEngine = nullptr;

private:
    void Start(tagStoreInfo& stInfo, const std::string& strLogDir) {
        EnableTarget(LOG_TARGET_FILE, strLogDir.c_str(), 0, 1);
        if (!m_pEngine->Initialize(stInfo)) throw std::runtime_error("the engine does not start");
    }
};

#endif  // LOCALSTORAGE_TESTS_SUPPORT_HOST_H
