// A host as the tests of the whole library need it: one engine through the public interface.

#ifndef LOCALSTORAGE_TESTS_SUPPORT_HOST_H
#define LOCALSTORAGE_TESTS_SUPPORT_HOST_H

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "localstorage/LocalStorage.h"
#include "localstorage/LocalStorageLog.h"

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

inline void AddRecordDir(tagStoreInfo& stInfo, const std::string& strRecDir) {
    pathNode stDir;
    std::strncpy(stDir.szPath, strRecDir.c_str(), sizeof(stDir.szPath) - 1);
    stInfo.lsRecDir.push_back(stDir);
}

/// A running engine; throws when it cannot start.
class CRecordingHost {
public:
    CRecordingHost(tagStoreInfo& stInfo, const std::string& strLogDir) {
        EnableTarget(LOG_TARGET_FILE, strLogDir.c_str(), 0, 1);
        if (!NewLocalStorageClass(&m_pEngine) || !m_pEngine->Initialize(stInfo)) {
            throw std::runtime_error("the engine does not start");
        }
    }
    ~CRecordingHost() { DelLocalStorageClass(&m_pEngine); }
    CRecordingHost(const CRecordingHost&) = delete;
    CRecordingHost& operator=(const CRecordingHost&) = delete;

    bool Open(std::string strCamera, recFileInfo stFile) {
        return m_pEngine->OpenChannelRecord(strCamera.data(), nullptr, stFile);
    }
    bool Write(std::string strCamera, recFileInfo stFile, std::string strData) {
        return m_pEngine->WriteData(strCamera.data(), 0, strData.data(),
                                    static_cast<unsigned int>(strData.size()), stFile);
    }
    bool Close(std::string strCamera, recFileInfo stFile) {
        return m_pEngine->CloseChannelRecord(strCamera.data(), stFile);
    }
    bool Picture(const std::string& strCamera, const std::string& strData) {
        char szPath[LOCALSTORAGE_PATH_SIZE];
        return m_pEngine->WriteImage(strCamera.c_str(), strData.data(),
                                     static_cast<unsigned int>(strData.size()), szPath);
    }
    int LastError() { return m_pEngine->GetLastError(); }
    /// The paths of all recordings of a camera, sorted; remote-backup layout.
    std::vector<std::string> Recordings(const std::string& strCamera) {
        recQueryParam stQuery;
        stQuery.stQueryStartTime = BlockTime(1, 1, 1);
        stQuery.stQueryEndTime = BlockTime(9999, 12, 31, 23, 59, 59);
        std::strncpy(stQuery.szCameraID, strCamera.c_str(), sizeof(stQuery.szCameraID) - 1);
        CVexList<pathNode>* pList = nullptr;
        std::vector<std::string> vPaths;
        if (!m_pEngine->QueryRecFile(stQuery, &pList)) return vPaths;
        for (const pathNode& stPath : *pList) vPaths.emplace_back(stPath.szPath);
        std::sort(vPaths.begin(), vPaths.end());
        return vPaths;
    }

private:
    CLocalStorageInterface* m_pEngine = nullptr;
};

/// An engine of the remote-backup layout on one directory.
class CBackupHost : public CRecordingHost {
public:
    CBackupHost(const std::string& strRecDir, const std::string& strLogDir)
        : CBackupHost(tagStoreInfo(), strRecDir, strLogDir) {}

private:
    CBackupHost(tagStoreInfo&& stInfo, const std::string& strRecDir, const std::string& strLogDir)
        : CRecordingHost((AddRecordDir(stInfo, strRecDir), stInfo), strLogDir) {}
};

#endif  // LOCALSTORAGE_TESTS_SUPPORT_HOST_H
