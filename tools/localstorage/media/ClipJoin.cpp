#include "media/ClipJoin.h"

#include <algorithm>
#include <utility>

#include "base/Times.h"
#include "media/FrameParser.h"

namespace {

/// A key frame and what needs it, while they come.
struct frameGroup {
    clipFrames stFrames;
    std::vector<avPointer<AVPacket>> vPackets;

    void Add(AVPacket& stPacket, const codedFrame& stFrame) {
        stFrames.vFrames.push_back(stFrame);
        vPackets.emplace_back(av_packet_alloc());
        av_packet_move_ref(vPackets.back().get(), &stPacket);
    }
    PacketFunction Packets() {
        return [this, n = std::size_t(0)](AVPacket& st) mutable {
            if (n == vPackets.size()) return false;
            av_packet_unref(&st);
            av_packet_move_ref(&st, vPackets[n++].get());
            return true;
        };
    }
};

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
    if (!m_optVideo || !m_bAnything) m_optVideo = stKind;
    if (stKind.eCodec != m_optVideo->eCodec) {
        m_bEnded = m_eOtherCodec == EOtherCodec::Ends;
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

void CClipJoin::Join(const recording& stRecording, const AVCodecParameters& stVideo,
                     const clipFrames& stFrames, const fileTimes& stTimes,
                     const PacketFunction& fnNext) {
    const UtcTime tFrom = m_bAnything ? std::max(m_stRange.tStart, m_tCovered) : m_stRange.tStart;
    const auto SecondsIn = [&](UtcTime t) { return InSeconds(t - stTimes.tStart); };
    const frameRange stRange = SelectFrames(stFrames.vFrames, stFrames.vPlaces, stTimes.fStep,
                                            SecondsIn(tFrom), SecondsIn(m_stRange.tEnd));
    if (stRange.nFirst >= stRange.nEnd) return;
    const bool bContinues =
        m_bAnything && stRange.nFirst == 0 && stTimes.tStart <= m_tCovered + GAP_TOLERANCE;
    const UtcTime tBegin = stTimes.TimeOf(stFrames.vPlaces[stRange.nFirst]);
    m_objWriter.Append(stVideo, fnNext, stFrames, stRange, stTimes.fStep, bContinues, tBegin);
    Cover(stRecording, tBegin, tBegin);
}

void CClipJoin::AddBare(const recording& stRecording, const openMedia& stMedia) {
    auto optFrames = Try([&] { return ScanFrames(stMedia, ProgressOf(stRecording, 2)); });
    if (m_bStop || !optFrames) return;
    const timeSpan stSpan = stRecording.Span();
    const std::size_t nFrames = optFrames->vFrames.size();
    const bool bStamped = !optFrames->vStamped.empty();
    const fileTimes stTimes =
        TimesOf(nFrames, optFrames->vStamped, stSpan.tStart, stSpan.tEnd, optFrames->fRate);
    const bool bGrows = Grows(stRecording, stMedia);
    if (bGrows) optFrames->CutToWholeGroups();
    const std::size_t nWhole = optFrames->vFrames.size();
    const UtcTime tEnd = bStamped || bGrows ? stTimes.TimeOf(nWhole) : stSpan.tEnd;
    if (!bGrows && m_bAnything && tEnd <= m_tCovered) return;  // others hold all of it
    const auto optAgain = Try([&] { return Open(stRecording, EAudio::No); });
    if (!optAgain) return;
    std::size_t nRead = 0;
    const auto Next = [&](AVPacket& st) {
        const bool bNext = NextPacket(*optAgain, st);
        nRead += bNext;
        m_stEvents.fnBytes(stRecording, static_cast<std::size_t>(st.size) / 2);
        return bNext;
    };
    TellGap(stTimes.tStart);
    if (!bGrows || tEnd > m_stRange.tStart) {
        Join(stRecording, *stMedia.pStream->codecpar, *optFrames, stTimes, Next);
    }
    m_tCovered = std::max(m_tCovered, tEnd);
    if (bGrows) {
        const avPointer<AVPacket> pKnown(av_packet_alloc());
        while (nRead < nWhole && Next(*pKnown)) {
        }
        AddGrowing(stRecording, stMedia, {tEnd, stTimes.fStep}, Next);
    }
    m_objTimed.BreakOff();
}

/// Goes on with a recording of bare video while it is written, group by group.
void CClipJoin::AddGrowing(const recording& stRecording, const openMedia& stMedia,
                           fileTimes stTimes, const PacketFunction& fnNext) {
    const AVCodecParameters& stVideo = *stMedia.pStream->codecpar;
    CFrameParser objParser(stVideo);
    frameGroup stGroup;
    const avPointer<AVPacket> pPacket(av_packet_alloc());
    for (bool bMore = true; bMore && stTimes.tStart < m_stRange.tEnd;) {
        bMore = fnNext(*pPacket);
        const bool bKey = bMore && (pPacket->flags & AV_PKT_FLAG_KEY) != 0;
        if (!stGroup.vPackets.empty() && (bKey || !bMore)) {
            const std::size_t nFrames = stGroup.vPackets.size();
            const UtcTime tEnd = stTimes.TimeOf(nFrames);
            if (tEnd > m_stRange.tStart) {
                stGroup.stFrames.vPlaces = DisplayPlaces(stGroup.stFrames.vFrames);
                Join(stRecording, stVideo, stGroup.stFrames, stTimes, stGroup.Packets());
            }
            stTimes.tStart = tEnd;
            m_tCovered = std::max(m_tCovered, tEnd);
            stGroup = {};
        }
        if (bKey) stTimes.tStart = StampOf(*pPacket, stMedia.eCodec).value_or(stTimes.tStart);
        if (bMore) stGroup.Add(*pPacket, objParser.Look(*pPacket));
    }
}

bool CClipJoin::Grows(const recording& stRecording, const openMedia& stMedia) const {
    return stMedia.pFile && m_stGrowth.fnGrows(stRecording, stMedia.pFile->LastChange());
}

openMedia CClipJoin::Open(const recording& st, EAudio eAudio) const {
    mediaOptions stOptions{.eAudio = eAudio};
    std::unique_ptr<CRecordingFile> pFile;
    if (m_stGrowth.fnGrows) {
        const auto Grows = [this, &st](UtcTime tChange) { return m_stGrowth.fnGrows(st, tChange); };
        pFile = std::make_unique<CRecordingFile>(st.Path(), Grows, m_bStop);
        // Nobody shall wait longer until it is known what a recording holds that has just begun.
        if (Grows(pFile->LastChange())) stOptions.vForInput = {{"analyzeduration", "500000"}};
    }
    return OpenMedia(st.Path(), &m_bStop, stOptions, std::move(pFile));
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
    auto optMedia = Try([&] { return Open(stRecording, EAudio::Yes); });
    if (m_bStop || !optMedia || !Fits(stRecording, *optMedia)) return;
    if (optMedia->IsTransport()) return AddTimed(stRecording, *optMedia);
    optMedia->pAudio = nullptr;
    // The first of two readings finds what is there.
    if (optMedia->pFile) optMedia->pFile->EndWhereItEnds();
    AddBare(stRecording, *optMedia);
}

void CClipJoin::Run() {
    for (const recording& st : m_vRecordings) {
        if (!m_bStop && !m_bEnded) Add(st);
    }
    while (auto optNext = m_bStop || m_bEnded ? std::nullopt : m_stGrowth.fnNext()) {
        Add(m_lsFollowing.emplace_back(*std::move(optNext)));
    }
    if (m_bStop) throw CFailure("stopped; nothing was written");
    if (!m_bAnything) throw CNothingToShow("the recordings hold no key frame; nothing was written");
    TellGap(m_stRange.tEnd);
}
