#include "host/Backoff.h"

#include <algorithm>

namespace {

constexpr CBackoff::Span FIRST = std::chrono::seconds(1), LONGEST = std::chrono::seconds(30),
                         TAKES_BACK = std::chrono::seconds(12);
constexpr std::int64_t MOST_DOUBLINGS = 5;
static_assert(FIRST * (1 << MOST_DOUBLINGS) > LONGEST);
static_assert(MOST_DOUBLINGS * TAKES_BACK == std::chrono::minutes(1));

}  // namespace

CBackoff::Span CBackoff::Next(Span nRecorded, double fRandom) {
    m_nRecorded += nRecorded;
    m_nDoublings -= std::min(m_nDoublings, m_nRecorded / TAKES_BACK);
    m_nRecorded %= TAKES_BACK;
    const Span nWait = std::min(FIRST * (1 << m_nDoublings), LONGEST);
    m_nDoublings = std::min(m_nDoublings + 1, MOST_DOUBLINGS);
    return std::chrono::duration_cast<Span>(nWait * (0.9 + 0.2 * fRandom));
}
