// The engine with a sick disk beside a good one:
//     sick_disk_test SICK_DISK DIRECTORY
// SICK_DISK is the program, DIRECTORY an empty one. Needs root and FUSE. Prints what was measured,
// with "!" what misses its goal, and "N passed, M failed".
//
// All rows run at once, each in a process of its own: an engine starts while the sick disk hangs,
// records on both disks, the sick one hangs for 14 s, goes on for 4 s, and hangs again at Release.

#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <future>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <sched.h>
#include <set>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>

#include "Disks/Disk.h"
#include "Support/Host.h"
#include "Support/TempDir.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using std::this_thread::sleep_for;

constexpr auto HANG = 14s;
constexpr auto LATE = 6s;  // from here on a hung disk is known to be one
constexpr const char* SICK_CAMERA = "cam02_1_0";
constexpr const char* GOOD_CAMERA = "cam03_1_0";
constexpr const char* STEADY_CAMERA = "cam04_1_0";  // on the good disk, and begins no new file

// ---- What is tried, and what is measured ----

struct CScenario {
    LocalStorageType eLayout;
    const char* pFault;  // an operation of the disk's that hangs, or "all"
    bool bCurrent;       // the sick disk is the one recorded on
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

struct CGoal {
    const char* pName;
    double dMost;
};
constexpr CGoal GOALS[VALUES] = {{"Initialize", 11000}, {"Release", 10500}, {"write", 50},
                                 {"query", 50},         {"open", 7000},     {"late", 1000},
                                 {"picture", 7000},     {"late", 1000},     {"refused", 0},
                                 {"failed", 0},         {"deleted", 0},     {"stuck", 0}};

struct CResult {
    double dValues[VALUES];
    bool bDone;
};

// ---- The disks ----

void MountMemory(const std::string& strPath, const char* pOptions) {
    std::filesystem::create_directories(strPath);
    Check(::mount("tmpfs", strPath.c_str(), "tmpfs", 0, pOptions) == 0, strPath);
}

class CSickDisk {
public:
    CSickDisk(const char* pProgram, const std::string& strDir)
        : m_strPath(strDir + "/sick"), m_strControl(strDir + "/control") {
        const std::string strBehind = strDir + "/behind";
        std::filesystem::create_directories(m_strPath);
        std::filesystem::create_directories(strBehind);
        m_nProgram = ::fork();
        if (m_nProgram == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            const int nOutput = ::open((strDir + "/calls").c_str(), O_WRONLY | O_CREAT, 0644);
            ::dup2(nOutput, STDOUT_FILENO);
            ::dup2(nOutput, STDERR_FILENO);
            ::execl(pProgram, pProgram, strBehind.c_str(), m_strPath.c_str(), m_strControl.c_str(),
                    nullptr);
            ::_exit(1);
        }
        for (int n = 0; n < 100 && DeviceOf(m_strPath) == DeviceOf(strDir); ++n) sleep_for(50ms);
        Check(DeviceOf(m_strPath) != DeviceOf(strDir), m_strPath);
        SetFull(false);
    }
    ~CSickDisk() {
        ::kill(m_nProgram, SIGKILL);
        ::waitpid(m_nProgram, nullptr, 0);
        ::umount2(m_strPath.c_str(), MNT_DETACH);
    }

    const std::string& Path() const { return m_strPath; }
    void SetFull(bool bFull) const { Say(bFull ? "free=1000" : "free=100000"); }
    void Hang(const std::string& strFault) const {
        if (strFault == "all") {
            ::kill(m_nProgram, SIGSTOP);
        } else {
            Say("hang " + strFault + " *");
        }
    }
    void GoOn() const {
        ::kill(m_nProgram, SIGCONT);
        Say("go");
    }

private:
    static dev_t DeviceOf(const std::string& strPath) {
        struct stat stPath = {};
        ::stat(strPath.c_str(), &stPath);
        return stPath.st_dev;
    }
    void Say(const std::string& strLine) const {
        std::ofstream(m_strControl) << strLine << std::endl;
        sleep_for(50ms);  // which it has to hear it
    }

