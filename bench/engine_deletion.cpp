// A deletion pass over a day of 20,000 files against rm, what it does to the writers meanwhile, and
// pictures against bare files.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <semaphore>
#include <string>
#include <sys/statvfs.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "EngineBench.h"
#include "Osl/OslCalls.h"
#include "Ratio.h"

namespace fs = std::filesystem;

namespace {

constexpr int CAMERAS = 64, FILES = 20000;
constexpr std::chrono::milliseconds PASS_TIME(200);  // about what a pass takes in memory
constexpr std::chrono::milliseconds SETTLING_TIME(100);
constexpr std::chrono::milliseconds CHECK_TIME(5400);  // and until a disk check runs one

std::atomic<bool> g_bFull = false;

/// Makes the disks full or not, whatever they are; the rest of the system stays as it is.
int StatVfs(const char* pPath, struct statvfs* pStat) {
    const int nResult = OSL_SYSTEM_CALLS.pfnStatVfs(pPath, pStat);
    pStat->f_frsize = 1 << 20;
    pStat->f_bfree = pStat->f_bavail = g_bFull ? 0 : 100000;
    return nResult;
}

/// A host that counts what it is told. The whole day makes room, as a day of real recordings does;
/// on disks that stay full the engine would wait for the space.
int CountMessage(int nMsgType, void*, unsigned, void*) {
    static std::atomic<int> s_nDeleted = 0;
    if (nMsgType == MESSAGEVALUE_DELETEFILE && ++s_nDeleted % FILES == 0) g_bFull = false;
    return 0;
}

/// A day of recordings, as the engine leaves it.
void MakeDay(const std::string& strDisk) {
    const std::string strContent(4096, 'x');
    for (int i = 0; i < FILES; ++i) {
        const std::string strCamera = "cam_" + std::to_string(i % CAMERAS) + "_0";
        const std::string strDir = strDisk + "/RecordFile/20240101/" + strCamera;
        if (i < CAMERAS) fs::create_directories(strDir);
        const int nSecond = i / CAMERAS;
        char szName[64];
        std::snprintf(szName, sizeof(szName), "2024010100%02d%02d_2024010101%02d%02d_1.mp4",
                      nSecond / 60, nSecond % 60, nSecond / 60, nSecond % 60);
        std::ofstream(strDir + "/" + szName, std::ios::binary) << strContent;
    }
}

/// An engine on that day, and one disk check of it.
class CPass {
public:
    explicit CPass(const std::string& strDir) : m_strDisk(strDir + "/disk") {
        g_bFull = false;
        fs::remove_all(m_strDisk);
        MakeDay(m_strDisk);
        m_stInfo.pFunCallback = CountMessage;
        m_pEngine = std::make_unique<CBenchEngine>(strDir, m_stInfo);
    }
    CBenchEngine& Engine() { return *m_pEngine; }

    /// A picture is stored after the disk check, here an empty one, unless another call of the
    /// host's is at it.
    void Run() {
        char szPath[LOCALSTORAGE_PATH_SIZE];
        g_bFull = true;
        (*m_pEngine)->WriteImage("cam_1_0", "", 0, szPath);
        Await();
    }
    /// Nobody asks for it: the disk check comes by itself.
    void AwaitOwn() {
        g_bFull = true;
        Await();
    }

private:
    void Await() {
        while (fs::exists(m_strDisk + "/RecordFile/20240101")) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        g_bFull = false;
    }

