// How long to wait before a camera is tried again.

#ifndef LOCALSTORAGE_TOOL_HOST_BACKOFF_H
#define LOCALSTORAGE_TOOL_HOST_BACKOFF_H

#include <chrono>
#include <cstdint>

/// 1, 2, 4, 8, 16, then 30 seconds again and again. Every 12 seconds of recording take back one
/// doubling, so a good minute takes back all: a camera that breaks off now and then is never left
/// alone for long.
class CBackoff {
public:
    using Span = std::chrono::milliseconds;

    /// The wait behind a try that recorded for so long. `fRandom`, 0 to 1, moves it by up to a
    /// tenth either way, so that cameras that went away together do not come back together.
    Span Next(Span nRecorded, double fRandom);

private:
    std::int64_t m_nDoublings = 0;
    Span m_nRecorded{0};  ///< that has taken back nothing yet
};

#endif  // LOCALSTORAGE_TOOL_HOST_BACKOFF_H