    const std::string m_strPath, m_strControl;
    pid_t m_nProgram;
};

/// With real room, in memory: a deletion pass gains some.
class CGoodDisk {
public:
    explicit CGoodDisk(const std::string& strDir) : m_strPath(strDir + "/good") {
        MountMemory(m_strPath, "size=2072m");
    }
    const std::string& Path() const { return m_strPath; }
    void SetFull(bool bFull) const {
        const std::string strFiller = m_strPath + "/filler";
        std::filesystem::remove(strFiller);
        if (bFull) Extend(strFiller, std::filesystem::space(m_strPath).free - 2044 * MIB);
    }

private:
    const std::string m_strPath;
};

// ---- What the engine tells ----

struct CCreated {
    std::string strPath;
    Clock::time_point when;
};

std::mutex g_mtx;
std::map<std::string, CCreated> g_mCreated;  // by camera, the newest
std::set<std::string> g_setThere;            // paths that were created
std::vector<std::string> g_vDeleted;

int OnMessage(int nType, void* pData, unsigned int nDataLen, void*) {
    const std::lock_guard<std::mutex> guard(g_mtx);
    if (nType == MESSAGEVALUE_CREATEFILE) {
        const auto& stEvent = *static_cast<recFileEvent*>(pData);
        g_mCreated[stEvent.szCameraID] = {stEvent.szFileName, Clock::now()};
        g_setThere.insert(stEvent.szFileName);
    } else if (nType == MESSAGEVALUE_DELETEFILE) {
        g_vDeleted.emplace_back(static_cast<char*>(pData), nDataLen);
    }
    return 0;
}

CCreated Created(const std::string& strCamera) {
    const std::lock_guard<std::mutex> guard(g_mtx);
    return g_mCreated[strCamera];
}

// ---- One row ----

recFileInfo File() {
    recFileInfo stFile;
    stFile.stStartTime = BlockTime(2024, 6, 1);
    stFile.stEndTime = BlockTime(2024, 6, 1, 23, 59, 59);
    return stFile;
}

class CRow {
public:
    CRow(const CScenario& scenario, CResult& result, const char* pProgram,
         const std::string& strDir)
        : m_scenario(scenario),
          m_result(result),
          m_strLog(strDir + "/log"),
          m_sick(pProgram, strDir),
          m_good(strDir) {}

    void Run() {
        MakeOld(m_sick.Path(), "20200101", 4096);
        MakeOld(m_good.Path(), "20200102", 12 * MIB);
        WhileItHangs(INITIALIZE, [this] { Start(); });
        sleep_for(10s);  // which it has to come back
        for (const bool bSick : {!m_scenario.bCurrent, m_scenario.bCurrent}) OpenOn(bSick);
        RecordThroughHang();
        WhileItHangs(RELEASE, [this] { m_pHost.reset(); });
        sleep_for(1s);
        CountDeleted();
        m_result.bDone = true;
    }

private:
    bool IsBackup() const { return m_scenario.eLayout == LOCAL_STORAGE_REMOTE_BACKUP; }
    bool IsOnSick(const std::string& strPath) const { return strPath.starts_with(m_sick.Path()); }

    void Count(Value eValue) {
        const std::lock_guard<std::mutex> guard(g_mtx);
        ++m_result.dValues[eValue];
    }
    void Note(Value eValue, Clock::time_point before, Clock::time_point after) {
        const double dTime = std::chrono::duration<double, std::milli>(after - before).count();
        const std::lock_guard<std::mutex> guard(g_mtx);
        m_result.dValues[eValue] = std::max(m_result.dValues[eValue], dTime);
    }
    template <typename Call>
    auto Timed(Value eValue, Call call) {
        const Clock::time_point before = Clock::now();
        const auto result = call();
        Note(eValue, before, Clock::now());
        return result;
    }

    void MakeOld(const std::string& strDisk, const std::string& strDay, std::uint64_t nBytes) {
        const std::string strName =
            IsBackup() ? strDay + "100000_" + strDay + "105959_1.mp4" : strDay + "_100000.mp4";
        const std::string strPath = strDisk + "/RecordFile/" + strDay + "/cam01_1_0/" + strName;
        PutFile(strPath);
        Check(Extend(strPath, nBytes), strPath);
        g_setThere.insert(strPath);
    }

    bool Start() {
        tagStoreInfo stInfo;
        stInfo.enumStorageType = m_scenario.eLayout;
        stInfo.pFunCallback = OnMessage;
        stInfo.bCycWrite = true;
        stInfo.nFileSize = 1;
        AddRecordDir(stInfo, m_sick.Path());
        AddRecordDir(stInfo, m_good.Path());
        m_pHost = std::make_unique<CRecordingHost>(stInfo, m_strLog);
        return true;
    }