    std::string m_strDisk;
    tagStoreInfo m_stInfo;
    std::unique_ptr<CBenchEngine> m_pEngine;
};

double PassSeconds(const CScratchDir& scratch) {
    CPass pass(scratch.Path());
    return SecondsOf([&] { pass.Run(); });
}

void Rm(const std::string& strDir) {
    Demand(std::system(("rm -rf " + strDir).c_str()) == 0, "rm failed");
}

double RmSeconds(const CScratchDir& scratch) {
    fs::remove_all(scratch / "disk");
    MakeDay(scratch / "disk");
    return SecondsOf([&] { Rm(scratch / "disk/RecordFile"); });
}

/// The longest of the calls of `call` that happen while `work` runs. The caller is at it for a
/// while before: the system moves a thread that is new from processor to processor.
template <typename Call, typename Work>
double LongestCall(Call call, Work work) {
    std::atomic<bool> bWorks = false, bStop = false;
    double dLongest = 0;
    std::thread caller([&] {
        while (!bWorks) call();
        while (!bStop) dLongest = std::max(dLongest, SecondsOf(call));
    });
    std::this_thread::sleep_for(SETTLING_TIME);
    bWorks = true;
    work();
    bStop = true;
    caller.join();
    return dLongest;
}

template <typename Work>
double LongestWrite(CBenchEngine& engine, Work work) {
    const std::string strPiece(4096, 'x');
    engine.Open("cam_9_9");
    const double dLongest =
        LongestCall([&] { engine.Write("cam_9_9", 0, strPiece.data(), strPiece.size()); }, work);
    engine.Close("cam_9_9");
    return dLongest;
}

double LongestWriteInPass(const CScratchDir& scratch) {
    CPass pass(scratch.Path());
    return LongestWrite(pass.Engine(), [&] { pass.Run(); });
}

double LongestWriteInOwnPass(const CScratchDir& scratch) {
    CPass pass(scratch.Path());
    return LongestWrite(pass.Engine(), [&] { pass.AwaitOwn(); });
}

double LongestWriteWithoutPass(const CScratchDir& scratch, std::chrono::milliseconds time) {
    CPass pass(scratch.Path());
    return LongestWrite(pass.Engine(), [=] { std::this_thread::sleep_for(time); });
}

/// What the deleting itself costs a writer, whoever does it.
double LongestWriteDuringRm(const CScratchDir& scratch) {
    CPass pass(scratch.Path());
    return LongestWrite(pass.Engine(), [&] { Rm(scratch / "disk/RecordFile/20240101"); });
}

/// What waits for a pass, or may: the longest call of each during one, in milliseconds.
void WaitsDuringPass(benchmark::State& state, const CScratchDir& scratch) {
    for (auto _ : state) {
        const auto Longest = [&](auto call) {
            CPass pass(scratch.Path());
            return 1000 * LongestCall([&] { call(pass.Engine()); }, [&] { pass.Run(); });
        };
        state.counters["open_ms"] = Longest([](CBenchEngine& engine) {
            recFileInfo stFile;
            char szCamera[] = "cam_9_9";
            if (engine->OpenChannelRecord(szCamera, nullptr, stFile)) {
                engine->CloseChannelRecord(szCamera, stFile);
            }
        });
        state.counters["image_ms"] = Longest([](CBenchEngine& engine) {
            char szPath[LOCALSTORAGE_PATH_SIZE];
            engine->WriteImage("cam_9_9", "", 0, szPath);
        });
        state.counters["query_ms"] = Longest([](CBenchEngine& engine) {
            recQueryParam stParam;
            stParam.stQueryStartTime.wYear = stParam.stQueryEndTime.wYear = 2024;
            stParam.stQueryEndTime.byMonth = 12;
            std::snprintf(stParam.szCameraID, sizeof(stParam.szCameraID), "cam_1_0");
            CVexList<pathNode>* pList = nullptr;
            engine->QueryRecFile(stParam, &pList);
        });
    }
}

constexpr int PICTURES = 2000;

double PictureSeconds(const CScratchDir& scratch, const std::string& strPicture) {
    g_bFull = false;
    tagStoreInfo stInfo;
    CBenchEngine engine(scratch.Path(), stInfo);
    char szPath[LOCALSTORAGE_PATH_SIZE];
    return SecondsOf([&] {
        for (int i = 0; i < PICTURES; ++i) {
            Demand(engine->WriteImage("cam_1_0", strPicture.data(),
                                      static_cast<unsigned>(strPicture.size()), szPath),
                   "a picture cannot be written");
        }
    });
}

void StoreBare(const std::string& strPath, const std::string& strPicture) {
    const int nFile = ::open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    Demand(::write(nFile, strPicture.data(), strPicture.size()) ==
               static_cast<ssize_t>(strPicture.size()),
           "write(2) failed");
    ::close(nFile);
}

double BareSeconds(const CScratchDir& scratch, const std::string& strPicture) {
    return SecondsOf([&] {
        for (int i = 0; i < PICTURES; ++i) StoreBare(scratch / "picture.jpg", strPicture);
    });
}

/// The least that keeps a disk that hangs from holding its caller up: a thread asks for the space,
/// another time it writes a copy.
double HandedOverSeconds(const CScratchDir& scratch, const std::string& strPicture) {
    std::binary_semaphore asked(0), answered(0);
    std::function<void()> job;
    std::jthread disk([&](const std::stop_token& stop) {
        for (asked.acquire(); !stop.stop_requested(); asked.acquire()) {
            job();
            answered.release();
        }
    });
    const auto Run = [&](std::function<void()> newJob) {
        job = std::move(newJob);
        asked.release();
        answered.acquire();
    };
    struct statvfs stSpace = {};
    const double dSeconds = SecondsOf([&] {
        for (int i = 0; i < PICTURES; ++i) {
            Run([&] { ::statvfs(scratch.Path().c_str(), &stSpace); });
            Run([&scratch, strCopy = strPicture] { StoreBare(scratch / "picture.jpg", strCopy); });
        }
    });
    disk.request_stop();
    asked.release();
    return dSeconds;
}

}  // namespace

