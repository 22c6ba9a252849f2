#include "serve/Overview.h"

std::shared_ptr<const overview> COverview::Get(const std::vector<std::string>& vDirs) {
    const std::lock_guard lock(m_mutex);
    const auto tBegin = std::chrono::steady_clock::now();
    if (tBegin < m_tEnd && vDirs == m_vDirs) return m_pLatest;
    m_pLatest = std::make_shared<overview>(m_fnMake(vDirs));
    m_vDirs = vDirs;
    const auto tNow = std::chrono::steady_clock::now();
    m_tEnd = tNow + 10 * (tNow - tBegin);
    return m_pLatest;
}