    /// Times a call that begins with a hang; the hang ends with it.
    void WhileItHangs(Value eValue, const std::function<void()>& call) {
        m_sick.Hang(m_scenario.pFault);
        std::future<void> done =
            std::async(std::launch::async, [&] { Timed(eValue, [&] { return call(), true; }); });
        done.wait_for(HANG);
        m_sick.GoOn();
        done.get();
    }

    /// Opens a disk's cameras, while the other one is full.
    void OpenOn(bool bSick) {
        const std::string strCamera = bSick ? SICK_CAMERA : GOOD_CAMERA;
        const auto SetOtherFull = [&](bool bFull) {
            bSick ? m_good.SetFull(bFull) : m_sick.SetFull(bFull);
        };
        SetOtherFull(true);
        for (int nTry = 0;
             !m_pHost->Open(strCamera, File()) || IsOnSick(Created(strCamera).strPath) != bSick;
             ++nTry) {
            if (nTry == 25) throw std::runtime_error("the other disk is not recorded on");
            m_pHost->Close(strCamera, File());
            sleep_for(200ms);
        }
        if (!bSick) m_pHost->Open(STEADY_CAMERA, File());
        SetOtherFull(false);
    }

    void RecordThroughHang() {
        m_result.dValues[STUCK] = 1;
        m_sick.Hang(m_scenario.pFault);
        if (m_scenario.bOtherFull) m_good.SetFull(true);
        m_begun = Clock::now();
        std::vector<std::thread> vThreads;
        Repeat(vThreads, 20ms, [this] { WriteOnGood(GOOD_CAMERA, m_strPiece); });
        Repeat(vThreads, 20ms, [this] { WriteOnGood(STEADY_CAMERA, "steady"); });
        Repeat(vThreads, 20ms, [this] {
            const bool bAfter = Clock::now() > m_begun + HANG;
            if (m_pHost->Write(SICK_CAMERA, File(), m_strPiece) && bAfter) {
                m_result.dValues[STUCK] = 0;
            }
        });
        if (IsBackup()) {
            Repeat(vThreads, 50ms, [this] {
                Timed(QUERY, [this] { return m_pHost->Recordings(GOOD_CAMERA).size(); });
            });
        }
        for (int n = 10; Clock::now() < m_begun + HANG; ++n, sleep_for(500ms)) {
            const std::string strCamera = "cam" + std::to_string(n) + "_1_0";
            vThreads.emplace_back([this, strCamera] { OpenAnother(strCamera); });
            vThreads.emplace_back([this, strCamera] { TakePicture(strCamera); });
        }
        m_sick.GoOn();
        sleep_for(4s);
        m_bStop = true;
        for (std::thread& thread : vThreads) thread.join();
    }

    template <typename Call>
    void Repeat(std::vector<std::thread>& vThreads, std::chrono::milliseconds pause, Call call) {
        vThreads.emplace_back([this, pause, call] {
            for (; !m_bStop; sleep_for(pause)) call();
        });
    }
    /// A channel that moves to the sick disk is no longer the good one's.
    void WriteOnGood(const std::string& strCamera, const std::string& strPiece) {
        const Clock::time_point before = Clock::now();
        const bool bWritten = m_pHost->Write(strCamera, File(), strPiece);
        const Clock::time_point after = Clock::now();
        const CCreated file = Created(strCamera);
        Note(WRITE, before, IsOnSick(file.strPath) ? std::max(before, file.when) : after);
        if (!bWritten) Count(FAILED);
    }
    void OpenAnother(const std::string& strCamera) {
        const bool bLate = Clock::now() >= m_begun + LATE;
        const bool bOpen =
            Timed(bLate ? LATE_OPEN : OPEN, [&] { return m_pHost->Open(strCamera, File()); });
        const bool bMayBeSick = m_scenario.pFault == std::string("write");
        if (bLate && (!bOpen || (IsOnSick(Created(strCamera).strPath) && !bMayBeSick))) {
            Count(REFUSED);
        }
    }
    void TakePicture(const std::string& strCamera) {
        const bool bLate = Clock::now() >= m_begun + LATE;
        const bool bTaken = Timed(bLate ? LATE_PICTURE : PICTURE,
                                  [&] { return m_pHost->Picture(strCamera, m_strPiece); });
        if (bLate && !bTaken) Count(REFUSED);
    }

