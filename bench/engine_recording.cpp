// A whole recording: a file of 1 GiB H.264, read in pieces of 64 KiB, goes into files of 64 MiB.
// Each side is a process of its own; what counts is its processor time, user and system.

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "EngineBench.h"
#include "Ratio.h"

namespace {

constexpr std::size_t TOTAL = std::size_t{1} << 30;
constexpr std::size_t PIECE = 65536;
constexpr unsigned FILE_SIZE = 64;  // MiB
constexpr std::size_t FILE_LIMIT = std::size_t{FILE_SIZE} << 20;

/// Processor seconds of a child process that runs `work`.
template <typename Work>
double ProcessorSecondsOf(Work work) {
    const pid_t nChild = ::fork();
    Demand(nChild >= 0, "no process");
    if (nChild == 0) {
        work();
        std::_Exit(0);
    }
    int nStatus = 0;
    rusage stUsage{};
    ::wait4(nChild, &nStatus, 0, &stUsage);
    Demand(WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0, "a recording failed");
    const auto Seconds = [](const timeval& tv) { return tv.tv_sec + tv.tv_usec / 1e6; };
    return Seconds(stUsage.ru_utime) + Seconds(stUsage.ru_stime);
}

void RecordWithEngine(const std::string& strInput, const std::string& strDir) {
    tagStoreInfo stInfo;
    stInfo.enumStorageType = LOCAL_STORAGE_CLIENT;
    stInfo.bAnalyze = true;
    stInfo.nFileSize = FILE_SIZE;
    CBenchEngine engine(strDir, stInfo);
    engine.Open("cam_1_0");
    engine.Write("cam_1_0", 1, "", 0);
    const int nInput = ::open(strInput.c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<char> vPiece(PIECE);
    for (ssize_t nRead; (nRead = ::read(nInput, vPiece.data(), PIECE)) > 0;) {
        engine.Write("cam_1_0", 0, vPiece.data(), static_cast<std::size_t>(nRead));
    }
    ::close(nInput);
    engine.Close("cam_1_0");
}

/// Nothing but the system calls.
void CopyBare(const std::string& strInput, const std::string& strDir) {
    std::filesystem::create_directories(strDir + "/disk");
    const int nInput = ::open(strInput.c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<char> vPiece(PIECE);
    int nFile = -1, nFiles = 0;
    std::size_t nSize = FILE_LIMIT;
    for (ssize_t nRead; (nRead = ::read(nInput, vPiece.data(), PIECE)) > 0;) {
        if (nSize >= FILE_LIMIT) {
            ::close(nFile);
            const std::string strFile = strDir + "/disk/" + std::to_string(nFiles++);
            nFile = ::open(strFile.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
            nSize = 0;
        }
        Demand(::write(nFile, vPiece.data(), static_cast<std::size_t>(nRead)) == nRead,
               "write(2) failed");
        nSize += static_cast<std::size_t>(nRead);
    }
    ::close(nFile);
    ::close(nInput);
}

/// Segments are cut by time; this many seconds are 64 MiB of the stream.
void RecordWithFfmpeg(const std::string& strInput, const std::string& strDir, int nSeconds) {
    std::filesystem::create_directories(strDir + "/disk");
    const std::string strOutput = strDir + "/disk/%d.h264";
    const std::string strTime = std::to_string(nSeconds);
    ::execlp("ffmpeg", "ffmpeg", "-nostdin", "-v", "error", "-f", "h264", "-blocksize", "65536",
             "-i", strInput.c_str(), "-c", "copy", "-f", "segment", "-segment_time",
             strTime.c_str(), strOutput.c_str(), static_cast<char*>(nullptr));
    std::_Exit(1);
}

}  // namespace

int main(int argc, char** argv) {
    const CScratchDir scratch;
    const std::string strInput = scratch / "input.h264";
    constexpr int SECONDS_OF_ONE = 8;  // the repeated stream
    const std::string strOne = ReadStream("bench.h264", 1);
    {
        std::ofstream file(strInput, std::ios::binary);
        for (std::size_t nSize = 0; nSize < TOTAL; nSize += strOne.size()) file << strOne;
    }
    const int nSegment = static_cast<int>(FILE_LIMIT * SECONDS_OF_ONE / strOne.size());
    /// Of a process that runs `work`; removes what it has recorded.
    const auto CostOf = [&](auto work) {
        const double dSeconds = ProcessorSecondsOf(work);
        std::filesystem::remove_all(scratch / "disk");
        return dSeconds;
    };
    const auto Ours = [&] { return CostOf([&] { RecordWithEngine(strInput, scratch.Path()); }); };
    const std::string strWhat = "recording 1 GiB H.264 into 64 MiB files, processor time";
    Ratio(
        "3", strWhat, "ffmpeg -c copy -f segment", AtMost(0.42), Ours,
        [&] { return CostOf([&] { RecordWithFfmpeg(strInput, scratch.Path(), nSegment); }); }, 5);
    Ratio(
        "3", strWhat, "read(2) and write(2) of the same", AtMost(1.2), Ours,
        [&] { return CostOf([&] { CopyBare(strInput, scratch.Path()); }); }, 5);
    return RunRatios(argc, argv);
}
