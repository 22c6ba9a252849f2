// The engine with a sick disk beside a good one:
//     sick_disk_test SICK_DISK DIRECTORY
// SICK_DISK is the program, DIRECTORY an empty one. Needs root and FUSE. Prints what was measured,
// with "!" what misses its goal, and "N passed, M failed".
//
// All rows run at once, each in a process of its own: an engine starts while the sick disk hangs,
// records on both disks, the sick one hangs for 14 s, goes on for 4 s, and hangs again at Release.

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <future>
#include <iomanip>
#include <iostream>
#include <list>
#include <memory>
#include <sched.h>
#include <set>
#include <sstream>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "Support/Host.h"
#include "Support/TempDir.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using std::this_thread::sleep_for;

constexpr auto HANG = 14s;
constexpr auto LATE = 6s;  // from here on a hung disk is known to be one
constexpr const char *SICK_CAMERA = "cam02_1_0", *GOOD_CAMERA = "cam03_1_0";
constexpr const char* STEADY_CAMERA = "cam04_1_0";  // on the good disk, and begins no new file

struct CScenario {
    LocalStorageType eLayout;
    std::string strFault;  // an operation of the disk's that hangs, or "all"
    bool bCurrent;         // the sick disk is the one recorded on
    bool bOtherFull;
};

/// Longest times in ms, then numbers. Late is what began late in the hang.
enum Value {
    INITIALIZE,
    RELEASE,
    WRITE,  // on the good disk
    QUERY,  // likewise
    OPEN,
    LATE_OPEN,
    PICTURE,
    LATE_PICTURE,
    REFUSED,  // late openings and pictures, and recordings that begin late on the sick disk
    FAILED,   // writes on the good disk
    DELETED,
    STUCK,  // the sick disk's channel, after the hang
    VALUES
};
constexpr std::pair<const char*, double> GOALS[VALUES] = {
    {"Initialize", 11000}, {"Release", 10500}, {"write", 50},     {"query", 50},
    {"open", 7000},        {"late", 1000},     {"picture", 7000}, {"late", 1000},
    {"refused", 0},        {"failed", 0},      {"deleted", 0},    {"stuck", 0}};

void Check(bool bDone, const std::string& strWhat) {
    if (!bDone) throw std::system_error(errno, std::generic_category(), strWhat);
}

// ---- The disks ----

/// In memory, and as full as it is told.
class CGoodDisk {
public:
    explicit CGoodDisk(const std::string& strPath) : m_strPath(strPath) {
        fs::create_directories(strPath);
        Check(::mount("tmpfs", strPath.c_str(), "tmpfs", 0, nullptr) == 0, strPath);
        SetFull(false);
    }
    const std::string& Path() const { return m_strPath; }
    /// An old recording that is deleted makes room again.
    void SetFull(bool bFull) const {
        const auto stSpace = fs::space(m_strPath);
        const auto nMiB = ((stSpace.capacity - stSpace.free) >> 20) + (bFull ? 2044 : 100000);
        const std::string strSize = "size=" + std::to_string(nMiB) + "m";
        Check(::mount("", m_strPath.c_str(), "", MS_REMOUNT, strSize.c_str()) == 0, strSize);
    }

private:
    const std::string m_strPath;
};

/// Such a disk behind SickDisk.cpp.
class CSickDisk {
public:
    CSickDisk(const char* pProgram, const std::string& strDir)
        : m_strPath(strDir + "/sick"), m_strGates(strDir + "/gates"), m_behind(strDir + "/behind") {
        fs::create_directories(m_strPath);
        fs::create_directories(m_strGates);
        m_nProgram = ::fork();
        if (m_nProgram == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::dup2(::open("/dev/null", O_WRONLY), STDERR_FILENO);  // FUSE prints warnings
            ::execl(pProgram, pProgram, m_behind.Path().c_str(), m_strPath.c_str(),
                    m_strGates.c_str(), nullptr);
            ::_exit(1);
        }
        struct stat stAbove = {}, st = {};
        ::stat(strDir.c_str(), &stAbove);
        const auto IsThere = [&] {
            return ::stat(m_strPath.c_str(), &st) == 0 && st.st_dev != stAbove.st_dev;
        };
        for (int n = 0; n < 100 && !IsThere(); ++n) sleep_for(50ms);
        Check(IsThere(), m_strPath);
    }
    ~CSickDisk() {
        ::kill(m_nProgram, SIGKILL);
        ::waitpid(m_nProgram, nullptr, 0);
        ::umount2(m_strPath.c_str(), MNT_DETACH);
    }

