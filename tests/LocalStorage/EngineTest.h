// An engine on directories of its own, with a clock that stands still and disks of made-up size.

#ifndef LOCALSTORAGE_TESTS_LOCALSTORAGE_ENGINETEST_H
#define LOCALSTORAGE_TESTS_LOCALSTORAGE_ENGINETEST_H

#include <algorithm>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LocalStorage/Engine.h"
#include "LocalStorage/Trace.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"

/// 2024-03-05 08:00:00 local time, where the clock stands at first.
inline std::time_t Morning() {
    std::tm tmLocal{};
    tmLocal.tm_year = 124;
    tmLocal.tm_mon = 2;
    tmLocal.tm_mday = 5;
    tmLocal.tm_hour = 8;
    tmLocal.tm_isdst = -1;
    return std::mktime(&tmLocal);
}

inline tagBlockTime Time(unsigned nDay, unsigned nHour, unsigned nMinute = 0,
                         unsigned nSecond = 0) {
    tagBlockTime stTime;
    stTime.wYear = 2024;
    stTime.byMonth = 3;
    stTime.byDay = static_cast<std::uint8_t>(nDay);
    stTime.byHour = static_cast<std::uint8_t>(nHour);
    stTime.byMinute = static_cast<std::uint8_t>(nMinute);
    stTime.bySecond = static_cast<std::uint8_t>(nSecond);
    return stTime;
}

/// A recording of March 2024, one hour from this hour on.
inline recFileInfo Hour(unsigned nDay, unsigned nHour, RecordType eType = RECORD_TYPE_1) {
    recFileInfo stInfo;
    stInfo.stStartTime = Time(nDay, nHour);
    stInfo.stEndTime = Time(nDay, nHour + 1);
    stInfo.enumRecordType = eType;
    return stInfo;
}

class CEngineTest : public testing::Test {
protected:
    static constexpr std::uint64_t ROOM = 10000, FULL = 2048;  // MiB
    static constexpr std::int64_t SECOND = 1000, DAY = 24 * 3600 * SECOND;

    CEngineTest() : m_pEngine(std::make_unique<CLocalStorage>()) {
        ClearTrace();
        OnMessage(nullptr);
        KeepLines(true);
        m_stInfo.pFunCallback = RecordMessage;
        SetRoom(ROOM);
        m_faults.SetTime(Morning());
        // A sync in the background would count among the calls that tests count.
        SetStorageOption(STORAGE_OPTION_SYNC_INTERVAL, 0);
    }
    ~CEngineTest() override { m_pEngine->Release(); }

    /// A record directory, "1" to start with.
    std::string Disk(const std::string& strName = "1") const { return m_dir / strName + "/"; }

    void AddDisk(const std::string& strName = "1") {
        std::filesystem::create_directories(Disk(strName));
        pathNode node;
        std::snprintf(node.szPath, sizeof(node.szPath), "%s", Disk(strName).c_str());
        m_stInfo.lsRecDir.push_back(node);
    }

    /// Starts the engine on disk "1" (unless the test has added disks) and forgets what it said.
    void Start(LocalStorageType eType = LOCAL_STORAGE_REMOTE_BACKUP) {
        if (m_stInfo.lsRecDir.size() == 0) AddDisk();
        m_stInfo.enumStorageType = eType;
        ASSERT_TRUE(m_pEngine->Initialize(m_stInfo)) << m_pEngine->GetLastError();
        ClearTrace();
    }

    /// The same on two disks, moving from one to the other.
    void StartOnTwo(LocalStorageType eType = LOCAL_STORAGE_REMOTE_BACKUP) {
        AddDisk("1");
        AddDisk("2");
        m_stInfo.bCycWrite = true;
        Start(eType);
    }
    /// Stops the engine, for a start with other settings.
    void Stop() {
        m_pEngine->Release();
        m_stInfo = tagStoreInfo();
        m_stInfo.pFunCallback = RecordMessage;
    }

