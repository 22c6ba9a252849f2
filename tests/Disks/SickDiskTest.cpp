// The engine with a sick disk beside a good one: sick_disk_test SICK_DISK, which is the program of
// SickDisk.cpp. script/test-disks runs every test in a process of its own, all at once; each prints
// a line of what it measured, with "!" behind what misses its goal.
//
// An engine starts while the sick disk hangs, records on both disks, the sick one hangs for 14 s,
// goes on for 4 s, and hangs again at Release.

#include <cmath>
#include <iostream>

#include "SickDisk.h"
#include "Support/Host.h"
#include "Support/Test.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::this_thread::sleep_for;

constexpr auto HANG = 14s;
constexpr auto LATE = 6s;  // from here on a hung disk is known to be one
constexpr const char *SICK_CAMERA = "cam02_1_0", *GOOD_CAMERA = "cam03_1_0";
constexpr const char* STEADY_CAMERA = "cam04_1_0";  // on the good disk, and begins no new file

/// The newest recording of a camera.
hostMessage Created(const std::string& strCamera) {
    hostMessage stNewest;
    for (const hostMessage& st : Messages()) {
        if (st.nType == MESSAGEVALUE_CREATEFILE && st.strCamera == strCamera) stNewest = st;
    }
    return stNewest;
}

/// Longest times in ms, then numbers, each with the most that it may be. Writes, queries and failed
/// writes are those on the good disk. Late is what began late in the hang; refused are such
/// openings and pictures, and recordings on the sick disk. Stuck is the sick disk's channel
/// afterwards.
const std::pair<const char*, double> GOALS[] = {
    {"Initialize", 11000}, {"Release", 10500},  {"write", 50},     {"query", 50},
    {"open", 7000},        {"late open", 1000}, {"picture", 7000}, {"late picture", 1000},
    {"refused", 0},        {"failed", 0},       {"deleted", 0},    {"stuck", 0}};

