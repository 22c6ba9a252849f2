#include "media/MediaInput.h"

#include <algorithm>

#include "base/Failure.h"

namespace {

constexpr double USUAL_FRAME_RATE = 25;

/// The filter that turns length-prefixed units into a byte stream; byte streams pass through.
avPointer<AVBSFContext> OpenFilter(const openMedia& stMedia) {
    const char* pName = stMedia.eCodec == ECodec::H264 ? "h264_mp4toannexb" : "hevc_mp4toannexb";
    AVBSFContext* pFilter = nullptr;
    const AVBitStreamFilter* pKind = av_bsf_get_by_name(pName);
    int nResult = pKind ? av_bsf_alloc(pKind, &pFilter) : AVERROR_BSF_NOT_FOUND;
    avPointer<AVBSFContext> pOwner(pFilter);
    if (nResult >= 0) {
        pFilter->time_base_in = stMedia.pStream->time_base;
        nResult = avcodec_parameters_copy(pFilter->par_in, stMedia.pStream->codecpar);
    }
    if (nResult >= 0) nResult = av_bsf_init(pFilter);
    if (nResult < 0) throw CFailure("cannot read " + stMedia.strName + ": " + AvErrorText(nResult));
    return pOwner;
}

Bytes ExtraOf(const AVCodecParameters& st) {
    return {st.extradata, static_cast<std::size_t>(st.extradata_size)};
}

}  // namespace

bool NextPacket(const openMedia& stMedia, AVPacket& stPacket) {
    do {
        av_packet_unref(&stPacket);
        stMedia.pGuard->Rearm();
        const int nResult = av_read_frame(stMedia.pFormat.get(), &stPacket);
        if (nResult == AVERROR_EOF || (nResult < 0 && stMedia.pGuard->IsStopped())) return false;
        if (nResult < 0) FailToRead(stMedia, nResult);
    } while (stPacket.stream_index != stMedia.pStream->index);
    return true;
}

CMediaInput::CMediaInput(const std::string& strInput, const std::atomic<bool>* pStop,
                         const mediaOptions& stOptions)
    : m_stMedia(OpenMedia(AddressOf(strInput), pStop, stOptions)),
      m_pFilter(OpenFilter(m_stMedia)),
      m_pPacket(av_packet_alloc()) {
    m_optKeeper.emplace(m_stMedia.eCodec, ExtraOf(Parameters()));
}

/// Moves one packet from the container into the filter; false at the end.
bool CMediaInput::ReadPacket() {
    if (!NextPacket(m_stMedia, *m_pPacket)) return false;
    const int nResult = av_bsf_send_packet(m_pFilter.get(), m_pPacket.get());
    if (nResult < 0) {
        throw CFailure("cannot read " + m_stMedia.strName + ": " + AvErrorText(nResult));
    }
    return true;
}

double CMediaInput::TimeOf(const AVPacket& stPacket) {
    const std::int64_t nTime = stPacket.dts != AV_NOPTS_VALUE ? stPacket.dts : stPacket.pts;
    if (nTime == AV_NOPTS_VALUE) {
        const AVRational stRate = m_stMedia.pStream->avg_frame_rate;
        const double fRate = stRate.num > 0 ? av_q2d(stRate) : USUAL_FRAME_RATE;
        return static_cast<double>(m_nUnits) / fRate;
    }
    if (!m_optFirstTime) m_optFirstTime = nTime;
    return static_cast<double>(nTime - *m_optFirstTime) * av_q2d(m_stMedia.pStream->time_base);
}

const accessUnit* CMediaInput::Next() {
    for (;;) {
        av_packet_unref(m_pPacket.get());
        const int nResult = av_bsf_receive_packet(m_pFilter.get(), m_pPacket.get());
        if (nResult == 0) break;
        if (nResult != AVERROR(EAGAIN) && nResult != AVERROR_EOF) {
            throw CFailure("cannot read " + m_stMedia.strName + ": " + AvErrorText(nResult));
        }
        if (!ReadPacket()) return nullptr;
    }
    m_stUnit.bKeyFrame = (m_pPacket->flags & AV_PKT_FLAG_KEY) != 0;
    m_stUnit.fTime = TimeOf(*m_pPacket);
    m_stUnit.stBytes = m_optKeeper->Complete(
        {m_pPacket->data, static_cast<std::size_t>(m_pPacket->size)}, m_stUnit.bKeyFrame);
    ++m_nUnits;
    return &m_stUnit;
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
