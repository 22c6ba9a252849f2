#include "media/StreamWriter.h"

#include "base/Failure.h"

CStreamWriter::CStreamWriter(const streamForm& stForm, const CMediaInput& objInput,
                             std::optional<UtcTime> optStart)
    : m_eCodec(objInput.Codec()), m_bStamps(stForm.bStamps), m_objClock(optStart) {
    if (stForm.IsTransport()) {
        m_optTransport.emplace(objInput.Parameters(), objInput.AudioParameters());
    }
}

/// The bytes of a picture; a key frame's with its time.
Bytes CStreamWriter::Stamp(const accessUnit& stUnit) {
    const UtcTime tTaken = m_objClock.TimeOf(stUnit.stTimes.nShow,
                                             stUnit.optArrived.value_or(Now()), stUnit.optCamera);
    if (!m_bStamps || !stUnit.bKeyFrame) return stUnit.stBytes;
    InsertAt(stUnit.stBytes, FirstSlicePlace(stUnit.stBytes, m_eCodec),
             MakeUtcStamp(m_eCodec, tTaken), m_vStamped);
    return m_vStamped;
}

Bytes CStreamWriter::Make(const accessUnit& stUnit) {
    accessUnit st = stUnit;
    if (st.eTrack == ETrack::Video) st.stBytes = Stamp(st);
    if (!m_optTransport) return st.stBytes;
    try {
        return m_optTransport->Pack(st);
    } catch (const CFailure&) {
        if (st.eTrack == ETrack::Video) throw;
        return {};  // no picture is lost for sound that is damaged
    }
}

Bytes CStreamWriter::TakeRest() {
    return m_optTransport ? m_optTransport->TakeRest() : Bytes();
}