    const std::string& Path() const { return m_strPath; }
    void SetFull(bool bFull) const { m_behind.SetFull(bFull); }
    void Hang(const std::string& strFault) const {
        if (strFault == "all") {
            ::kill(m_nProgram, SIGSTOP);
        } else {
            Check(::mkfifo((m_strGates + "/" + strFault).c_str(), 0600) == 0, strFault);
        }
    }
    /// The pipes stay open: whoever is about to wait for one must find it so.
    void GoOn() const {
        ::kill(m_nProgram, SIGCONT);
        for (const auto& entry : fs::directory_iterator(m_strGates)) {
            Check(::open(entry.path().c_str(), O_RDWR | O_CLOEXEC) >= 0, entry.path());
            fs::remove(entry);
        }
    }

private:
    const std::string m_strPath, m_strGates;
    const CGoodDisk m_behind;
    pid_t m_nProgram;
};

// ---- One row ----

/// The newest recording of a camera.
hostMessage Created(const std::string& strCamera) {
    hostMessage stNewest;
    for (const hostMessage& st : Messages()) {
        if (st.nType == MESSAGEVALUE_CREATEFILE && st.strCamera == strCamera) stNewest = st;
    }
    return stNewest;
}

class CRow {
public:
    CRow(CScenario scenario, const char* pProgram, const std::string& strDir)
        : m_scenario(std::move(scenario)),
          m_strLog(strDir + "/log"),
          m_sick(pProgram, strDir),
          m_good(strDir + "/good") {}

    void Run() {
        MakeOld(m_sick.Path(), "20200101", 1 << 12);
        MakeOld(m_good.Path(), "20200102", 12 << 20);
        WhileItHangs(INITIALIZE, [this] { Start(); });
        sleep_for(10s);  // which it has to come back
        for (const bool bSick : {!m_scenario.bCurrent, m_scenario.bCurrent}) OpenOn(bSick);
        RecordThroughHang();
        WhileItHangs(RELEASE, [this] { m_pHost.reset(); });
        sleep_for(1s);
        CountDeleted();
    }
    /// Its line of the table; whether all goals are met.
    bool Print(std::ostream& out) const {
        bool bAllMet = true;
        out << std::fixed << std::setprecision(0);
        for (int n = 0; n < VALUES; ++n) {
            const bool bMet = m_dValues[n] <= GOALS[n].second;
            out << std::setw(9) << m_dValues[n] << (bMet ? "   |" : " ! |");
            bAllMet &= bMet;
        }
        return bAllMet;
    }

private:
    bool IsBackup() const { return m_scenario.eLayout == LOCAL_STORAGE_REMOTE_BACKUP; }
    bool IsOnSick(const std::string& strPath) const { return strPath.starts_with(m_sick.Path()); }

    void Count(Value eValue) {
        const std::lock_guard<std::mutex> guard(m_mtx);
        ++m_dValues[eValue];
    }
    void Note(Value eValue, Clock::time_point before, Clock::time_point after) {
        const double dTime = std::chrono::duration<double, std::milli>(after - before).count();
        const std::lock_guard<std::mutex> guard(m_mtx);
        m_dValues[eValue] = std::max(m_dValues[eValue], dTime);
    }
    template <typename Call>
    auto Timed(Value eValue, Call call) {
        const Clock::time_point before = Clock::now();
        const auto result = call();
        Note(eValue, before, Clock::now());
        return result;
    }

    void MakeOld(const std::string& strDisk, const std::string& strDay, std::size_t nBytes) {
        const std::string strName =
            IsBackup() ? strDay + "100000_" + strDay + "105959_1.mp4" : strDay + "_100000.mp4";
        const std::string strPath = strDisk + "/RecordFile/" + strDay + "/cam01_1_0/" + strName;
        PutFile(strPath, std::string(nBytes, 'v'));
        m_setThere.insert(strPath);
    }

    void Start() {
        tagStoreInfo stInfo;
        stInfo.enumStorageType = m_scenario.eLayout;
        stInfo.pFunCallback = RecordMessage;
        stInfo.bCycWrite = true;
        stInfo.nFileSize = 1;
        AddRecordDir(stInfo, m_sick.Path());
        AddRecordDir(stInfo, m_good.Path());
        SetStorageOption(STORAGE_OPTION_RESERVE_STEP, 0);  // or openings would fill the good disk
        m_pHost = std::make_unique<CRecordingHost>(stInfo, m_strLog);
    }

