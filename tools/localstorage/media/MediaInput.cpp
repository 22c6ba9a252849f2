#include "media/MediaInput.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/Failure.h"

namespace {

constexpr double USUAL_FRAME_RATE = 25;

/// The filter that turns length-prefixed units into a byte stream; byte streams pass through.
avPointer<AVBSFContext> OpenFilter(const openMedia& stMedia) {
    const char* pName = stMedia.eCodec == ECodec::H264 ? "h264_mp4toannexb" : "hevc_mp4toannexb";
    const AVStream& stStream = *stMedia.pStream;
    avPointer<AVBSFContext> pFilter;
    const int nResult = OpenFilter(pName, *stStream.codecpar, stStream.time_base, pFilter);
    if (nResult < 0) throw CFailure("cannot read " + stMedia.strName + ": " + AvErrorText(nResult));
    return pFilter;
}

Bytes ExtraOf(const AVCodecParameters& st) {
    return {st.extradata, static_cast<std::size_t>(st.extradata_size)};
}

Bytes BytesOf(const AVPacket& st) {
    return {st.data, static_cast<std::size_t>(st.size)};
}

/// When a packet was taken, as the sender reports of its camera say.
std::optional<UtcTime> CameraTimeOf(const AVPacket& stPacket) {
    std::size_t nSize = 0;
    const std::uint8_t* pData = av_packet_get_side_data(&stPacket, AV_PKT_DATA_PRFT, &nSize);
    AVProducerReferenceTime st;
    if (!pData || nSize < sizeof(st)) return std::nullopt;
    std::memcpy(&st, pData, sizeof(st));
    return UtcTime(std::chrono::microseconds(st.wallclock));
}

}  // namespace

bool NextPacket(const openMedia& stMedia, AVPacket& stPacket) {
    const bool bLive = stMedia.eSource == ESource::Live;
    for (;;) {
        av_packet_unref(&stPacket);
        stMedia.pGuard->Rearm();
        const int nResult = av_read_frame(stMedia.pFormat.get(), &stPacket);
        if (nResult == AVERROR_EOF || (nResult < 0 && stMedia.pGuard->IsStopped())) return false;
        if (nResult < 0) FailToRead(stMedia, nResult);
        stMedia.pGuard->Note(!bLive || stPacket.stream_index == stMedia.pStream->index);
        if (stMedia.Has(*stMedia.pFormat->streams[stPacket.stream_index])) return true;
        if (bLive && stMedia.HasChanged()) throw CFailure("the camera has changed its streams");
    }
}

void MendPacket(CTimeMender& objMender, ETrack eTrack, AVPacket& stPacket, std::int64_t nArrived) {
    const auto Known = [](std::int64_t n) {
        return n == AV_NOPTS_VALUE ? std::nullopt : std::optional(n);
    };
    const rawTimes stRaw{Known(stPacket.pts), Known(stPacket.dts), stPacket.duration};
    const packetTimes st = objMender.Mend(static_cast<std::size_t>(eTrack), stRaw, nArrived);
    stPacket.pts = st.nShow;
    stPacket.dts = st.nDecode;
}

std::optional<UtcTime> StampOf(const AVPacket& stPacket, ECodec eCodec) {
    if (!(stPacket.flags & AV_PKT_FLAG_KEY)) return std::nullopt;
    const Bytes stBytes = BytesOf(stPacket);
    return FindUtcStamp(stBytes.first(FirstSlicePlace(stBytes, eCodec)));
}

std::int64_t FrameLength(const AVStream& stVideo) {
    const AVRational stRate = stVideo.avg_frame_rate;
    return std::llround(TICKS / (stRate.num > 0 ? av_q2d(stRate) : USUAL_FRAME_RATE));
}

CMediaInput::CMediaInput(const std::string& strInput, const std::atomic<bool>* pStop,
                         const mediaOptions& stOptions, TroubleFunction fnTrouble)
    : m_fnTrouble(std::move(fnTrouble)),
      m_stMedia(OpenMedia(AddressOf(strInput), pStop, stOptions)),
      m_pFilter(OpenFilter(m_stMedia)),
      m_pPacket(av_packet_alloc()),
      m_nStreams(m_stMedia.pFormat->nb_streams) {
    m_optKeeper.emplace(m_stMedia.eCodec, ExtraOf(Parameters()));
    if (CBareVideo::IsBare(*m_stMedia.pFormat)) m_optBare.emplace(*m_stMedia.pStream->codecpar);
    if (m_stMedia.pAudio) OpenAudio();
    m_bAudioWanted = stOptions.eAudio == EAudio::Yes && !m_optAudio;
    const auto fnRead = [this](AVPacket& st) { return Read(st); };
    if (Source() != ESource::File) m_objBacklog.Read(fnRead, *m_stMedia.pStream);
}

