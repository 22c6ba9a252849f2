#include "host/ServiceReport.h"

#include <algorithm>

#include "base/ServiceManager.h"
#include "base/Text.h"

CServiceReport::CServiceReport() : m_nWatchdog(WatchdogTime()) {
    TellServiceManager("READY=1");
}

void CServiceReport::BeginStop() {
    if (!m_bStopping) TellServiceManager("STOPPING=1");
    m_bStopping = true;
}

void CServiceReport::BeginReload() {
    TellServiceManager("RELOADING=1");
}

void CServiceReport::EndReload() {
    TellServiceManager("READY=1");
}

void CServiceReport::Update(CCameraSet& objCameras) {
    const auto vCameras = objCameras.Status();
    const auto nConnected =
        std::count_if(vCameras.begin(), vCameras.end(),
                      [](const liveCamera& st) { return st.eState == ECameraState::Connected; });
    const std::string strStatus =
        std::to_string(nConnected) + " of " + Count(vCameras.size(), "camera") + " connected";
    if (strStatus != m_strStatus) TellServiceManager("STATUS=" + strStatus);
    m_strStatus = strStatus;

    const auto tNow = Clock::now();
    if (m_nWatchdog == Clock::duration::zero() || tNow - m_tFed < m_nWatchdog / 4) return;
    if (objCameras.LongestSilence() > m_nWatchdog / 2) return;
    TellServiceManager("WATCHDOG=1");
    m_tFed = tNow;
}
