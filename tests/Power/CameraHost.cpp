// A host that records many cameras in real time until it is told to stop (SIGTERM), and notes what
// was accepted and when:
//     camera_host NOTES LOG_DIR KEY=VALUE...
// A thread per camera, as hosts have; a piece that comes late does not delay the next ones.
//     dir=D        a record directory; may be repeated
//     layout=      backup or client
//     cameras=N    bitrate=K  kbit/s of each
//     restarts=N   so many of the cameras begin a new recording every five seconds
//     run=N        tells the hosts apart that record into one directory, one after the other
//     sync=MS      reserve=MIB  options of the library; left to it when absent
//     outside=MS   syncs the file systems from outside as often, for comparison
//     stamp=FILE   keeps the time in the last eight bytes of this file, the image of the disk: a
//     copy
//                  then tells of when it is

#include <chrono>
#include <csignal>
#include <cstring>
#include <dlfcn.h>
#include <iostream>
#include <map>
#include <thread>
#include <vector>

#include "Power/Cameras.h"
#include "Support/Host.h"

namespace {

constexpr std::chrono::nanoseconds INTERVAL{SECOND / PIECES_PER_SECOND};

CNotes* g_pNotes;
std::atomic<bool> g_bStop;

int OnMessage(int nType, void*, unsigned int, void*) {
    if (nType == MESSAGEVALUE_WRITEFAIL) ++g_pNotes->nWriteFails;
    if (nType == MESSAGEVALUE_DELETEFILE) ++g_pNotes->nDeleted;
    return 0;
}

struct CSettings {
    tagStoreInfo stInfo;
    std::vector<std::string> vDirs;
    std::string strImage;
    std::map<std::string, int> mNumbers{{"cameras", MAX_CAMERAS}, {"bitrate", 2000}};

    CSettings(char** ppArguments) {
        stInfo.pFunCallback = OnMessage;
        for (; *ppArguments; ++ppArguments) {
            const std::string strArgument = *ppArguments;
            const auto nEqual = strArgument.find('=');
            const std::string strKey = strArgument.substr(0, nEqual);
            const std::string strValue = strArgument.substr(nEqual + 1);
            if (strKey == "dir") {
                vDirs.push_back(strValue);
                AddRecordDir(stInfo, strValue);
            } else if (strKey == "layout") {
                stInfo.enumStorageType =
                    strValue == "client" ? LOCAL_STORAGE_CLIENT : LOCAL_STORAGE_REMOTE_BACKUP;
            } else if (strKey == "stamp") {
                strImage = strValue;
            } else {
                mNumbers[strKey] = std::stoi(strValue);
            }
        }
    }
    int Number(const std::string& strKey, int nDefault) const {
        const auto it = mNumbers.find(strKey);
        return it == mNumbers.end() ? nDefault : it->second;
    }
};

/// Looked up, so that a library without it can be measured too.
bool SetOption(int nOption, int nValue) {
    using Function = int(int, int);
    const auto pSet = reinterpret_cast<Function*>(::dlsym(RTLD_DEFAULT, "SetStorageOption"));
    return nValue < 0 || (pSet && pSet(nOption, nValue)) ||
           (!pSet && nValue == 0);  // which is what it does without
}

class CCamera {
public:
    CCamera(CRecordingHost& host, unsigned nCamera, bool bRestarts)
        : m_host(host), m_nCamera(nCamera), m_bRestarts(bRestarts) {}

    void Record() {
        auto due = std::chrono::steady_clock::now() + INTERVAL * m_nCamera / MAX_CAMERAS;
        for (unsigned n = 0; n < MAX_PIECES; ++n, due += INTERVAL) {
            std::this_thread::sleep_until(due);
            if (g_bStop) break;
            if (m_bRestarts && Now() >= m_nRestart) Close();
            if (!m_bOpen && Now() >= m_nNextTry) Open();
            Write(n);
        }
        Close();
    }

private:
    void Open() {
        const std::time_t nNow = std::time(nullptr);
        std::tm stNow;
        ::localtime_r(&nNow, &stNow);
        m_stFile.stStartTime = BlockTime(stNow.tm_year + 1900, stNow.tm_mon + 1, stNow.tm_mday,
                                         stNow.tm_hour, stNow.tm_min, stNow.tm_sec);
        m_stFile.stEndTime = m_stFile.stStartTime;
        m_stFile.stEndTime.byHour = 23;
        m_stFile.stEndTime.byMinute = m_stFile.stEndTime.bySecond = 59;
        m_bOpen = m_host.Open(CameraName(m_nCamera), m_stFile);
        m_nNextTry = Now() + SECOND;
        m_nRestart = Now() + (m_nRestart == 0 ? 1 + m_nCamera % 5 : 5) * SECOND;
        g_pNotes->nRefusedOpens += !m_bOpen;
    }
    void Close() {
        if (m_bOpen) m_host.Close(CameraName(m_nCamera), m_stFile);
        m_bOpen = false;
    }
    void Write(unsigned n) {
        const std::uint64_t nWords = g_pNotes->nPieceSize / sizeof(std::uint64_t);
        CWord word{g_pNotes->nRun * MAX_CAMERAS + m_nCamera, n * nWords};
        m_strPiece.clear();
        for (std::uint64_t nWord = 0; nWord < nWords; ++nWord, ++word.nOffset) {
            const std::uint64_t nEncoded = word.Encoded();
            m_strPiece.append(reinterpret_cast<const char*>(&nEncoded), sizeof(nEncoded));
        }
        const std::int64_t nBegin = Now();
        const bool bAccepted = m_bOpen && m_host.Write(CameraName(m_nCamera), m_stFile, m_strPiece);
        const std::int64_t nEnd = Now();
        g_pNotes->objPieces[m_nCamera][n] = {
            nEnd, static_cast<std::uint32_t>((nEnd - nBegin) / 1000), bAccepted};
        g_pNotes->nPieces[m_nCamera] = n + 1;
    }

