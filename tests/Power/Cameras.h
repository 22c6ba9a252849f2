// Cameras whose recordings can be checked byte for byte, and what their host notes down.
//
// Every eight bytes of a stream are a number that says which camera they are of and where in its
// stream they stand, so a recording tells by itself what it holds. The notes lie in a file that is
// mapped into memory, on another disk than the recordings: they hold whatever happens to host and
// disk.

#ifndef LOCALSTORAGE_TESTS_POWER_CAMERAS_H
#define LOCALSTORAGE_TESTS_POWER_CAMERAS_H

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

constexpr unsigned MAX_CAMERAS = 64, MAX_PIECES = 1 << 15, PIECES_PER_SECOND = 25;
constexpr std::int64_t SECOND = 1000000000, STAMP_INTERVAL = SECOND / 50;

/// Nanoseconds: since the machine's start, as /proc/uptime counts them, unless of another clock.
inline std::int64_t Now(clockid_t nClock = CLOCK_BOOTTIME) {
    timespec stNow;
    ::clock_gettime(nClock, &stNow);
    return stNow.tv_sec * SECOND + stNow.tv_nsec;
}

inline std::string CameraName(std::uint64_t nCamera) {
    return "cam" + std::to_string(100 + nCamera) + "_1_0";
}

/// One WriteData.
struct CPiece {
    std::int64_t nReturned;  ///< when; 0: it has not yet
    std::uint32_t nMicroseconds;
    std::uint32_t nAccepted;  ///< 1: it returned true
};

/// What a host notes of its run. Everything is written before the counter that tells of it.
struct CNotes {
    std::uint32_t nRun;  ///< of the hosts that record into one directory, this is the n-th
    std::uint32_t nCameras;
    std::uint32_t nPieceSize;                          ///< bytes, a multiple of eight
    std::int64_t nBegun, nEnded;                       ///< 0: it was killed
    std::int64_t nProcessor;                           ///< nanoseconds, until the end
    std::atomic<unsigned> nRefusedOpens, nWriteFails;  ///< results, and messages
    std::atomic<unsigned> nPieces[MAX_CAMERAS];
    CPiece objPieces[MAX_CAMERAS][MAX_PIECES];

    std::uint64_t WordsPerPiece() const { return nPieceSize / sizeof(std::uint64_t); }
    /// The number that a piece begins with.
    std::uint64_t FirstWord(unsigned nCamera, unsigned nPiece) const {
        return std::uint64_t{1 + nRun * MAX_CAMERAS + nCamera} << 40 | nPiece * WordsPerPiece();
    }
    /// A stream is of one camera and one run.
    static std::uint64_t StreamOf(std::uint64_t nWord) { return (nWord >> 40) - 1; }
    static std::uint64_t CameraOf(std::uint64_t nWord) { return StreamOf(nWord) % MAX_CAMERAS; }
};

/// The notes in a file, which is made when it is not there.
inline CNotes& MapNotes(const std::string& strPath) {
    const int nFile = ::open(strPath.c_str(), O_RDWR | O_CREAT, 0644);
    void* pNotes = MAP_FAILED;
    if (nFile >= 0 && ::ftruncate(nFile, sizeof(CNotes)) == 0) {
        pNotes = ::mmap(nullptr, sizeof(CNotes), PROT_READ | PROT_WRITE, MAP_SHARED, nFile, 0);
    }
    if (pNotes == MAP_FAILED) throw std::system_error(errno, std::generic_category(), strPath);
    ::close(nFile);
    return *static_cast<CNotes*>(pNotes);
}

/// Records until it is told to stop (SIGTERM); see main for the arguments.
void RecordCameras(char** ppArguments);

#endif  // LOCALSTORAGE_TESTS_POWER_CAMERAS_H
