#include "media/ClipJoin.h"

#include <algorithm>
#include <utility>

#include "base/Times.h"

namespace {

/// A short recording may announce sound of which it holds nothing.
bool IsOnlyAnnounced(const AVCodecParameters& stAudio) {
    return stAudio.sample_rate == 0;
}

}  // namespace

BytesFunction CClipJoin::ProgressOf(const recording& stRecording, std::size_t nReadings) const {
    return [=, this, &stRecording](std::size_t nBytes) {
        m_stEvents.fnBytes(stRecording, nBytes / nReadings);
    };
}

void CClipJoin::TellGap(UtcTime tNext) const {
    const UtcTime tLast = m_bAnything ? m_tCovered : m_stRange.tStart;
    if (tNext > tLast + GAP_TOLERANCE) m_stEvents.fnGap({tLast, tNext});
}

/// A track holds one kind of stream.
bool CClipJoin::Fits(const recording& stRecording, const openMedia& stMedia) {
    const trackKind stKind(*stMedia.pStream->codecpar);
    if (!m_optVideo) m_optVideo = stKind;
    if (stKind.eCodec != m_optVideo->eCodec) {
        m_stEvents.fnFailure(stRecording.Path() + " is " +
                             (stMedia.eCodec == ECodec::H264 ? "H.264, the clip began as H.265"
                                                             : "H.265, the clip began as H.264") +
                             "; it is left out, export it on its own");
        return false;
    }
    if (stKind != *m_optVideo) {
        m_stEvents.fnNote("the picture's size changes from " + m_optVideo->Size() + " to " +
                          stKind.Size() + " at " + FormatTime(stRecording.tStart) +
                          "; not every player follows");
    }
    return true;
}

/// What sound that is only announced is like where a recording holds it; false: none does.
bool CClipJoin::FindAudioKind(AVCodecParameters& stAudio) const {
    for (const recording& st : m_vRecordings) {
        try {
            const openMedia stMedia = OpenMedia(st.Path(), &m_bStop, {.eAudio = EAudio::Yes});
            if (!stMedia.pAudio || IsOnlyAnnounced(*stMedia.pAudio->codecpar)) continue;
            return avcodec_parameters_copy(&stAudio, stMedia.pAudio->codecpar) >= 0;
        } catch (const CFailure&) {
            // It is told when its turn comes.
        }
    }
    return false;
}

/// Leaves out sound that is not of the clip's kind. A clip that begins without can get none later.
void CClipJoin::FitAudio(const recording& stRecording, openMedia& stMedia) {
    if (!stMedia.pAudio) return;
    const bool bBegun = m_objWriter.HasBegun();
    AVCodecParameters& stAudio = *stMedia.pAudio->codecpar;
    if (IsOnlyAnnounced(stAudio) && (bBegun || !FindAudioKind(stAudio))) stMedia.pAudio = nullptr;
    if (!bBegun || !stMedia.pAudio) return;
    const AVCodecParameters* pAudio = m_objWriter.Audio();
    if (pAudio && trackKind(*pAudio) == trackKind(stAudio)) return;
    stMedia.pAudio = nullptr;
    if (std::exchange(m_bAudioTold, true)) return;
    m_stEvents.fnNote("the sound that begins at " + FormatTime(stRecording.tStart) +
                      " is left out: the clip began " + (pAudio ? "with another kind" : "without") +
                      "; export it on its own");
}

/// Notes what a recording gave to the clip.
void CClipJoin::Cover(const recording& stRecording, UtcTime tBegin, UtcTime tEnd) {
    if (!m_bAnything) m_tBegin = tBegin;
    m_bAnything = true;
    m_tCovered = std::max(m_tCovered, tEnd);
    m_vUsed.push_back(&stRecording);
}

void CClipJoin::AddTimed(const recording& stRecording, openMedia& stMedia) {
    FitAudio(stRecording, stMedia);
    const auto optCovered = m_bAnything ? std::optional(m_tCovered) : std::nullopt;
    const auto optSpan =
        m_objTimed.Append(stMedia, stRecording.tStart, optCovered, ProgressOf(stRecording, 1));
    if (!optSpan) return;
    TellGap(optSpan->tBegin);
    Cover(stRecording, optSpan->tBegin, optSpan->tEnd);
}

void CClipJoin::Join(const recording& stRecording, const clipFrames& stFrames,
                     const fileTimes& stTimes) {
    const UtcTime tFrom = m_bAnything ? std::max(m_stRange.tStart, m_tCovered) : m_stRange.tStart;
    const auto SecondsIn = [&](UtcTime t) { return InSeconds(t - stTimes.tStart); };
    const frameRange stRange = SelectFrames(stFrames.vFrames, stFrames.vPlaces, stTimes.fStep,
                                            SecondsIn(tFrom), SecondsIn(m_stRange.tEnd));
    if (stRange.nFirst >= stRange.nEnd) return;
    const bool bContinues =
        m_bAnything && stRange.nFirst == 0 && stTimes.tStart <= m_tCovered + GAP_TOLERANCE;
    const UtcTime tBegin = stTimes.TimeOf(stFrames.vPlaces[stRange.nFirst]);
    m_objWriter.Append(stRecording.Path(), stFrames, stRange, stTimes.fStep, bContinues, tBegin,
                       ProgressOf(stRecording, 2), m_bStop);
    Cover(stRecording, tBegin, tBegin);
}

void CClipJoin::AddBare(const recording& stRecording, const openMedia& stMedia) {
    const auto optFrames = Try([&] { return ScanFrames(stMedia, ProgressOf(stRecording, 2)); });
    if (m_bStop || !optFrames) return;
    const timeSpan stSpan = stRecording.Span();
    const std::size_t nFrames = optFrames->vFrames.size();
    const bool bStamped = !optFrames->vStamped.empty();
    const fileTimes stTimes =
        TimesOf(nFrames, optFrames->vStamped, stSpan.tStart, stSpan.tEnd, optFrames->fRate);
    const UtcTime tEnd = bStamped ? stTimes.TimeOf(nFrames) : stSpan.tEnd;
    if (m_bAnything && tEnd <= m_tCovered) return;  // others hold all of it
    TellGap(stTimes.tStart);
    Join(stRecording, *optFrames, stTimes);
    m_objTimed.BreakOff();
    m_tCovered = std::max(m_tCovered, tEnd);
}

/// Nothing when the recording cannot be read; the clip goes on without it.
template <typename Function>
auto CClipJoin::Try(const Function& fnRead) -> std::optional<decltype(fnRead())> {
    try {
        return fnRead();
    } catch (const CFailure& error) {
        if (!m_bStop)
            m_stEvents.fnFailure(std::string(error.what()) + "; this recording is left out");
        return std::nullopt;
    }
}

void CClipJoin::Add(const recording& stRecording) {
    auto optMedia =
        Try([&] { return OpenMedia(stRecording.Path(), &m_bStop, {.eAudio = EAudio::Yes}); });
    if (m_bStop || !optMedia || !Fits(stRecording, *optMedia)) return;
    optMedia->IsTransport() ? AddTimed(stRecording, *optMedia) : AddBare(stRecording, *optMedia);
}

void CClipJoin::Run() {
    for (const recording& st : m_vRecordings) {
        Add(st);
        if (m_bStop) throw CFailure("stopped; nothing was written");
    }
    if (!m_bAnything) throw CNothingToShow("the recordings hold no key frame; nothing was written");
    TellGap(m_stRange.tEnd);
}