    CRecordingHost& m_host;
    const unsigned m_nCamera;
    const bool m_bRestarts;
    bool m_bOpen = false;
    std::int64_t m_nNextTry = 0;  // to open
    std::int64_t m_nRestart = 0;
    recFileInfo m_stFile;
    std::string m_strPiece;
};

void RecordUntilStopped(CRecordingHost& host, int nRestarts, const sigset_t& stSignals) {
    std::vector<std::thread> vThreads;
    for (unsigned n = 0; n < g_pNotes->nCameras; ++n) {
        vThreads.emplace_back([&host, n, bRestarts = static_cast<int>(n) < nRestarts] {
            CCamera(host, n, bRestarts).Record();
        });
    }
    int nSignal = 0;
    ::sigwait(&stSignals, &nSignal);
    g_bStop = true;
    for (std::thread& thread : vThreads) thread.join();
}

/// Syncs the file systems of the directories over and over.
void SyncFromOutside(const std::vector<std::string>& vDirs, std::chrono::milliseconds interval) {
    std::vector<int> vHandles;
    for (const std::string& strDir : vDirs) vHandles.push_back(::open(strDir.c_str(), O_RDONLY));
    while (!g_bStop) {
        std::this_thread::sleep_for(interval);
        for (const int nHandle : vHandles) ::syncfs(nHandle);
    }
}

void Stamp(const std::string& strImage) {
    const int nImage = ::open(strImage.c_str(), O_WRONLY);
    const off_t nPlace = ::lseek(nImage, -static_cast<off_t>(sizeof(std::int64_t)), SEEK_END);
    for (; !g_bStop; std::this_thread::sleep_for(std::chrono::nanoseconds(STAMP_INTERVAL))) {
        const std::int64_t nNow = Now();
        if (::pwrite(nImage, &nNow, sizeof(nNow), nPlace) != sizeof(nNow)) return;
    }
}

std::int64_t ProcessorTime() {
    timespec stTime;
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &stTime);
    return stTime.tv_sec * SECOND + stTime.tv_nsec;
}

}  // namespace

int main(int, char** argv) try {
    sigset_t stSignals;
    ::sigemptyset(&stSignals);
    ::sigaddset(&stSignals, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &stSignals, nullptr);

    g_pNotes = &MapNotes(argv[1]);
    CSettings settings(argv + 3);
    g_pNotes->nRun = static_cast<std::uint32_t>(settings.Number("run", 0));
    g_pNotes->nCameras = static_cast<std::uint32_t>(settings.mNumbers["cameras"]);
    g_pNotes->nPieceSize = static_cast<std::uint32_t>(settings.mNumbers["bitrate"] * 125 /
                                                      static_cast<int>(PIECES_PER_SECOND) / 8 * 8);
    if (!SetOption(1, settings.Number("sync", -1)) ||
        !SetOption(2, settings.Number("reserve", -1))) {
        throw std::runtime_error("the library does not take these options");
    }
    {
        CRecordingHost host(settings.stInfo, argv[2]);
        g_pNotes->nBegun = Now();
        std::thread stamp, outside;
        if (!settings.strImage.empty()) stamp = std::thread(Stamp, settings.strImage);
        if (const int nOutside = settings.Number("outside", 0)) {
            outside =
                std::thread(SyncFromOutside, settings.vDirs, std::chrono::milliseconds(nOutside));
        }
        RecordUntilStopped(host, settings.Number("restarts", 0), stSignals);
        for (std::thread* pThread : {&stamp, &outside}) {
            if (pThread->joinable()) pThread->join();
        }
    }
    g_pNotes->nProcessor = ProcessorTime();
    g_pNotes->nEnded = Now();
} catch (const std::exception& error) {
    std::cerr << "camera_host: " << error.what() << '\n';
    return 1;
}