void CMediaInput::OpenAudio() {
    try {
        m_optAudio.emplace(*m_stMedia.pAudio->codecpar);
    } catch (const CFailure& error) {
        TellOnce(std::string("its sound is left out: ") + error.what());
        m_stMedia.pAudio->discard = AVDISCARD_ALL;
        m_stMedia.pAudio = nullptr;
    }
}

void CMediaInput::TellOnce(const std::string& strTrouble) {
    if (!m_bToldTrouble && m_fnTrouble) m_fnTrouble(strTrouble);
    m_bToldTrouble = true;
}

/// What a file is about stands in front of its first key frame: sound cannot be added later.
void CMediaInput::LookForLateAudio() {
    const AVFormatContext& st = *m_stMedia.pFormat;
    for (; m_nStreams < st.nb_streams; ++m_nStreams) {
        const bool bAudio = st.streams[m_nStreams]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
        if (bAudio && m_bAudioWanted) TellOnce("its sound came too late and is left out");
    }
}

void CMediaInput::MendTimes(ETrack eTrack) {
    AVPacket& st = *m_pPacket;
    const bool bVideo = eTrack == ETrack::Video;
    const AVStream& stStream = bVideo ? *m_stMedia.pStream : *m_stMedia.pAudio;
    av_packet_rescale_ts(&st, stStream.time_base, {1, TICKS});
    if (st.duration == 0 && bVideo) st.duration = FrameLength(stStream);
    const std::chrono::duration<double> nNow = std::chrono::steady_clock::now().time_since_epoch();
    MendPacket(m_objMender, eTrack, st, static_cast<std::int64_t>(nNow.count() * TICKS));
}

/// Where a container tells no places, a parser holds each picture back until the next one begins.
void CMediaInput::NoteArrival(const AVPacket& stVideo) {
    AVIOContext* pIo = m_stMedia.pFormat->pb;
    const bool bPlaces = pIo && stVideo.pos >= 0;
    const int nHeld = av_stream_get_parser(m_stMedia.pStream) ? 1 : 0;
    const std::int64_t nBegin = bPlaces ? stVideo.pos : m_nPictures;
    const std::int64_t nRead = bPlaces ? avio_tell(pIo) : m_nPictures + nHeld + 1;
    ++m_nPictures;
    m_tCame = m_objArrivals.Of(nBegin, nRead, Now()) - m_stMedia.nDelay;
}

/// Of one that was held back until the pushed one came.
UtcTime CMediaInput::pushedPicture::ArrivalAt(std::int64_t nOtherDecode) const {
    return tCame - std::chrono::microseconds((nDecode - nOtherDecode) * 1000000 / TICKS);
}

/// The next packet, and when the latest picture came; nothing at the end.
std::optional<UtcTime> CMediaInput::Read(AVPacket& stPacket) {
    if (!NextPacket(m_stMedia, stPacket)) return std::nullopt;
    if (stPacket.stream_index == m_stMedia.pStream->index) NoteArrival(stPacket);
    return m_tCame;
}

/// Moves one packet from the container to its track.
void CMediaInput::ReadPacket() {
    std::optional<UtcTime> optCame;
    try {
        optCame = m_objBacklog.Next(*m_pPacket);
        if (!optCame) optCame = Read(*m_pPacket);
    } catch (const CFailure&) {
        m_pBroken = std::current_exception();
    }
    m_bEnded = !optCame;
    LookForLateAudio();
    if (m_bEnded) {
        if (m_optBare) m_optBare->Push(nullptr);
        if (m_optAudio) m_optAudio->Push(nullptr);
    } else if (m_pPacket->stream_index == m_stMedia.pStream->index) {
        MendTimes(ETrack::Video);
        m_stPushed = {*optCame, m_pPacket->dts};
        m_optBare ? m_optBare->Push(m_pPacket.get()) : PushVideo();
    } else {
        MendTimes(ETrack::Audio);
        if (!m_optAudio->Push(m_pPacket.get())) TellOnce("some of its sound cannot be used");
    }
}

