#include "media/UtcClock.h"

#include <algorithm>

#include "media/TimeMender.h"

namespace {

using namespace std::chrono_literals;

/// Short enough that a camera's clock drifts by nothing that counts.
constexpr auto WINDOW = 5s;
/// What is handed out when a camera fell silent came before that.
constexpr auto LONGEST_SILENCE = 60s;
/// A picture is taken before it arrives, and not long before; what a camera says that was right
/// before may be longer ago.
constexpr auto MOST_DELAY = 1000ms, MOST_EARLY = 100ms, MOST_STALL = 30000ms;

}  // namespace

UtcTime CUtcClock::SmoothArrival(Span nShow, UtcTime tArrived) {
    const UtcTime tZero = tArrived - nShow;
    const auto nAge = tArrived - m_tWindow;
    // A host's clock that was set back begins anew as well.
    if (nAge > WINDOW || nAge < -1s) {
        m_tLeastPrevious = nAge < LONGEST_SILENCE && nAge > 0s ? m_tLeast : tZero;
        m_tLeast = tZero;
        m_tWindow = tArrived;
    }
    m_tLeast = std::min(m_tLeast, tZero);
    return std::min(m_tLeast, m_tLeastPrevious) + nShow;
}

UtcTime CUtcClock::TimeOf(std::int64_t nShow, UtcTime tArrived, std::optional<UtcTime> optCamera) {
    const Span nTime(nShow * 1000000 / TICKS);
    if (!m_optFirst) m_optFirst = nTime;
    if (m_optStart) return *m_optStart + (nTime - *m_optFirst);
    const UtcTime tSmooth = SmoothArrival(nTime, tArrived);
    if (!optCamera) return tSmooth;
    const bool bBelieved = IsPlausible(nTime, *optCamera, tSmooth);
    m_optBelieved = bBelieved ? std::optional(*optCamera - nTime) : std::nullopt;
    return bBelieved ? std::min(*optCamera, tSmooth) : tSmooth;  // taken before it arrived
}

bool CUtcClock::IsPlausible(Span nShow, UtcTime tCamera, UtcTime tArrival) const {
    const bool bSteady =
        m_optBelieved && std::chrono::abs(tCamera - nShow - *m_optBelieved) < MOST_EARLY;
    const auto nDelay = tArrival - tCamera;
    return nDelay > -MOST_EARLY && (nDelay < MOST_DELAY || (bSteady && nDelay < MOST_STALL));
}
