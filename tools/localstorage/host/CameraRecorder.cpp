#include "host/CameraRecorder.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <utility>

#include "base/Failure.h"
#include "base/Text.h"
#include "host/CameraConnection.h"

namespace {

/// Reasons with numbers in them would never end.
constexpr std::size_t MOST_REASONS = 8;

cameraPlan WithHeartbeat(cameraPlan stPlan, CHeartbeat& objHeartbeat) {
    stPlan.stOptions.pHeartbeat = &objHeartbeat;
    return stPlan;
}

}  // namespace

CCameraRecorder::CCameraRecorder(cameraPlan stPlan, CHost& objHost, CCameraListener& objListener)
    : m_stPlan(WithHeartbeat(std::move(stPlan), m_objHeartbeat)),
      m_objHost(objHost),
      m_objListener(objListener),
      m_objSnapshots(m_stPlan, objHost, objListener),
      m_thread([this] { Run(); }) {}

CCameraRecorder::~CCameraRecorder() {
    Stop();
    m_thread.join();
}

void CCameraRecorder::Run() {
    while (TryOnce()) continue;
    const char* pReason = m_bFailed ? "failed" : m_bStop ? "stopped" : "end of input";
    SetState(ECameraState::Ended, m_bFailed ? "failed" : "ended");
    Tell(ECameraState::Ended, pReason);
    m_bDone = true;
}

/// False when it was the last one. A camera that stays away is not told every time.
bool CCameraRecorder::TryOnce() {
    const unsigned nTry = ++m_nTries;
    m_objHeartbeat.Beat();
    SetState(
        ECameraState::Connecting,
        nTry == 1 ? "connecting" : "connecting, try " + std::to_string(nTry) + ": " + m_strWhy);
    if (std::has_single_bit(nTry)) Tell(ECameraState::Connecting, m_strWhy);
    try {
        Record();
        if (m_bStop || !ComesBack()) return false;
        return GoDown(ECameraState::Lost, "the stream ended");
    } catch (const CSilence& error) {
        return GoDown(ECameraState::Stalled, error.what());
    } catch (const std::exception& error) {
        return GoDown(ECameraState::Lost, error.what());
    }
}

void CCameraRecorder::Record() {
    // An address that cannot be read just now may be there at the next try.
    m_eSource = ESource::Live;
    m_eSource = SourceOf(AddressOf(m_stPlan.strInput));
    // Told once, however often the camera comes back.
    const auto fnTrouble = [this](const std::string& str) {
        if (std::exchange(m_strToldTrouble, str) == str) return;
        m_objListener.OnTrouble(m_stPlan.strCamera, str);
    };
    CCameraConnection objConnection(m_stPlan, m_objHost, m_objSnapshots, this, m_bStop, fnTrouble);
    m_eSource = objConnection.Source();
    while (const auto optWritten = objConnection.RecordNext()) Note(*optWritten);
}

void CCameraRecorder::Note(std::size_t nWritten) {
    m_objHeartbeat.Beat();
    if (nWritten > 0) m_tLastWrite = std::chrono::system_clock::now();
    m_nBytes += nWritten;
    m_nFileBytes += nWritten;
    if (m_optConnected) return;
    m_optConnected = Clock::now();
    ++m_nConnections;
    SetState(ECameraState::Connected, "");
    Tell(ECameraState::Connected);
    m_nTries = 0;
    m_strWhy.clear();
    m_setToldReasons.clear();
}

bool CCameraRecorder::ComesBack() const {
    return m_stPlan.bRetry || m_eSource == ESource::Live || m_eSource == ESource::Web;
}

/// Tells why, and waits; false when there is no other try.
bool CCameraRecorder::GoDown(ECameraState eState, const std::string& strWhy) {
    if (m_bStop) return false;
    if (!ComesBack()) {
        m_bFailed = true;
        m_objListener.OnTrouble(m_stPlan.strCamera, strWhy);
        return false;
    }
    const auto tNow = Clock::now();
    const auto nRecorded = tNow - m_optConnected.value_or(tNow);
    const CBackoff::Span nWait =
        m_objBackoff.Next(std::chrono::duration_cast<CBackoff::Span>(nRecorded),
                          std::generate_canonical<double, 32>(m_objRandom));
    m_optConnected.reset();
    m_strWhy = strWhy;
    SetState(eState, (eState == ECameraState::Stalled ? "stalled: " : "lost: ") + strWhy);
    if (m_setToldReasons.size() < MOST_REASONS && m_setToldReasons.insert(strWhy).second) {
        Tell(eState, strWhy, nWait);
    }
    for (const auto tDue = tNow + nWait; !m_bStop && Clock::now() < tDue;) {
        m_objHeartbeat.Beat();
        WaitUntil(std::min(tDue, Clock::now() + std::chrono::seconds(1)), m_bStop);
    }
    return !m_bStop;
}

void CCameraRecorder::Tell(ECameraState eState, const std::string& strWhy, CBackoff::Span nWait) {
    m_objListener.OnChange({m_stPlan.strCamera,
                            eState,
                            strWhy,
                            {m_nTries, m_nConnections, m_nBytes, m_nFiles},
                            nWait});
}

void CCameraRecorder::SetState(ECameraState eState, const std::string& strShown) {
    const std::lock_guard stLock(m_mtxShown);
    m_eState = eState;
    m_strState = strShown;
}

liveCamera CCameraRecorder::Status() {
    const std::lock_guard stLock(m_mtxShown);
    return {m_stPlan.strCamera, m_eState, cameraCounts{0, m_nConnections}.Reconnections(),
            m_nBytes,           m_nFiles, m_tLastWrite};
}

void CCameraRecorder::OnFileCreated(const std::string& strPath) {
    const std::lock_guard stLock(m_mtxShown);
    m_strFile = strPath.substr(strPath.rfind('/') + 1);
    m_nFileBytes = 0;
    ++m_nFiles;
}

double CCameraRecorder::Rate() {
    const double fSeconds = std::chrono::duration<double>(Clock::now() - m_tShown).count();
    if (fSeconds >= 1) {
        const std::uint64_t nBytes = m_nBytes;
        m_fRate = static_cast<double>(nBytes - m_nShownBytes) / fSeconds;
        m_nShownBytes = nBytes;
        m_tShown = Clock::now();
    }
    return m_fRate;
}

std::string CCameraRecorder::LiveLine() {
    const std::lock_guard stLock(m_mtxShown);
    std::string strLine = "  " + PadToWidth(m_stPlan.strCamera, 12) + " ";
    if (!m_strState.empty()) return strLine + m_strState;
    char szText[128];
    std::snprintf(
        szText, sizeof(szText), "  %10s  %10s/s  %10s in all", FormatBytes(m_nFileBytes).c_str(),
        FormatBytes(static_cast<std::uint64_t>(Rate())).c_str(), FormatBytes(m_nBytes).c_str());
    return strLine + m_strFile + szText;
}