void CMediaInput::PushVideo() {
    const int nResult = av_bsf_send_packet(m_pFilter.get(), m_pPacket.get());
    if (nResult >= 0) return;
    throw CFailure("cannot read " + m_stMedia.strName + ": " + AvErrorText(nResult));
}

bool CMediaInput::PullVideo() {
    if (m_optBare && m_optBare->Pull(*m_pPacket)) PushVideo();
    const int nResult = av_bsf_receive_packet(m_pFilter.get(), m_pPacket.get());
    if (nResult == AVERROR(EAGAIN) || nResult == AVERROR_EOF) return false;
    if (nResult < 0) {
        throw CFailure("cannot read " + m_stMedia.strName + ": " + AvErrorText(nResult));
    }
    m_stUnit.eTrack = ETrack::Video;
    m_stUnit.bKeyFrame = (m_pPacket->flags & AV_PKT_FLAG_KEY) != 0;
    m_stUnit.optCamera = CameraTimeOf(*m_pPacket);
    if (Source() != ESource::File) m_stUnit.optArrived = m_stPushed.ArrivalAt(m_pPacket->dts);
    m_stUnit.stBytes = m_optKeeper->Complete(BytesOf(*m_pPacket), m_stUnit.bKeyFrame);
    return true;
}

bool CMediaInput::PullAudio() {
    if (!m_optAudio || !m_optAudio->Pull(*m_pPacket)) return false;
    m_stUnit.eTrack = ETrack::Audio;
    m_stUnit.bKeyFrame = false;
    m_stUnit.optCamera.reset();
    m_stUnit.stBytes = BytesOf(*m_pPacket);
    return true;
}

const accessUnit* CMediaInput::Next() {
    for (;;) {
        av_packet_unref(m_pPacket.get());
        if (PullVideo() || PullAudio()) break;
        if (m_pBroken) std::rethrow_exception(std::exchange(m_pBroken, nullptr));
        if (m_bEnded) return nullptr;
        ReadPacket();
    }
    m_stUnit.stTimes = {m_pPacket->pts, m_pPacket->dts};
    m_stUnit.nLength = m_pPacket->duration;
    if (!m_optFirstTime) m_optFirstTime = m_pPacket->dts;
    m_stUnit.fTime = static_cast<double>(m_pPacket->dts - *m_optFirstTime) / TICKS;
    return &m_stUnit;
}

const AVCodecParameters* CMediaInput::AudioParameters() const {
    return m_optAudio ? &m_optAudio->Parameters() : nullptr;
}

std::uint64_t CMediaInput::Size() const {
    AVIOContext* pIo = m_stMedia.pFormat->pb;
    const std::int64_t nSize = pIo ? avio_size(pIo) : 0;
    return nSize > 0 ? static_cast<std::uint64_t>(nSize) : 0;
}

std::uint64_t CMediaInput::Position() const {
    AVIOContext* pIo = m_stMedia.pFormat->pb;
    const std::int64_t nPosition = pIo ? avio_tell(pIo) : 0;
    return nPosition > 0 ? static_cast<std::uint64_t>(nPosition) : 0;
}

std::optional<double> CMediaInput::Duration() const {
    const AVFormatContext& st = *m_stMedia.pFormat;
    // A duration that was only reckoned from the bit rate is a guess, and often a bad one.
    if (st.duration == AV_NOPTS_VALUE ||
        st.duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) {
        return std::nullopt;
    }
    return static_cast<double>(st.duration) / AV_TIME_BASE;
}

double MeasureDuration(const std::string& strInput, const std::atomic<bool>* pStop) {
    CMediaInput objInput(strInput, pStop);
    double fFirst = 0, fLast = 0;
    std::uint64_t nUnits = 0;
    while (const accessUnit* pUnit = objInput.Next()) {
        if (nUnits++ == 0) fFirst = pUnit->fTime;
        fLast = std::max(fLast, pUnit->fTime);
    }
    // The last picture lasts as long as the others did.
    return nUnits < 2
               ? 0
               : (fLast - fFirst) * static_cast<double>(nUnits) / static_cast<double>(nUnits - 1);
}