// Layout; an operation of the disk's that hangs, or "all"; whether the sick disk is the one
// recorded on; whether the other one is full.
class SickDisk
    : public testing::TestWithParam<std::tuple<LocalStorageType, const char*, bool, bool>> {
protected:
    bool IsOnSick(const std::string& strPath) const { return strPath.starts_with(m_sick.Path()); }

    void Count(const std::string& strWhat) {
        const std::lock_guard<std::mutex> guard(m_mtx);
        ++m_mWorst[strWhat];
    }
    void Note(const std::string& strWhat, Clock::time_point before,
              Clock::time_point after = Clock::now()) {
        const double dTime = std::chrono::duration<double, std::milli>(after - before).count();
        const std::lock_guard<std::mutex> guard(m_mtx);
        m_mWorst[strWhat] = std::max(m_mWorst[strWhat], dTime);
    }

    void MakeOld(const std::string& strDisk, const std::string& strDay, std::size_t nBytes) {
        const std::string strName =
            m_bBackup ? strDay + "100000_" + strDay + "105959_1.mp4" : strDay + "_100000.mp4";
        const std::string strPath = strDisk + "/RecordFile/" + strDay + "/cam01_1_0/" + strName;
        PutFile(strPath, std::string(nBytes, 'v'));
        m_setThere.insert(strPath);
    }

    void Start() {
        tagStoreInfo stInfo;
        stInfo.enumStorageType = std::get<0>(GetParam());
        stInfo.pFunCallback = RecordMessage;
        stInfo.bCycWrite = true;
        stInfo.nFileSize = 1;
        AddRecordDir(stInfo, m_sick.Path());
        AddRecordDir(stInfo, m_good.Path());
        SetStorageOption(STORAGE_OPTION_RESERVE_STEP, 0);  // or openings would fill the good disk
        m_pHost = std::make_unique<CRecordingHost>(stInfo, m_dir / "log");
    }

    /// Times a call that begins with a hang; the hang ends with it.
    template <typename Call>
    void WhileItHangs(const std::string& strWhat, Call call) {
        m_sick.Hang(m_strFault);
        const Clock::time_point before = Clock::now();
        const std::future<void> done = std::async(std::launch::async, [&] {
            call();
            Note(strWhat, before);
        });
        done.wait_for(HANG);
        m_sick.GoOn();
    }

    /// Opens a disk's cameras, while the other one is full.
    void OpenOn(bool bSick) {
        const std::string strCamera = bSick ? SICK_CAMERA : GOOD_CAMERA;
        const CGoodDisk& other = bSick ? m_good : m_sick.Behind();
        other.SetFull(true);
        for (int n = 0;
             !m_pHost->Open(strCamera, FILE) || IsOnSick(Created(strCamera).strWhat) != bSick;
             ++n) {
            if (n == 25) throw std::runtime_error("the other disk is not recorded on");
            m_pHost->Close(strCamera, FILE);
            sleep_for(200ms);
        }
        if (!bSick) m_pHost->Open(STEADY_CAMERA, FILE);
        other.SetFull(false);
    }

    /// A channel that moves to the sick disk is no longer the good one's.
    void WriteOnGood(const std::string& strCamera, const std::string& strPiece) {
        const Clock::time_point before = Clock::now();
        const bool bWritten = m_pHost->Write(strCamera, FILE, strPiece);
        const Clock::time_point after = Clock::now();
        const hostMessage stFile = Created(strCamera);
        Note("write", before, IsOnSick(stFile.strWhat) ? std::max(before, stFile.at) : after);
        if (!bWritten) Count("failed");
    }
    void WriteOnSick() {
        const bool bAfter = Clock::now() > m_begun + HANG;
        if (m_pHost->Write(SICK_CAMERA, FILE, m_strPiece) && bAfter) m_bStuck = false;
    }
    void Query() {
        const Clock::time_point before = Clock::now();
        m_pHost->Recordings(GOOD_CAMERA);
        Note("query", before);
    }
    /// What begins late in the hang has goals of its own.
    void OpenAnother(const std::string& strCamera) {
        const Clock::time_point before = Clock::now();
        const bool bLate = before >= m_begun + LATE;
        const bool bOpen = m_pHost->Open(strCamera, FILE);
        Note(bLate ? "late open" : "open", before);
        const bool bSick = m_strFault != "write" && IsOnSick(Created(strCamera).strWhat);
        if (bLate && (!bOpen || bSick)) Count("refused");
    }
    void TakePicture(const std::string& strCamera) {
        const Clock::time_point before = Clock::now();
        const bool bLate = before >= m_begun + LATE;
        const bool bTaken = m_pHost->Picture(strCamera, m_strPiece);
        Note(bLate ? "late picture" : "picture", before);
        if (bLate && !bTaken) Count("refused");
    }

    void RecordThroughHang() {
        m_sick.Hang(m_strFault);
        if (m_bOtherFull) m_good.SetFull(true);
        m_begun = Clock::now();
        std::list<std::jthread> lsThreads;
        const auto Repeat = [&](auto call) {
            lsThreads.emplace_back([=, this] {
                for (; !m_bStop; sleep_for(20ms)) call();
            });
        };
        Repeat([this] { WriteOnGood(GOOD_CAMERA, m_strPiece); });
        Repeat([this] { WriteOnGood(STEADY_CAMERA, "steady"); });
        Repeat([this] { WriteOnSick(); });
        if (m_bBackup) Repeat([this] { Query(); });
        for (int n = 10; Clock::now() < m_begun + HANG; ++n, sleep_for(500ms)) {
            const std::string strCamera = "cam" + std::to_string(n) + "_1_0";
            lsThreads.emplace_back([=, this] { OpenAnother(strCamera); });
            lsThreads.emplace_back([=, this] { TakePicture(strCamera); });
        }
        m_sick.GoOn();
        sleep_for(4s);
        m_bStop = true;
        lsThreads.clear();
        if (m_bStuck) Count("stuck");
    }

    /// From the sick disk nothing may be gone, from the good one what made room.
    void CountDeleted() {
        for (const std::string& strPath : Told(MESSAGEVALUE_CREATEFILE)) m_setThere.insert(strPath);
        for (const std::string& strPath : Told(MESSAGEVALUE_DELETEFILE)) {
            if (m_bOtherFull && !IsOnSick(strPath)) m_setThere.erase(strPath);
        }
        for (const std::string& strPath : m_setThere) {
            if (!fs::exists(strPath)) Count("deleted");
        }
    }

    const recFileInfo FILE = Recording(BlockTime(2024, 6, 1), BlockTime(2024, 6, 1, 23, 59, 59));
    const bool m_bBackup = std::get<0>(GetParam()) == LOCAL_STORAGE_REMOTE_BACKUP;
    const std::string m_strFault = std::get<1>(GetParam()), m_strPiece = std::string(4096, 'v');
    const bool m_bCurrent = std::get<2>(GetParam()), m_bOtherFull = std::get<3>(GetParam());
    const CTempDir m_dir;
    const CSickDisk m_sick{m_dir};
    const CGoodDisk m_good{m_dir / "good"};
    std::set<std::string> m_setThere;  // paths that were created
    std::unique_ptr<CRecordingHost> m_pHost;
    Clock::time_point m_begun;  // of the long hang
    std::atomic<bool> m_bStop = false, m_bStuck = true;
    std::mutex m_mtx;
    std::map<std::string, double> m_mWorst;
};

INSTANTIATE_TEST_SUITE_P(
    Disks, SickDisk,
    testing::Combine(testing::Values(LOCAL_STORAGE_REMOTE_BACKUP, LOCAL_STORAGE_CLIENT),
                     testing::Values("all", "statfs", "create", "getattr", "write"),
                     testing::Bool(), testing::Bool()),
    [](const auto& row) {
        return std::string(std::get<1>(row.param)) + "_" + std::to_string(row.index);
    });

TEST_P(SickDisk, HarmsNobodyElse) {
    MakeOld(m_sick.Path(), "20200101", 1 << 12);
    MakeOld(m_good.Path(), "20200102", 12 << 20);
    WhileItHangs("Initialize", [this] { Start(); });
    sleep_for(10s);  // which it has to come back
    for (const bool bSick : {!m_bCurrent, m_bCurrent}) OpenOn(bSick);
    RecordThroughHang();
    WhileItHangs("Release", [this] { m_pHost.reset(); });
    sleep_for(1s);
    CountDeleted();
    std::ostringstream line;
    line << (m_bBackup ? "| backup, " : "| client, ") << m_strFault
         << (m_bCurrent ? ", current" : "") << (m_bOtherFull ? ", other full |" : " |");
    bool bAllMet = true;
    for (const auto& [strWhat, dMost] : GOALS) {
        const double dWorst = m_mWorst[strWhat];
        const bool bMet = dWorst <= dMost;
        line << ' ' << strWhat << ' ' << std::lround(dWorst) << (bMet ? " |" : " ! |");
        bAllMet &= bMet;
    }
    std::cout << line.str() << std::endl;
    EXPECT_TRUE(bAllMet);
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    g_pSickDisk = argv[1];
    return RUN_ALL_TESTS();
}