    void SetRoom(std::uint64_t nMiB, const std::string& strDisk = "") {
        m_faults.SetFreeSpace(m_dir / strDisk, nMiB);
    }
    /// Runs a disk check, through a picture. What was said until the picture's turn came.
    Trace CheckDisk() {
        char szPath[LOCALSTORAGE_PATH_SIZE];
        Said();
        m_pEngine->WriteImage("check", "", 0, szPath);
        Trace lsSaid = Said();
        const auto itRefused = std::find_if(lsSaid.begin(), lsSaid.end(), [](const auto& strLine) {
            return strLine.find("WriteImage]") != std::string::npos;
        });
        if (itRefused == lsSaid.end()) return lsSaid;
        const bool bToldHost = itRefused->find("pFunCallback") != std::string::npos;
        return Trace(lsSaid.begin(), itRefused - bToldHost);
    }
    /// The same on a full disk, which has room again afterwards, when the next pass may follow.
    Trace CheckFullDisk() {
        SetRoom(FULL);
        Trace lsSaid = CheckDisk();
        SetRoom(ROOM);
        m_faults.AdvanceTime(5 * SECOND);
        return lsSaid;
    }

    bool Open(const std::string& strCamera, recFileInfo stInfo) {
        static char s_szUser[] = "user";
        return m_pEngine->OpenChannelRecord(std::string(strCamera).data(), s_szUser, stInfo);
    }
    bool Close(const std::string& strCamera, recFileInfo stInfo) {
        return m_pEngine->CloseChannelRecord(std::string(strCamera).data(), stInfo);
    }
    static constexpr unsigned HEADER = 1;  // type of data
    bool Write(const std::string& strCamera, recFileInfo stInfo, std::string strData,
               unsigned nDataType = 0) {
        return m_pEngine->WriteData(std::string(strCamera).data(), nDataType, strData.data(),
                                    static_cast<unsigned>(strData.size()), stInfo);
    }
    /// A whole recording with this content.
    void Record(const std::string& strCamera, const recFileInfo& stInfo,
                const std::string& strData = "video") {
        ASSERT_TRUE(Open(strCamera, stInfo)) << m_pEngine->GetLastError();
        ASSERT_TRUE(Write(strCamera, stInfo, strData));
        ASSERT_TRUE(Close(strCamera, stInfo));
    }

    Trace Find(const std::string& strCamera, const tagBlockTime& stFrom, const tagBlockTime& stTo,
               RecordType eType = RECORD_TYPE_ALL) {
        recQueryParam stParam;
        stParam.stQueryStartTime = stFrom;
        stParam.stQueryEndTime = stTo;
        stParam.enumRecordType = eType;
        std::snprintf(stParam.szCameraID, sizeof(stParam.szCameraID), "%s", strCamera.c_str());
        CVexList<pathNode>* pList = nullptr;
        const bool bFound = m_pEngine->QueryRecFile(stParam, &pList);
        Trace lsPath;
        if (pList) {
            for (auto it = pList->begin(); it != pList->end(); ++it) lsPath.push_back((*it).szPath);
        }
        EXPECT_EQ(bFound, !lsPath.empty());
        return lsPath;
    }

    Trace Said() { return TakeTrace(m_dir.Path()); }
    bool Exists(const std::string& strPath) const { return std::filesystem::exists(strPath); }
    /// Every record file below the disks, in the order of their paths.
    Trace RecordFiles() const {
        Trace lsPath;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_dir.Path())) {
            if (entry.path().extension() == ".mp4") lsPath.push_back(entry.path());
        }
        std::sort(lsPath.begin(), lsPath.end());
        return lsPath;
    }

    CTempDir m_dir;
    CFaultInjection m_faults;
    tagStoreInfo m_stInfo;
    std::unique_ptr<CLocalStorage> m_pEngine;
};

#endif  // LOCALSTORAGE_TESTS_LOCALSTORAGE_ENGINETEST_H
