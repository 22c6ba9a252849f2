#include "media/TimedClip.h"

#include <algorithm>

#include "Catalogue/Coverage.h"
#include "base/Failure.h"

namespace {

using namespace std::chrono_literals;

/// By so much the clocks of two recordings that touch may differ.
constexpr auto CLOCK_ERROR = 1s;
/// Sound so far from the picture is none of it.
constexpr std::int64_t FARTHEST_SOUND = 10 * TICKS;

UtcTime::duration ToSpan(std::int64_t nTicks) {
    return UtcTime::duration(nTicks * 1000000 / TICKS);
}

std::int64_t ToTicks(UtcTime::duration nSpan) {
    return nSpan.count() / 1000000 * TICKS + nSpan.count() % 1000000 * TICKS / 1000000;
}

/// Moves a packet behind others.
void Keep(AVPacket& stPacket, std::vector<avPointer<AVPacket>>& vPackets) {
    vPackets.emplace_back(av_packet_alloc());
    av_packet_move_ref(vPackets.back().get(), &stPacket);
}

bool IsKey(const AVPacket& st) {
    return (st.flags & AV_PKT_FLAG_KEY) != 0;
}

}  // namespace

/// A recording while it is read.
struct CTimedClip::reading {
    const openMedia& stMedia;
    const UtcTime tStart;  ///< of the recording, where it does not tell itself
    const UtcTime tFrom;   ///< what is wanted of it begins here
    const bool bFurther;   ///< nothing in front of that is wanted again

    /// The latest key frame: when it is shown, and when it was taken.
    struct keyTime {
        std::int64_t nShow;
        UtcTime tTime;
    };
    std::optional<keyTime> optKey = {};
    unsigned nFrames = 0;
    bool bHolding = false;  ///< from a key frame on
    bool bEnded = false;    ///< the end of the range was reached
    bool bWhole = false;    ///< the clip holds what frames refer to that are shown before the first
    std::int64_t nFirst = 0;                      ///< when the first is shown
    std::vector<avPointer<AVPacket>> vHeld = {};  ///< until it is known what the clip begins with
    std::vector<avPointer<AVPacket>> vLate = {};  ///< shown behind the end, but perhaps needed
    std::optional<span> optSpan = {};             ///< of what went into the clip

    UtcTime TimeOf(const AVPacket& st) const {
        return optKey ? optKey->tTime + ToSpan(st.pts - optKey->nShow) : tStart;
    }
    UtcTime KeyTimeOf(const AVPacket& st) const {
        return StampOf(st, stMedia.eCodec).value_or(TimeOf(st));
    }
    bool IsVideo(const AVPacket& st) const { return st.stream_index == stMedia.pStream->index; }
};

packetTimes CTimedClip::Mend(const reading& st, const AVPacket& stPacket) {
    // Where the stamps of recordings do not fit, the wall time tells how far they lie apart.
    const std::int64_t nDelay = stPacket.pts - stPacket.dts;
    const std::int64_t nTaken = ToTicks(st.TimeOf(stPacket).time_since_epoch()) - nDelay;
    return m_objMender.Mend(0, {stPacket.pts, stPacket.dts, stPacket.duration}, nTaken);
}

/// The first frame that a recording gives.
void CTimedClip::BeginRecording(reading& st, const AVPacket& stFirst) {
    const UtcTime tTime = st.TimeOf(stFirst);
    const bool bGap = st.bFurther && tTime > st.tFrom + CLOCK_ERROR + GAP_TOLERANCE;
    if (bGap) m_bJoined = false;
    if (!m_bJoined) m_objMender = CTimeMender();
    st.nFirst = stFirst.pts;
    st.optSpan = {tTime, tTime};
    if (m_objWriter.HasBegun()) return;
    const AVStream* pAudio = st.stMedia.pAudio;
    m_objWriter.Begin(*st.stMedia.pStream->codecpar, pAudio ? pAudio->codecpar : nullptr, tTime);
}

void CTimedClip::WriteVideo(reading& st, AVPacket& stPacket) {
    const bool bFirst = !st.optSpan;
    if (!bFirst && !st.bWhole && stPacket.pts < st.nFirst) return;
    if (bFirst) BeginRecording(st, stPacket);
    const std::int64_t nShow = stPacket.pts, nLength = stPacket.duration;
    const UtcTime tEnd = st.TimeOf(stPacket) + ToSpan(nLength);
    const packetTimes stTimes = Mend(st, stPacket);
    const std::int64_t nOffset = stTimes.nShow - nShow;
    if (!m_bJoined) m_nZero = stTimes.nShow - m_objWriter.End();
    if (bFirst) st.bWhole = m_bJoined && nOffset == m_nOffset && st.nFrames == 1;
    m_bJoined = true;
    m_nOffset = nOffset;
    CClipWriter::SetTaken(stPacket, st.TimeOf(stPacket));
    m_objWriter.Write(ETrack::Video, stPacket, {stTimes.nShow - m_nZero, stTimes.nDecode - m_nZero},
                      nLength);
    st.optSpan->tEnd = std::max(st.optSpan->tEnd, tEnd);
}

