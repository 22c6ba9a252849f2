#include "host/SnapshotTaker.h"

#include "base/Failure.h"
#include "media/Snapshot.h"

void CSnapshotTaker::Take(const accessUnit& stUnit, const AVCodecParameters& stParameters) {
    if (m_stPlan.nSnapshotEvery == Seconds(0)) return;
    if (stUnit.bKeyFrame) m_vKeyFrame.assign(stUnit.stBytes.begin(), stUnit.stBytes.end());
    const bool bDue = !m_optDue || Clock::now() >= *m_optDue;
    if (m_vKeyFrame.empty() || !bDue) return;
    m_optDue = Clock::now() + m_stPlan.nSnapshotEvery;
    try {
        Store(stParameters);
    } catch (const CFailure& error) {
        m_objListener.OnTrouble(m_stPlan.strCamera, std::string("no snapshot: ") + error.what() +
                                                        "; recording goes on");
    }
}

void CSnapshotTaker::Store(const AVCodecParameters& stParameters) {
    const std::vector<std::uint8_t> vJpeg = MakeJpeg(m_vKeyFrame, stParameters);
    char szPath[LOCALSTORAGE_PATH_SIZE] = {};
    if (!m_objHost.Engine().WriteImage(m_stPlan.strCamera.c_str(),
                                       reinterpret_cast<const char*>(vJpeg.data()),
                                       static_cast<unsigned>(vJpeg.size()), szPath)) {
        throw CFailure("it could not be stored, the disk is full or fails");
    }
    m_objListener.OnSnapshot(m_stPlan.strCamera, szPath, vJpeg.size());
}
