#include "host/Pacer.h"

#include <algorithm>
#include <cmath>
#include <thread>

namespace {

/// A stream whose time jumps by more than this has begun anew: nobody waits for the jump.
constexpr double JUMP = 10;

constexpr auto SLICE = std::chrono::milliseconds(50);

}  // namespace

void WaitUntil(std::chrono::steady_clock::time_point tDue, const std::atomic<bool>& bStop) {
    for (auto tNow = std::chrono::steady_clock::now(); !bStop && tNow < tDue;
         tNow = std::chrono::steady_clock::now()) {
        std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(tDue - tNow, SLICE));
    }
}

bool CPacer::WaitFor(double fTime) {
    if (!m_bRealTime) return true;
    using Clock = std::chrono::steady_clock;
    const auto ToSpan = [](double f) {
        return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(f));
    };
    if (!m_bStarted || std::abs(fTime - m_fLast) > JUMP) m_tOrigin = Clock::now() - ToSpan(fTime);
    m_bStarted = true;
    m_fLast = fTime;
    WaitUntil(m_tOrigin + ToSpan(fTime), m_bStop);
    return !m_bStop;
}