void CTimedClip::WriteAudio(const reading& st, AVPacket& stPacket) {
    if (!m_objWriter.Audio()) return;
    const std::int64_t nShow = stPacket.pts + m_nOffset - m_nZero;
    const std::int64_t nLength = stPacket.duration;
    // To decode the first packet whole takes the one in front of it.
    const std::int64_t nRunUp = m_objWriter.AudioEnd() == 0 ? nLength : 0;
    const bool bBefore = !st.bWhole && stPacket.pts < st.nFirst - nRunUp;
    const bool bTwice = nRunUp == 0 && nShow < m_objWriter.AudioEnd() - nLength / 2;
    if (bBefore || bTwice || nShow < -nRunUp || nShow > m_objWriter.End() + FARTHEST_SOUND) return;
    m_objWriter.Write(ETrack::Audio, stPacket, {nShow, nShow}, nLength);
}

/// Writes what was held, its first frame in front.
void CTimedClip::Begin(reading& st) {
    const auto itFirst = std::find_if(st.vHeld.begin(), st.vHeld.end(),
                                      [&](const auto& p) { return st.IsVideo(*p); });
    std::rotate(st.vHeld.begin(), itFirst, itFirst + 1);
    for (const avPointer<AVPacket>& p : st.vHeld) {
        st.IsVideo(*p) ? WriteVideo(st, *p) : WriteAudio(st, *p);
    }
    st.vHeld.clear();
}

/// Holds frames until it is known with which key frame the clip, or the recording's part of it,
/// begins. False when this has been known and the frame is to be written.
bool CTimedClip::Hold(reading& st, AVPacket& stPacket) {
    if (IsKey(stPacket)) {
        const UtcTime tKey = st.KeyTimeOf(stPacket);
        if (tKey >= m_tTo) st.bEnded = true;
        if (st.bEnded || (st.bFurther && tKey < st.tFrom)) return true;
        if (st.bHolding && tKey > st.tFrom) {
            Begin(st);
            return false;
        }
        std::erase_if(st.vHeld, [&](const auto& p) {
            const bool bGoesOn = m_bJoined && st.nFrames == 1;
            return st.IsVideo(*p) || (!bGoesOn && p->pts < stPacket.pts - p->duration);
        });
        st.optKey = {stPacket.pts, tKey};
        st.bHolding = true;
    }
    if (!st.bHolding) return true;
    const bool bWanted = st.TimeOf(stPacket) + ToSpan(stPacket.duration) > st.tFrom;
    Keep(stPacket, st.vHeld);
    if (bWanted) Begin(st);
    return true;
}

void CTimedClip::TakeVideo(reading& st, AVPacket& stPacket) {
    ++st.nFrames;
    if (!st.optSpan && Hold(st, stPacket)) return;
    if (IsKey(stPacket)) st.optKey = {stPacket.pts, st.KeyTimeOf(stPacket)};
    const UtcTime tShow = st.TimeOf(stPacket);
    st.bEnded = tShow - ToSpan(stPacket.pts - stPacket.dts) >= m_tTo;
    if (st.bEnded) return;
    if (tShow >= m_tTo) return Keep(stPacket, st.vLate);
    for (const avPointer<AVPacket>& p : st.vLate) WriteVideo(st, *p);
    st.vLate.clear();
    WriteVideo(st, stPacket);
}

void CTimedClip::TakeAudio(reading& st, AVPacket& stPacket) {
    if (!st.optSpan) return Keep(stPacket, st.vHeld);
    if (st.TimeOf(stPacket) < m_tTo) WriteAudio(st, stPacket);
}

bool CTimedClip::ReadNext(const openMedia& stMedia, AVPacket& stPacket) const {
    try {
        return NextPacket(stMedia, stPacket);
    } catch (const CFailure& error) {
        m_fnTrouble(error.what());
        return false;
    }
}

std::optional<CTimedClip::span> CTimedClip::Append(const openMedia& stMedia, UtcTime tStart,
                                                   std::optional<UtcTime> optCovered,
                                                   const BytesFunction& fnBytes) {
    reading st{stMedia, tStart, optCovered ? *optCovered - CLOCK_ERROR : m_tFrom,
               optCovered.has_value()};
    const avPointer<AVPacket> pPacket(av_packet_alloc());
    CTimeMender objStamps;
    while (!st.bEnded && ReadNext(stMedia, *pPacket)) {
        fnBytes(static_cast<std::size_t>(pPacket->size));
        const AVStream& stStream = *stMedia.pFormat->streams[pPacket->stream_index];
        av_packet_rescale_ts(pPacket.get(), stStream.time_base, {1, TICKS});
        if (pPacket->duration == 0) pPacket->duration = FrameLength(stStream);
        // What damage or a camera did to stamps must neither end the clip nor stretch it.
        const bool bVideo = st.IsVideo(*pPacket);
        const ETrack eTrack = bVideo ? ETrack::Video : ETrack::Audio;
        MendPacket(objStamps, eTrack, *pPacket, 0);
        bVideo ? TakeVideo(st, *pPacket) : TakeAudio(st, *pPacket);
    }
    return st.optSpan;
}
