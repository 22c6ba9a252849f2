// A host of many cameras, in real time: a thread per camera, as hosts have; a piece that comes late
// does not delay the next ones.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <map>
#include <numeric>
#include <thread>
#include <vector>

#include "Power/Cameras.h"
#include "Support/Host.h"

namespace {

CNotes* g_pNotes;
std::atomic<bool> g_bStop;

int OnMessage(int nType, void*, unsigned int, void*) {
    g_pNotes->nWriteFails += nType == MESSAGEVALUE_WRITEFAIL;
    return 0;
}

/// A recording from now to the end of the day.
recFileInfo FileFromNow() {
    const std::time_t nNow = std::time(nullptr);
    std::tm st;
    ::localtime_r(&nNow, &st);
    const int nYear = st.tm_year + 1900, nMonth = st.tm_mon + 1;
    return Recording(BlockTime(nYear, nMonth, st.tm_mday, st.tm_hour, st.tm_min, st.tm_sec),
                     BlockTime(nYear, nMonth, st.tm_mday, 23, 59, 59));
}

void RecordCamera(CRecordingHost& host, unsigned nCamera, bool bRestarts) {
    constexpr std::chrono::nanoseconds INTERVAL{SECOND / PIECES_PER_SECOND};
    const std::string strCamera = CameraName(nCamera);
    std::vector<std::uint64_t> vWords(g_pNotes->WordsPerPiece());
    recFileInfo stFile;
    bool bOpen = false;
    std::int64_t nNextTry = 0, nRestart = Now() + (1 + nCamera % 5) * SECOND;
    auto due = std::chrono::steady_clock::now() + INTERVAL * nCamera / MAX_CAMERAS;
    for (unsigned n = 0; n < MAX_PIECES && !g_bStop; ++n, due += INTERVAL) {
        std::this_thread::sleep_until(due);
        if (bOpen && bRestarts && Now() >= nRestart) {
            host.Close(strCamera, stFile);
            bOpen = false;
            nNextTry = 0;
            nRestart = Now() + 5 * SECOND;
        }
        if (!bOpen && Now() >= nNextTry) {
            stFile = FileFromNow();
            bOpen = host.Open(strCamera, stFile);
            nNextTry = Now() + SECOND;
            nRestart = std::max(nRestart, nNextTry);  // under another name, or it would be emptied
            g_pNotes->nRefusedOpens += !bOpen;
        }
        std::iota(vWords.begin(), vWords.end(), g_pNotes->FirstWord(nCamera, n));
        const std::string strPiece(reinterpret_cast<const char*>(vWords.data()),
                                   g_pNotes->nPieceSize);
        const std::int64_t nBegin = Now();
        const bool bAccepted = bOpen && host.Write(strCamera, stFile, strPiece);
        const std::int64_t nEnd = Now();
        g_pNotes->objPieces[nCamera][n] = {nEnd, static_cast<std::uint32_t>((nEnd - nBegin) / 1000),
                                           bAccepted};
        g_pNotes->nPieces[nCamera] = n + 1;
    }
    if (bOpen) host.Close(strCamera, stFile);
}

void Stamp(const std::string& strImage) {
    const int nImage = ::open(strImage.c_str(), O_WRONLY);
    const off_t nPlace = ::lseek(nImage, -static_cast<off_t>(sizeof(std::int64_t)), SEEK_END);
    for (; !g_bStop; std::this_thread::sleep_for(std::chrono::nanoseconds(STAMP_INTERVAL))) {
        const std::int64_t nNow = Now();
        if (::pwrite(nImage, &nNow, sizeof(nNow), nPlace) != sizeof(nNow)) return;
    }
}

}  // namespace

void RecordCameras(char** ppArguments) {
    sigset_t stSignals;
    ::sigemptyset(&stSignals);
    ::sigaddset(&stSignals, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &stSignals, nullptr);

    std::map<std::string, std::string> mSettings = {{"cameras", "64"}, {"bitrate", "2000"}};
    const auto Number = [&](const char* pKey) {
        return static_cast<unsigned>(std::atoi(mSettings[pKey].c_str()));
    };
    for (char** pp = ppArguments + 2; *pp; ++pp) {
        const std::string strSetting = *pp;
        const auto nEqual = strSetting.find('=');
        mSettings[strSetting.substr(0, nEqual)] = strSetting.substr(nEqual + 1);
    }
    for (const auto& [pKey, nOption] : {std::pair("sync", STORAGE_OPTION_SYNC_INTERVAL),
                                        std::pair("reserve", STORAGE_OPTION_RESERVE_STEP)}) {
        if (!mSettings[pKey].empty() &&
            !SetStorageOption(nOption, static_cast<int>(Number(pKey)))) {
            throw std::runtime_error(pKey + (" may not be " + mSettings[pKey]));
        }
    }
    g_pNotes = &MapNotes(ppArguments[0]);
    g_pNotes->nRun = Number("run");
    g_pNotes->nCameras = Number("cameras");
    g_pNotes->nPieceSize = Number("bitrate") * 125 / PIECES_PER_SECOND / 8 * 8;

    tagStoreInfo stInfo;
    stInfo.pFunCallback = OnMessage;
    if (mSettings["layout"] == "client") stInfo.enumStorageType = LOCAL_STORAGE_CLIENT;
    AddRecordDir(stInfo, mSettings["dir"]);
    {
        CRecordingHost host(stInfo, ppArguments[1]);
        g_pNotes->nBegun = Now();
        std::vector<std::jthread> vThreads;
        if (!mSettings["stamp"].empty()) vThreads.emplace_back(Stamp, mSettings["stamp"]);
        for (unsigned n = 0; n < g_pNotes->nCameras; ++n) {
            vThreads.emplace_back(RecordCamera, std::ref(host), n, n < Number("restarts"));
        }
        int nSignal = 0;
        ::sigwait(&stSignals, &nSignal);
        g_bStop = true;
    }
    g_pNotes->nProcessor = Now(CLOCK_PROCESS_CPUTIME_ID);
    g_pNotes->nEnded = Now();
}
