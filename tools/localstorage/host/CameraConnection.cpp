#include "host/CameraConnection.h"

#include "base/Failure.h"

namespace {

/// A file that is read faster than it was filmed has no other time than its own.
std::optional<UtcTime> StartOf(const cameraPlan& stPlan, ESource eSource) {
    if (eSource != ESource::File || stPlan.bRealTime) return std::nullopt;
    return Now();
}

}  // namespace

CCameraConnection::CCameraConnection(const cameraPlan& stPlan, CHost& objHost,
                                     CSnapshotTaker& objSnapshots, void* pUser,
                                     const std::atomic<bool>& bStop, TroubleFunction fnTrouble)
    : m_stPlan(stPlan),
      m_objHost(objHost),
      m_objSnapshots(objSnapshots),
      m_pUser(pUser),
      m_objInput(stPlan.strInput, &bStop, stPlan.stOptions, std::move(fnTrouble)),
      m_objWriter(stPlan.stForm, m_objInput, StartOf(stPlan, Source())),
      m_objPacer(stPlan.bRealTime && Source() == ESource::File, bStop) {}

CCameraConnection::~CCameraConnection() {
    EndFile();
}

/// A camera that sends only sound so far has not come back yet.
const accessUnit* CCameraConnection::NextWanted() {
    const accessUnit* pUnit = m_objInput.Next();
    while (pUnit && pUnit->eTrack == ETrack::Audio && !m_optChannel) pUnit = m_objInput.Next();
    return pUnit;
}

std::optional<std::size_t> CCameraConnection::RecordNext() {
    const accessUnit* pUnit = NextWanted();
    if (!pUnit) return std::nullopt;
    if (Source() == ESource::Live && HasChangedCodec(*pUnit)) {
        throw CFailure("the camera has changed its codec");
    }
    if (!m_objPacer.WaitFor(pUnit->fTime)) return std::nullopt;
    const bool bAnother = BeginsAnotherStream(*pUnit);
    if (bAnother || !m_optChannel) BeginFile();
    const Bytes stBytes = m_objWriter.Make(*pUnit);
    const bool bWritten = !stBytes.empty() && m_optChannel->Write(stBytes);
    m_objSnapshots.Take(*pUnit, m_objInput.Parameters());
    return bWritten ? stBytes.size() : 0;
}

/// FFmpeg goes on with the codec that it found at first, whatever comes.
bool CCameraConnection::HasChangedCodec(const accessUnit& stUnit) const {
    const ECodec eCodec = m_objInput.Codec();
    if (stUnit.eTrack != ETrack::Video) return false;
    return m_objInput.HasChanged() || CodecOf(stUnit.stBytes, eCodec) != eCodec;
}

void CCameraConnection::EndFile() {
    const Bytes stRest = m_objWriter.TakeRest();
    if (m_optChannel && !stRest.empty()) m_optChannel->Write(stRest);
    m_optChannel.reset();
}

void CCameraConnection::BeginFile() {
    EndFile();  // before the next is opened: a camera has one at a time
    m_optChannel.emplace(m_objHost, m_stPlan.strCamera, m_pUser, recFileInfo());
    m_objSnapshots.BeginStream();
}

/// Parameter sets that are only repeated, in whatever order, begin nothing.
bool CCameraConnection::BeginsAnotherStream(const accessUnit& stUnit) {
    if (!stUnit.bKeyFrame) return false;
    auto setNew = ParameterSetsOf(stUnit.stBytes, m_objInput.Codec());
    if (setNew.empty() || setNew == m_setParameters) return false;
    m_setParameters.swap(setNew);
    return !setNew.empty();  // what stood there before
}