int main(int argc, char** argv) {
    static OSL_Calls s_stCalls = OSL_SYSTEM_CALLS;
    s_stCalls.pfnStatVfs = StatVfs;
    g_pOslCalls = &s_stCalls;
    const CScratchDir scratch;
    const std::string strPicture(100 << 10, 'x');
    Ratio(
        "14", "a deletion pass over a day of 20,000 files", "rm -rf", AtMost(1.25),
        [&] { return PassSeconds(scratch); }, [&] { return RmSeconds(scratch); }, MANY_ROUNDS);
    Ratio(
        "15", "longest WriteData (4 KiB) during that pass", "without one", AtMost(2),
        [&] { return LongestWriteInPass(scratch); },
        [&] { return LongestWriteWithoutPass(scratch, PASS_TIME); }, MANY_ROUNDS);
    Ratio(
        "15", "longest WriteData (4 KiB) during that pass", "while rm -rf deletes the same",
        AtMost(2), [&] { return LongestWriteInPass(scratch); },
        [&] { return LongestWriteDuringRm(scratch); }, MANY_ROUNDS);
    Ratio(
        "15", "longest WriteData (4 KiB) while the disk check runs one by itself", "without one",
        AtMost(2), [&] { return LongestWriteInOwnPass(scratch); },
        [&] { return LongestWriteWithoutPass(scratch, CHECK_TIME); }, 5);
    Ratio(
        "16", "WriteImage, 100 KiB", "open, write, close", AtMost(2),
        [&] { return PictureSeconds(scratch, strPicture); },
        [&] { return BareSeconds(scratch, strPicture); });
    Ratio(
        "16", "WriteImage, 100 KiB", "statvfs, then open, write, close, on another thread",
        AtMost(2), [&] { return PictureSeconds(scratch, strPicture); },
        [&] { return HandedOverSeconds(scratch, strPicture); });
    benchmark::RegisterBenchmark("longest calls during a deletion pass", WaitsDuringPass,
                                 std::cref(scratch))
        ->Iterations(1);
    return RunRatios(argc, argv);
}
