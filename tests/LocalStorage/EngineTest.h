// An engine on directories of its own, with a clock that stands still and disks of made-up size.

#ifndef LOCALSTORAGE_TESTS_LOCALSTORAGE_ENGINETEST_H
#define LOCALSTORAGE_TESTS_LOCALSTORAGE_ENGINETEST_H

#include <ctime>
#include <sys/stat.h>

#include "LocalStorage/Engine.h"
#include "Support/FaultInjection.h"
#include "Support/Host.h"
#include "Support/Test.h"

/// How many of the newest lines of the log contain this.
std::size_t LinesWith(const std::string& strPart);
void ForgetLines();

/// A time in March 2024.
inline tagBlockTime Time(int nDay, int nHour, int nMinute = 0, int nSecond = 0) {
    return BlockTime(2024, 3, nDay, nHour, nMinute, nSecond);
}

/// A recording of March 2024, one hour from this hour on.
inline recFileInfo Hour(int nDay, int nHour, RecordType eType = RECORD_TYPE_1) {
    return Recording(Time(nDay, nHour), Time(nDay, nHour + 1), eType);
}

class CEngineTest : public testing::Test, protected CRecordingHost {
protected:
    static constexpr std::uint64_t ROOM = 10000, FULL = 2048;  // MiB
    static constexpr std::int64_t SECOND = 1000, DAY = 24 * 3600 * SECOND;
    static constexpr unsigned HEADER = 1;  // type of data

    CEngineTest() { Reset(); }
    ~CEngineTest() override { m_pEngine->Release(); }

    /// All as it was at first: no engine runs, nothing is recorded, all disks have room, and it is
    /// the fifth, eight o'clock.
    void Reset() {
        m_pEngine->Release();
        m_faults.Reset();
        for (const auto& entry : fs::directory_iterator(m_dir.Path())) {
            fs::remove_all(entry);
        }
        Forget();
        OnMessage(nullptr);
        SetRoom(ROOM);
        std::tm stMorning{};
        ::strptime("2024-03-05 08", "%Y-%m-%d %H", &stMorning);
        stMorning.tm_isdst = -1;
        m_faults.SetTime(std::mktime(&stMorning));
        m_stInfo = tagStoreInfo();
        m_stInfo.pFunCallback = RecordMessage;
        // A sync in the background would count among the calls that tests count.
        SetStorageOption(STORAGE_OPTION_SYNC_INTERVAL, 0);
    }
    void Forget() {
        ForgetMessages();
        ForgetLines();
    }

    /// A record directory, "1" to start with.
    std::string Disk(const std::string& strName = "1") const { return m_dir / strName + "/"; }
    void AddDisk(const std::string& strName) {
        fs::create_directories(Disk(strName));
        AddRecordDir(m_stInfo, Disk(strName));
    }
    void SetRoom(std::uint64_t nMiB, const std::string& strDisk = "") {
        const CUncounted uncounted;
        m_faults.SetFreeSpace(m_dir / strDisk, nMiB);
    }

    /// Starts the engine on disk "1" (unless the test has added disks) and forgets what it said.
    void Start(LocalStorageType eType = LOCAL_STORAGE_REMOTE_BACKUP) {
        if (m_stInfo.lsRecDir.size() == 0) AddDisk("1");
        m_stInfo.enumStorageType = eType;
        ASSERT_TRUE(m_pEngine->Initialize(m_stInfo)) << LastError();
        Forget();
    }
    /// The same on two disks, moving from one to the other.
    void StartOnTwo(LocalStorageType eType = LOCAL_STORAGE_REMOTE_BACKUP) {
        AddDisk("1");
        AddDisk("2");
        m_stInfo.bCycWrite = true;
        Start(eType);
    }

    /// Runs a disk check, through a picture.
    void CheckDisk() { Picture("check", ""); }
    /// The same on a full disk, which has room again afterwards, when the next pass may follow.
    void CheckFullDisk() {
        SetRoom(FULL);
        CheckDisk();
        SetRoom(ROOM);
        m_faults.AdvanceTime(5 * SECOND);
    }

    /// The messages so far, each with all that came with it, the tests' directory as "$".
    Texts Said() const {
        Texts vSaid;
        for (const hostMessage& st : Messages()) {
            std::string strText = std::to_string(st.nType) + " " + st.strCamera + " " + st.strWhat;
            const std::size_t nDir = strText.find(m_dir.Path());
            if (nDir != std::string::npos) strText.replace(nDir, m_dir.Path().size(), "$");
            vSaid.push_back(strText + " " + st.strRest);
        }
        return vSaid;
    }
    static Texts Deleted() { return Told(MESSAGEVALUE_DELETEFILE); }
    static bool Exists(const std::string& strPath) { return fs::exists(strPath); }
    /// The bytes that a file takes up.
    static std::int64_t Allocated(const std::string& strPath) {
        struct stat stStat = {};
        EXPECT_EQ(::stat(strPath.c_str(), &stStat), 0);
        return stStat.st_blocks * 512;
    }
    Texts RecordFiles() const { return RecordFilesBelow(m_dir.Path()); }

    CTempDir m_dir;
    CFaultInjection m_faults;
    tagStoreInfo m_stInfo;
};

#endif  // LOCALSTORAGE_TESTS_LOCALSTORAGE_ENGINETEST_H
