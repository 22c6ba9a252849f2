// What it costs to make everything durable once a second, on the disk of the temporary files.

#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <memory>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "EngineBench.h"
#include "Ratio.h"

namespace {

namespace fs = std::filesystem;

constexpr int CAMERAS = 64;
constexpr std::size_t PIECE = 65536;

const std::string PIECE_DATA(PIECE, 'v');

/// 64 cameras that are being recorded; their pieces come in turn.
class CRecording {
public:
    CRecording(const std::string& strDir, int nSyncInterval) {
        SetStorageOption(STORAGE_OPTION_SYNC_INTERVAL, nSyncInterval);
        tagStoreInfo stInfo;
        stInfo.nFileSize = 2048;
        m_pEngine = std::make_unique<CBenchEngine>(strDir, stInfo);
        for (int n = 0; n < CAMERAS; ++n) m_vCameras.push_back("cam_" + std::to_string(n) + "_0");
        for (const std::string& strCamera : m_vCameras) m_pEngine->Open(strCamera);
    }
    ~CRecording() {
        for (const std::string& strCamera : m_vCameras) m_pEngine->Close(strCamera);
    }
    CRecording(const CRecording&) = delete;
    CRecording& operator=(const CRecording&) = delete;

    /// One piece of every camera.
    void WriteRound() {
        for (const std::string& strCamera : m_vCameras) {
            m_pEngine->Write(strCamera, 0, PIECE_DATA.data(), PIECE);
        }
    }

private:
    std::unique_ptr<CBenchEngine> m_pEngine;
    std::vector<std::string> m_vCameras;
};

double ProcessorSeconds() {
    rusage stUsage;
    ::getrusage(RUSAGE_SELF, &stUsage);
    const auto seconds = [](const timeval& st) { return double(st.tv_sec) + st.tv_usec / 1e6; };
    return seconds(stUsage.ru_utime) + seconds(stUsage.ru_stime);
}

/// Processor seconds of five seconds of 64 cameras with 2 Mbit/s.
double RecordInRealTime(int nSyncInterval) {
    constexpr std::chrono::milliseconds ROUND(250);
    const CScratchDir dir(scratchPlace::DISK);
    CRecording recording(dir.Path(), nSyncInterval);
    const double dBefore = ProcessorSeconds();
    auto tNext = std::chrono::steady_clock::now();
    for (int nRound = 0; nRound < 20; ++nRound) {
        recording.WriteRound();
        std::this_thread::sleep_until(tNext += ROUND);
    }
    return ProcessorSeconds() - dBefore;
}

/// The pieces of disk that the file lies in.
unsigned ExtentsOf(const fs::path& path) {
    const int nFile = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    fiemap stMap = {};
    stMap.fm_length = FIEMAP_MAX_OFFSET;
    stMap.fm_flags = FIEMAP_FLAG_SYNC;
    Demand(::ioctl(nFile, FS_IOC_FIEMAP, &stMap) == 0, "the file system tells no extents");
    ::close(nFile);
    return stMap.fm_mapped_extents;
}

double ExtentsBelow(const std::string& strDir) {
    unsigned nExtents = 0;
    for (const auto& entry : fs::recursive_directory_iterator(strDir)) {
        if (entry.path().extension() == ".mp4") nExtents += ExtentsOf(entry.path());
    }
    return nExtents;
}

constexpr int ROUNDS = 256;  // 1 GiB

// Ten syncs a second, so that a second or two of them stand for many.
double RecordAtOnce() {
    const CScratchDir dir(scratchPlace::DISK);
    {
        CRecording recording(dir.Path(), 100);
        for (int nRound = 0; nRound < ROUNDS; ++nRound) {
            recording.WriteRound();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    return ExtentsBelow(dir.Path());
}

double WriteOneByOne() {
    const CScratchDir dir(scratchPlace::DISK);
    for (int n = 0; n < CAMERAS; ++n) {
        const std::string strPath = dir.Path() + "/" + std::to_string(n) + ".mp4";
        const int nFile = ::open(strPath.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
        for (int nRound = 0; nRound < ROUNDS; ++nRound) {
            Demand(::write(nFile, PIECE_DATA.data(), PIECE) == ssize_t{PIECE}, "write(2) failed");
        }
        ::close(nFile);
    }
    return ExtentsBelow(dir.Path());
}

}  // namespace

int main(int argc, char** argv) {
    Ratio(
        "18", "64 cameras in real time, synced every second, processor time", "without sync",
        AtMost(1.1), [] { return RecordInRealTime(1000); }, [] { return RecordInRealTime(0); });
    Ratio("19", "pieces of disk of 64 cameras at once, 1 GiB, synced", "one file after the other",
          AtMost(1.1), RecordAtOnce, WriteOneByOne, 3);
    return RunRatios(argc, argv);
}
