#include "media/Arrivals.h"

namespace {

constexpr std::size_t MOST_HELD = 16;  // pictures; a container that holds more tells wrong places

}  // namespace

UtcTime CArrivals::Of(std::int64_t nBegin, std::int64_t nRead, UtcTime tNow) {
    if (!m_dqReadings.empty() && nRead < m_dqReadings.back().nRead) m_dqReadings.clear();
    m_dqReadings.push_back({nRead, tNow});
    while (m_dqReadings.size() > MOST_HELD || m_dqReadings.front().nRead <= nBegin) {
        if (m_dqReadings.size() == 1) break;
        m_dqReadings.pop_front();
    }
    return m_dqReadings.front().tTime;
}