    /// Times a call that begins with a hang; the hang ends with it.
    template <typename Call>
    void WhileItHangs(Value eValue, Call call) {
        m_sick.Hang(m_scenario.strFault);
        const auto done =
            std::async(std::launch::async, [&] { Timed(eValue, [&] { return call(), true; }); });
        done.wait_for(HANG);
        m_sick.GoOn();
    }

    /// Opens a disk's cameras, while the other one is full.
    void OpenOn(bool bSick) {
        const std::string strCamera = bSick ? SICK_CAMERA : GOOD_CAMERA;
        const auto SetOtherFull = [&](bool bFull) {
            bSick ? m_good.SetFull(bFull) : m_sick.SetFull(bFull);
        };
        SetOtherFull(true);
        for (int nTry = 0;
             !m_pHost->Open(strCamera, FILE) || IsOnSick(Created(strCamera).strWhat) != bSick;
             ++nTry) {
            if (nTry == 25) throw std::runtime_error("the other disk is not recorded on");
            m_pHost->Close(strCamera, FILE);
            sleep_for(200ms);
        }
        if (!bSick) m_pHost->Open(STEADY_CAMERA, FILE);
        SetOtherFull(false);
    }

    void RecordThroughHang() {
        m_dValues[STUCK] = 1;
        m_sick.Hang(m_scenario.strFault);
        if (m_scenario.bOtherFull) m_good.SetFull(true);
        m_begun = Clock::now();
        std::list<std::jthread> lsThreads;
        const auto Repeat = [&](std::chrono::milliseconds pause, auto call) {
            lsThreads.emplace_back([=, this] {
                for (; !m_bStop; sleep_for(pause)) call();
            });
        };
        Repeat(20ms, [this] { WriteOnGood(GOOD_CAMERA, m_strPiece); });
        Repeat(20ms, [this] { WriteOnGood(STEADY_CAMERA, "steady"); });
        Repeat(20ms, [this] {
            const bool bAfter = Clock::now() > m_begun + HANG;
            if (m_pHost->Write(SICK_CAMERA, FILE, m_strPiece) && bAfter) m_dValues[STUCK] = 0;
        });
        if (IsBackup()) {
            Repeat(50ms, [this] {
                Timed(QUERY, [this] { return m_pHost->Recordings(GOOD_CAMERA).size(); });
            });
        }
        for (int n = 10; Clock::now() < m_begun + HANG; ++n, sleep_for(500ms)) {
            const std::string strCamera = "cam" + std::to_string(n) + "_1_0";
            lsThreads.emplace_back(
                [=, this] { Begin(OPEN, [&] { return OpenAnother(strCamera); }); });
            lsThreads.emplace_back([=, this] {
                Begin(PICTURE, [&] { return m_pHost->Picture(strCamera, m_strPiece); });
            });
        }
        m_sick.GoOn();
        sleep_for(4s);
        m_bStop = true;
    }

    /// A channel that moves to the sick disk is no longer the good one's.
    void WriteOnGood(const std::string& strCamera, const std::string& strPiece) {
        const Clock::time_point before = Clock::now();
        const bool bWritten = m_pHost->Write(strCamera, FILE, strPiece);
        const Clock::time_point after = Clock::now();
        const hostMessage stFile = Created(strCamera);
        Note(WRITE, before, IsOnSick(stFile.strWhat) ? std::max(before, stFile.at) : after);
        if (!bWritten) Count(FAILED);
    }
    /// Begins something new; what begins late in the hang has goals of its own.
    template <typename Call>
    void Begin(Value eValue, Call call) {
        const bool bLate = Clock::now() >= m_begun + LATE;
        const bool bDone = Timed(bLate ? static_cast<Value>(eValue + 1) : eValue, call);
        if (bLate && !bDone) Count(REFUSED);
    }
    bool OpenAnother(const std::string& strCamera) {
        const bool bLate = Clock::now() >= m_begun + LATE;
        const bool bMayBeSick = m_scenario.strFault == "write";
        return m_pHost->Open(strCamera, FILE) &&
               (!bLate || bMayBeSick || !IsOnSick(Created(strCamera).strWhat));
    }

