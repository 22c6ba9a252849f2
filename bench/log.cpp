// The log against spdlog's asynchronous logger: what a burst costs its callers, and how long many
// lines take until all of them are in the file.

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include "Ratio.h"
#include "localstorage/LocalStorageLog.h"

namespace {

constexpr int BURST = 10000;
constexpr char INDEX_PATH[] = "/disk1/RecordFile/index01.bin";
constexpr int SUSTAINED = 500000;
constexpr std::chrono::milliseconds SETTLE(20);  // after which both have nothing left to write

const std::filesystem::path& Directory() {
    static const std::filesystem::path s_path = [] {
        std::string strPath = std::filesystem::temp_directory_path() / "log-bench-XXXXXX";
        return std::filesystem::path(::mkdtemp(strPath.data())) / "";
    }();
    return s_path;
}

/// Runs `work(nCount)` on each of the threads, which share the lines and begin together; seconds
/// until all are done.
template <typename Work>
double OnThreads(int nThreads, int nLines, Work work) {
    std::atomic<int> nReady{1};
    const auto Run = [&] {
        ++nReady;
        while (nReady <= nThreads) {
        }
        work(nLines / nThreads);
    };
    std::vector<std::thread> vThread;
    for (int i = 1; i < nThreads; ++i) vThread.emplace_back(Run);
    while (nReady < nThreads) {
    }
    return SecondsOf([&] {
        Run();
        for (std::thread& thread : vThread) thread.join();
    });
}

void CheckLines(const std::filesystem::path& path, int nExpected) {
    std::ifstream file(path, std::ios::binary);
    const auto nLines = std::count(std::istreambuf_iterator<char>(file), {}, '\n');
    if (nLines == nExpected) return;
    std::fprintf(stderr, "%s: %d lines expected, %d found\n", path.c_str(), nExpected,
                 static_cast<int>(nLines));
    std::exit(1);
}

// Both print what the engine prints most: a tag, what happened, and one value.

/// Lines that are refused because the queue is full are tried again, unless a burst is measured,
/// which must fit.
void WriteLines(int nCount, bool bRetry) {
    for (int i = 0; i < nCount; ++i) {
        while (WriteLog(LOG_LEVEL_DBG, "log.cpp", __LINE__,
                        "[wtb][CIndex::CheckIndex] index01.bin open fail, strIndexLevel1Path [%s]",
                        INDEX_PATH) == LOG_ERR_FULL &&
               bRetry) {
            std::this_thread::yield();
        }
    }
}

void SpdlogLines(spdlog::logger& logger, int nCount) {
    for (int i = 0; i < nCount; ++i) {
        logger.debug("[wtb][CIndex::CheckIndex] index01.bin open fail, strIndexLevel1Path [{}]",
                     INDEX_PATH);
    }
}

/// What the callers pay; with `bUntilWritten` also what is left until all lines are in the file.
double Ours(int nThreads, int nLines, bool bUntilWritten) {
    std::filesystem::remove(Directory() / "LocalStorage_1_W.log");
    EnableTarget(LOG_TARGET_FILE, Directory().c_str(), 1u << 31, 1);
    WriteLines(1, false);  // starts the writer
    std::this_thread::sleep_for(SETTLE);
    const double dSeconds =
        OnThreads(nThreads, nLines, [=](int nCount) { WriteLines(nCount, bUntilWritten); });
    const double dRest = SecondsOf([] { StopLogService(false); });
    CheckLines(Directory() / "LocalStorage_1_W.log", 1 + nLines);
    return bUntilWritten ? dSeconds + dRest : dSeconds;
}

double Spdlogs(int nThreads, int nLines, bool bUntilWritten) {
    const std::string strPath = Directory() / "spdlog.log";
    spdlog::init_thread_pool(spdlog::details::default_async_q_size, 1);
    auto pLogger = spdlog::create_async<spdlog::sinks::basic_file_sink_mt>("bench", strPath, true);
    pLogger->set_level(spdlog::level::debug);
    pLogger->set_pattern("[%Y-%m-%d %H:%M:%S.%e][%L] %v");
    SpdlogLines(*pLogger, 1);
    std::this_thread::sleep_for(SETTLE);
    const double dSeconds =
        OnThreads(nThreads, nLines, [&](int nCount) { SpdlogLines(*pLogger, nCount); });
    const double dRest = SecondsOf([&] {
        spdlog::drop_all();
        pLogger.reset();
        spdlog::shutdown();
    });
    CheckLines(strPath, 1 + nLines);
    return bUntilWritten ? dSeconds + dRest : dSeconds;
}

void Row(const char* pNumber, const char* pWhat, RatioGoal stGoal, int nThreads, int nLines,
         bool bUntilWritten) {
    Ratio(
        pNumber, pWhat, "spdlog, asynchronous, blocking, basic file sink", stGoal,
        [=] { return Ours(nThreads, nLines, bUntilWritten); },
        [=] { return Spdlogs(nThreads, nLines, bUntilWritten); },
        bUntilWritten ? ROUNDS : MANY_ROUNDS);
}

}  // namespace

int main(int argc, char** argv) {
    Row("11a", "WriteLog, burst of 10,000 lines, 1 thread", AtMost(0.25), 1, BURST, false);
    Row("11b", "WriteLog, burst of 10,000 lines, 2 threads", AtMost(0.35), 2, BURST, false);
    Row("12", "WriteLog, 500,000 lines until all are in the file", AtLeast(2.5), 1, SUSTAINED,
        true);
    const int nResult = RunRatios(argc, argv);
    std::filesystem::remove_all(Directory());
    return nResult;
}
