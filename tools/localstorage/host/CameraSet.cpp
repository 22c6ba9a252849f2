#include "host/CameraSet.h"

#include <algorithm>

void CCameraSet::Take(const std::vector<cameraPlan>& vPlans) {
    const auto IsWanted = [&](const camera& st) {
        return std::find(vPlans.begin(), vPlans.end(), st.stPlan) != vPlans.end();
    };
    {
        std::list<camera> lsUnwanted;
        {
            const std::lock_guard lock(m_mtx);
            for (auto it = m_lsCameras.begin(); it != m_lsCameras.end();) {
                const auto itThis = it++;
                if (IsWanted(*itThis)) continue;
                itThis->objRecorder.Stop();
                lsUnwanted.splice(lsUnwanted.end(), m_lsCameras, itThis);
            }
        }
    }  // their files are closed
    const std::lock_guard lock(m_mtx);
    for (const cameraPlan& stPlan : vPlans) {
        const bool bRecorded = std::any_of(m_lsCameras.begin(), m_lsCameras.end(),
                                           [&](const camera& st) { return st.stPlan == stPlan; });
        if (!bRecorded) m_lsCameras.emplace_back(stPlan, m_objHost, m_objListener);
    }
}

void CCameraSet::Stop() {
    const std::lock_guard lock(m_mtx);
    for (camera& st : m_lsCameras) st.objRecorder.Stop();
}

bool CCameraSet::IsDone() {
    const std::lock_guard lock(m_mtx);
    return std::all_of(m_lsCameras.begin(), m_lsCameras.end(),
                       [](const camera& st) { return st.objRecorder.IsDone(); });
}

bool CCameraSet::HasFailed() {
    const std::lock_guard lock(m_mtx);
    return std::any_of(m_lsCameras.begin(), m_lsCameras.end(),
                       [](const camera& st) { return st.objRecorder.HasFailed(); });
}

bool CCameraSet::LacksCamera() {
    const std::lock_guard lock(m_mtx);
    return std::any_of(m_lsCameras.begin(), m_lsCameras.end(),
                       [](const camera& st) { return !st.objRecorder.HasBroughtPictures(); });
}

std::vector<std::string> CCameraSet::LiveLines() {
    const std::lock_guard lock(m_mtx);
    std::vector<std::string> vLines;
    for (camera& st : m_lsCameras) vLines.push_back(st.objRecorder.LiveLine());
    return vLines;
}

std::vector<liveCamera> CCameraSet::Status() {
    const std::lock_guard lock(m_mtx);
    std::vector<liveCamera> vStatus;
    for (camera& st : m_lsCameras) vStatus.push_back(st.objRecorder.Status());
    return vStatus;
}

CHeartbeat::Clock::duration CCameraSet::LongestSilence() {
    const std::lock_guard lock(m_mtx);
    CHeartbeat::Clock::duration nLongest{0};
    for (const camera& st : m_lsCameras) {
        if (!st.objRecorder.IsDone()) nLongest = std::max(nLongest, st.objRecorder.Silence());
    }
    return nLongest;
}
