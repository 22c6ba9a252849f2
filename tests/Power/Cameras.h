// Cameras whose recordings can be checked byte for byte, and what their host notes down.
//
// Every eight bytes of a stream say which camera they are of and where in its stream they stand, so
// a recording tells by itself what it holds. The notes lie in a file that is mapped into memory, on
// another disk than the recordings: they hold whatever happens to host and disk.

#ifndef LOCALSTORAGE_TESTS_POWER_CAMERAS_H
#define LOCALSTORAGE_TESTS_POWER_CAMERAS_H

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

constexpr unsigned MAX_CAMERAS = 64;
constexpr unsigned MAX_RUNS = 100;
constexpr unsigned MAX_PIECES = 1 << 15;
constexpr unsigned PIECES_PER_SECOND = 25;
constexpr std::int64_t SECOND = 1000000000;
constexpr std::int64_t STAMP_INTERVAL = SECOND / 50;

/// Seconds since the machine's start in nanoseconds; /proc/uptime has the same clock.
inline std::int64_t Now() {
    timespec stNow;
    ::clock_gettime(CLOCK_BOOTTIME, &stNow);
    return stNow.tv_sec * SECOND + stNow.tv_nsec;
}

/// A place in a camera's stream, as one number that is unlike its neighbours.
struct CWord {
    static constexpr int OFFSET_BITS = 40;  // of a number of words
    std::uint64_t nStream;                  ///< a camera of a run of a host
    std::uint64_t nOffset;                  ///< in words

    std::uint64_t Number() const { return nStream << OFFSET_BITS | nOffset; }
    std::uint64_t Encoded() const {
        std::uint64_t n = Number() + 0x9e3779b97f4a7c15;
        n = (n ^ n >> 32) * 0xd6e8feb86659fd93;
        return n ^ n >> 32;
    }
    static CWord Decoded(std::uint64_t n) {
        n = (n ^ n >> 32) * 0xcfee444d8b59a89b;  // the inverse of the factor above
        n = (n ^ n >> 32) - 0x9e3779b97f4a7c15;
        return {n >> OFFSET_BITS, n & ((std::uint64_t(1) << OFFSET_BITS) - 1)};
    }
};

inline std::string CameraName(unsigned nCamera) {
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
    std::uint32_t nPieceSize;  ///< bytes, a multiple of eight
    std::int64_t nBegun;
    std::int64_t nEnded;                                         ///< 0: it was killed
    std::int64_t nProcessor;                                     ///< nanoseconds, until the end
    std::atomic<unsigned> nRefusedOpens, nWriteFails, nDeleted;  ///< results, and messages
    std::atomic<unsigned> nPieces[MAX_CAMERAS];
    CPiece objPieces[MAX_CAMERAS][MAX_PIECES];
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

#endif  // LOCALSTORAGE_TESTS_POWER_CAMERAS_H
