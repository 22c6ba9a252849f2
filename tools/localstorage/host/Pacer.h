// Waiting that ends when it is told to; and reading a file in step with the clock, as if it were a
// live camera.

#ifndef LOCALSTORAGE_TOOL_HOST_PACER_H
#define LOCALSTORAGE_TOOL_HOST_PACER_H

#include <atomic>
#include <chrono>

/// Waits until then, or until stopped.
void WaitUntil(std::chrono::steady_clock::time_point tDue, const std::atomic<bool>& bStop);

class CPacer {
public:
    /// Without `bRealTime` nothing ever waits.
    CPacer(bool bRealTime, const std::atomic<bool>& bStop)
        : m_bRealTime(bRealTime), m_bStop(bStop) {}

    /// Waits until it is time for what lies `fTime` seconds into the stream; false when stopped.
    bool WaitFor(double fTime);

private:
    bool m_bRealTime;
    const std::atomic<bool>& m_bStop;
    bool m_bStarted = false;
    double m_fLast = 0;
    std::chrono::steady_clock::time_point m_tOrigin;  ///< when second 0 of the stream was
};

#endif  // LOCALSTORAGE_TOOL_HOST_PACER_H
