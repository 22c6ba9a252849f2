#include "host/Backoff.h"

#include <algorithm>

namespace {

constexpr CBackoff::Span FIRST = std::chrono::seconds(1), LONGEST = std::chrono::seconds(30),
                         GOOD = std::chrono::minutes(1);
constexpr unsigned MOST_DOUBLINGS = 5;
static_assert(FIRST * (1 << MOST_DOUBLINGS) > LONGEST);

}  // namespace

CBackoff::Span CBackoff::Next(Span nRecorded, double fRandom) {
    m_nRecorded += nRecorded;
    if (m_nRecorded >= GOOD) *this = CBackoff();
    const Span nWait = std::min(FIRST * (1 << m_nWaits), LONGEST);
    m_nWaits = std::min(m_nWaits + 1, MOST_DOUBLINGS);
    return std::chrono::duration_cast<Span>(nWait * (0.9 + 0.2 * fRandom));
}