    /// From the sick disk nothing may be gone, from the good one what made room.
    void CountDeleted() {
        for (const std::string& strPath : g_vDeleted) {
            if (m_scenario.bOtherFull && !IsOnSick(strPath)) g_setThere.erase(strPath);
        }
        for (const std::string& strPath : g_setThere) {
            if (!std::filesystem::exists(strPath)) Count(DELETED);
        }
    }

    const CScenario m_scenario;
    CResult& m_result;
    const std::string m_strLog, m_strPiece = std::string(4096, 'v');
    const CSickDisk m_sick;
    const CGoodDisk m_good;
    std::unique_ptr<CRecordingHost> m_pHost;
    Clock::time_point m_begun;  // of the long hang
    std::atomic<bool> m_bStop = false;
};

// ---- The table ----

std::vector<CScenario> Scenarios() {
    std::vector<CScenario> vScenarios;
    for (const auto eLayout : {LOCAL_STORAGE_REMOTE_BACKUP, LOCAL_STORAGE_CLIENT}) {
        for (const char* pFault : {"all", "statfs", "create", "getattr", "write"}) {
            for (const bool bCurrent : {true, false}) {
                for (const bool bOtherFull : {false, true}) {
                    vScenarios.push_back({eLayout, pFault, bCurrent, bOtherFull});
                }
            }
        }
    }
    return vScenarios;
}

/// A row that takes two minutes is killed, with its disk; all are when this process dies.
void RunAll(const std::vector<CScenario>& vScenarios, CResult* pResults, const char* pProgram,
            const std::string& strDir) {
    std::vector<pid_t> vRows;
    for (std::size_t n = 0; n < vScenarios.size(); ++n) {
        sleep_for(100ms);  // so that they do not all do the same at once
        vRows.push_back(::fork());
        if (vRows.back() != 0) continue;
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::setpgid(0, 0);
        try {
            CRow(vScenarios[n], pResults[n], pProgram, strDir + "/" + std::to_string(n)).Run();
        } catch (const std::exception& error) {
            std::cerr << "row " << n << ": " << error.what() << '\n';
        }
        ::kill(0, SIGKILL);  // this group: itself and its disk
    }
    const Clock::time_point end = Clock::now() + 2min;
    for (const pid_t nRow : vRows) {
        while (::waitpid(nRow, nullptr, WNOHANG) == 0) {
            sleep_for(100ms);
            if (Clock::now() > end) ::kill(-nRow, SIGKILL);
        }
    }
}

/// Whether all goals are met.
bool Print(const CScenario& scenario, const CResult& result) {
    std::cout << "| " << (scenario.eLayout == LOCAL_STORAGE_CLIENT ? "client" : "backup") << " | "
              << std::setw(7) << scenario.pFault << " | "
              << (scenario.bCurrent ? "yes    " : "no     ") << " | "
              << (scenario.bOtherFull ? "yes " : "no  ") << " |";
    bool bAllMet = true;
    for (int n = 0; n < VALUES; ++n) {
        const bool bMet = result.bDone && result.dValues[n] <= GOALS[n].dMost;
        std::cout << std::setw(9) << result.dValues[n] << (bMet ? "   |" : " ! |");
        bAllMet &= bMet;
    }
    std::cout << '\n';
    return bAllMet;
}

}  // namespace

int main(int nArguments, char** argv) {
    if (nArguments != 3) return 2;
    const sched_param stFirst{1};  // what else the machine does is not measured
    ::sched_setscheduler(0, SCHED_RR, &stFirst);
    const std::vector<CScenario> vScenarios = Scenarios();
    const std::string strDir = argv[2];
    MountMemory(strDir, "");
    auto* const pResults =
        static_cast<CResult*>(::mmap(nullptr, vScenarios.size() * sizeof(CResult),
                                     PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    RunAll(vScenarios, pResults, argv[1], strDir);

    std::cout << std::fixed << std::setprecision(0) << "| layout | hangs   | current | full |";
    for (const CGoal& goal : GOALS) std::cout << std::setw(11) << goal.pName << " |";
    std::cout << "\n|---|---|---|---|";
    for (int n = 0; n < VALUES; ++n) std::cout << "---|";
    std::cout << '\n';
    std::size_t nFailed = 0;
    for (std::size_t n = 0; n < vScenarios.size(); ++n) {
        nFailed += !Print(vScenarios[n], pResults[n]);
    }
    std::cout << vScenarios.size() - nFailed << " passed, " << nFailed << " failed\n";
    return nFailed > 0;
}
