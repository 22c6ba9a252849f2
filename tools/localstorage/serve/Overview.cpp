#include "serve/Overview.h"

#include <utility>

#include "Catalogue/FolderInUse.h"

overview COverview::Make(std::vector<std::string> vDirs) const {
    const UtcTime tNow = Now();
    const auto pFound = std::make_shared<const found<recording>>(
        m_objSearch.RecordingsIn(vDirs, {.stExact = SinceMidnight(tNow)}));
    CFolderInUse objFolder({});
    const auto LookAt = [](const std::string& strDir) { return CFolderInUse({strDir}); };
    for (const CFolderInUse& objHere : m_objDisks.Ask(vDirs, LookAt)) objFolder.Add(objHere);
    overview st;
    st.vDisks = m_objDisks.Ask(vDirs, [=](const std::string& strDir) {
        return std::pair(strDir, StatusOfDisk(strDir, *pFound, objFolder));
    });
    st.mCameras = StatusOfCameras(pFound->vFound, tNow);
    st.mUnread = UnreadOf(st.vDisks);
    m_objSearch.NoteSilent(vDirs, st.mUnread);
    return st;
}

std::shared_ptr<const overview> COverview::Get(const std::vector<std::string>& vDirs) {
    const std::lock_guard lock(m_mutex);
    const auto tBegin = std::chrono::steady_clock::now();
    if (tBegin < m_tEnd && vDirs == m_vDirs) return m_pLatest;
    m_pLatest = std::make_shared<overview>(Make(vDirs));
    m_vDirs = vDirs;
    const auto tNow = std::chrono::steady_clock::now();
    m_tEnd = tNow + 10 * (tNow - tBegin);
    return m_pLatest;
}
