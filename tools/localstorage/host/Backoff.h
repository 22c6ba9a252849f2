// How long to wait before a camera is tried again.

#ifndef LOCALSTORAGE_TOOL_HOST_BACKOFF_H
#define LOCALSTORAGE_TOOL_HOST_BACKOFF_H

#include <chrono>

/// 1, 2, 4, 8, 16, then 30 seconds again and again. A minute of recording begins anew with 1, in
/// however many pieces it came: a camera that keeps breaking off but records in between is never
/// left alone for long.
class CBackoff {
public:
    using Span = std::chrono::milliseconds;

    /// The wait behind a try that recorded for so long. `fRandom`, 0 to 1, moves it by up to a
    /// tenth either way, so that cameras that went away together do not come back together.
    Span Next(Span nRecorded, double fRandom);

private:
    unsigned m_nWaits = 0;  ///< since it began anew
    Span m_nRecorded{0};    ///< since then
};

#endif  // LOCALSTORAGE_TOOL_HOST_BACKOFF_H