    /// From the sick disk nothing may be gone, from the good one what made room.
    void CountDeleted() {
        for (const std::string& strPath : Told(MESSAGEVALUE_CREATEFILE)) m_setThere.insert(strPath);
        for (const std::string& strPath : Told(MESSAGEVALUE_DELETEFILE)) {
            if (m_scenario.bOtherFull && !IsOnSick(strPath)) m_setThere.erase(strPath);
        }
        for (const std::string& strPath : m_setThere) {
            if (!fs::exists(strPath)) Count(DELETED);
        }
    }

    const recFileInfo FILE = Recording(BlockTime(2024, 6, 1), BlockTime(2024, 6, 1, 23, 59, 59));
    const CScenario m_scenario;
    const std::string m_strLog, m_strPiece = std::string(4096, 'v');
    const CSickDisk m_sick;
    const CGoodDisk m_good;
    std::set<std::string> m_setThere;  // paths that were created
    std::unique_ptr<CRecordingHost> m_pHost;
    Clock::time_point m_begun;  // of the long hang
    std::atomic<bool> m_bStop = false;
    std::mutex m_mtx;
    double m_dValues[VALUES] = {};
};

// ---- The table ----

std::vector<CScenario> Scenarios() {
    std::vector<CScenario> vScenarios;
    for (const auto eLayout : {LOCAL_STORAGE_REMOTE_BACKUP, LOCAL_STORAGE_CLIENT}) {
        for (const char* pFault : {"all", "statfs", "create", "getattr", "write"}) {
            for (const int n : {0, 1, 2, 3}) {
                vScenarios.push_back({eLayout, pFault, n < 2, n % 2 == 1});
            }
        }
    }
    return vScenarios;
}

/// In a process of its own: its figures go to a file, and the status is 0 when all goals are met.
pid_t StartRow(const CScenario& scenario, const char* pProgram, const std::string& strDir) {
    const pid_t nRow = ::fork();
    if (nRow != 0) return nRow;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::setpgid(0, 0);
    int nStatus = 1;
    try {
        CRow row(scenario, pProgram, strDir);
        row.Run();
        std::ostringstream line;
        nStatus = row.Print(line) ? 0 : 1;
        PutFile(strDir + "/line", line.str());
    } catch (const std::exception& error) {
        PutFile(strDir + "/line", std::string(" ! ") + error.what());
    }
    ::_exit(nStatus);
}

/// A row that takes two minutes is killed, with its disk; all are when this process dies.
bool EndRow(pid_t nRow, Clock::time_point end) {
    int nStatus = 1;
    while (::waitpid(nRow, &nStatus, WNOHANG) == 0) {
        sleep_for(100ms);
        if (Clock::now() > end) ::kill(-nRow, SIGKILL);
    }
    return nStatus == 0;
}

}  // namespace

int main(int nArguments, char** argv) {
    if (nArguments != 3) return 2;
    const sched_param stFirst{1};  // what else the machine does is not measured
    ::sched_setscheduler(0, SCHED_RR, &stFirst);
    const std::string strDir = argv[2];
    const CGoodDisk memory(strDir);
    const std::vector<CScenario> vScenarios = Scenarios();
    std::vector<pid_t> vRows;
    for (const CScenario& scenario : vScenarios) {
        sleep_for(100ms);  // so that they do not all do the same at once
        vRows.push_back(StartRow(scenario, argv[1], strDir + "/" + std::to_string(vRows.size())));
    }
    const Clock::time_point end = Clock::now() + 2min;

    std::cout << "| layout | hangs   | current | full |";
    for (const auto& [pName, dMost] : GOALS) std::cout << std::setw(11) << pName << " |";
    std::cout << "\n|---|---|---|---|";
    for (int n = 0; n < VALUES; ++n) std::cout << "---|";
    int nFailed = 0;
    for (std::size_t n = 0; n < vRows.size(); ++n) {
        nFailed += !EndRow(vRows[n], end);
        const CScenario& row = vScenarios[n];
        std::cout << (row.eLayout == LOCAL_STORAGE_CLIENT ? "\n| client | " : "\n| backup | ")
                  << std::setw(7) << row.strFault << (row.bCurrent ? " | yes    " : " | no     ")
                  << (row.bOtherFull ? " | yes  |" : " | no   |")
                  << GetFile(strDir + "/" + std::to_string(n) + "/line");
    }
    std::cout << '\n'
              << static_cast<int>(vRows.size()) - nFailed << " passed, " << nFailed << " failed\n";
    return nFailed > 0;
}
