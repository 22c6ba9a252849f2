#include "host/Pacer.h"

#include <algorithm>
#include <cmath>
#include <thread>

namespace {

/// A stream whose time jumps by more than this has begun anew: nobody waits for the jump.
constexpr double JUMP = 10;

}  // namespace

void CPacer::WaitFor(double fTime) {
    if (!m_bRealTime) return;
    using Clock = std::chrono::steady_clock;
    const auto ToSpan = [](double f) {
        return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(f));
    };
    if (!m_bStarted || std::abs(fTime - m_fLast) > JUMP) m_tOrigin = Clock::now() - ToSpan(fTime);
    m_bStarted = true;
    m_fLast = fTime;
    const auto tDue = m_tOrigin + ToSpan(fTime);
    while (!m_bStop && Clock::now() < tDue) {
        std::this_thread::sleep_until(
            std::min(tDue, Clock::now() + std::chrono::milliseconds(100)));
    }
}
