#include "host/CameraRecorder.h"

#include <cstdio>

#include "base/Failure.h"
#include "base/Text.h"
#include "host/Pacer.h"
#include "media/Snapshot.h"

CCameraRecorder::CCameraRecorder(cameraPlan stPlan, CHost& objHost, CCameraListener& objListener,
                                 const std::atomic<bool>& bStop)
    : m_stPlan(std::move(stPlan)),
      m_objHost(objHost),
      m_objListener(objListener),
      m_bStop(bStop),
      m_thread([this] { Run(); }) {}

void CCameraRecorder::Run() {
    try {
        Record();
    } catch (const std::exception& error) {
        m_bFailed = true;
        m_objListener.OnTrouble(m_stPlan.strCamera, error.what());
    }
    TellEnd();
    m_bDone = true;
}

void CCameraRecorder::Record() {
    CMediaInput objInput(m_stPlan.strInput, &m_bStop);
    CHostChannel objChannel(m_objHost, m_stPlan.strCamera, this, recFileInfo());
    CPacer objPacer(m_stPlan.bRealTime, m_bStop);
    while (const accessUnit* pUnit = objInput.Next()) {
        objPacer.WaitFor(pUnit->fTime);
        if (m_bStop) return;
        Write(objChannel, *pUnit);
        TakeSnapshot(*pUnit, objInput.Parameters());
    }
}

void CCameraRecorder::Write(CHostChannel& objChannel, const accessUnit& stUnit) {
    // A failed write has been told by the engine's message; the next picture tries again.
    if (!objChannel.Write(stUnit.stBytes)) return;
    m_nBytes += stUnit.stBytes.size();
    m_nFileBytes += stUnit.stBytes.size();
}

void CCameraRecorder::TakeSnapshot(const accessUnit& stUnit,
                                   const AVCodecParameters& stParameters) {
    if (m_stPlan.nSnapshotEvery == Seconds(0)) return;
    if (stUnit.bKeyFrame) m_vKeyFrame.assign(stUnit.stBytes.begin(), stUnit.stBytes.end());
    const bool bDue = !m_optSnapshot || Clock::now() >= *m_optSnapshot;
    if (m_vKeyFrame.empty() || !bDue) return;
    m_optSnapshot = Clock::now() + m_stPlan.nSnapshotEvery;
    try {
        StoreSnapshot(stParameters);
    } catch (const CFailure& error) {
        m_objListener.OnTrouble(m_stPlan.strCamera, std::string("no snapshot: ") + error.what() +
                                                        "; recording goes on");
    }
}

void CCameraRecorder::StoreSnapshot(const AVCodecParameters& stParameters) {
    const std::vector<std::uint8_t> vJpeg = MakeJpeg(m_vKeyFrame, stParameters);
    char szPath[LOCALSTORAGE_PATH_SIZE] = {};
    if (!m_objHost.Engine().WriteImage(m_stPlan.strCamera.c_str(),
                                       reinterpret_cast<const char*>(vJpeg.data()),
                                       static_cast<unsigned>(vJpeg.size()), szPath)) {
        throw CFailure("it could not be stored, the disk is full or fails");
    }
    m_objListener.OnSnapshot(m_stPlan.strCamera, szPath, vJpeg.size());
}

void CCameraRecorder::TellEnd() {
    const std::string strWhy = m_bFailed ? "failed" : m_bStop ? "stopped" : "end of input";
    m_objListener.OnEnded(m_stPlan.strCamera, {strWhy, m_nBytes, m_nFiles});
}

void CCameraRecorder::OnFileCreated(const std::string& strPath) {
    const std::lock_guard stLock(m_mtxFile);
    m_strFile = strPath.substr(strPath.rfind('/') + 1);
    m_nFileBytes = 0;
    ++m_nFiles;
}

std::string CCameraRecorder::CurrentFile() {
    const std::lock_guard stLock(m_mtxFile);
    return m_strFile;
}

std::string CCameraRecorder::LiveLine() {
    const std::string strFile = CurrentFile();
    char szText[256];
    if (m_bDone || strFile.empty()) {
        const char* pState = m_bFailed ? "failed" : m_bDone ? "ended" : "opening";
        std::snprintf(szText, sizeof(szText), "  %-12s %s", m_stPlan.strCamera.c_str(), pState);
        return szText;
    }
    const double fSeconds = std::chrono::duration<double>(Clock::now() - m_tShown).count();
    if (fSeconds >= 1) {
        const std::uint64_t nBytes = m_nBytes;
        m_fRate = static_cast<double>(nBytes - m_nShownBytes) / fSeconds;
        m_nShownBytes = nBytes;
        m_tShown = Clock::now();
    }
    std::snprintf(szText, sizeof(szText), "  %-12s %s  %10s  %10s/s  %10s in all",
                  m_stPlan.strCamera.c_str(), strFile.c_str(), FormatBytes(m_nFileBytes).c_str(),
                  FormatBytes(static_cast<std::uint64_t>(m_fRate)).c_str(),
                  FormatBytes(m_nBytes).c_str());
    return szText;
}
