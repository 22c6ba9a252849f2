#include "media/AudioTrack.h"

#include <algorithm>

#include "base/Failure.h"

namespace {

bool IsStoredAsItIs(AVCodecID eCodec) {
    constexpr AVCodecID KINDS[] = {AV_CODEC_ID_AAC, AV_CODEC_ID_MP2, AV_CODEC_ID_MP3,
                                   AV_CODEC_ID_AC3, AV_CODEC_ID_OPUS};
    return std::find(std::begin(KINDS), std::end(KINDS), eCodec) != std::end(KINDS);
}

}  // namespace

CAudioTrack::CAudioTrack(const AVCodecParameters& stParameters)
    : m_stParameters(stParameters), m_pWaiting(av_packet_alloc()) {
    if (stParameters.sample_rate <= 0 || stParameters.ch_layout.nb_channels <= 0) {
        throw CFailure("its form is not known");
    }
    if (!IsStoredAsItIs(stParameters.codec_id)) m_optEncoder.emplace(stParameters);
}

const AVCodecParameters& CAudioTrack::Parameters() const {
    return m_optEncoder ? m_optEncoder->Parameters() : m_stParameters;
}

bool CAudioTrack::Push(AVPacket* pPacket) {
    if (m_optEncoder) return m_optEncoder->Push(pPacket);
    if (pPacket) av_packet_move_ref(m_pWaiting.get(), pPacket);
    return true;
}

bool CAudioTrack::Pull(AVPacket& stPacket) {
    if (m_optEncoder) {
        if (!m_optEncoder->Pull(stPacket)) return false;
    } else {
        if (m_pWaiting->size == 0) return false;
        av_packet_move_ref(&stPacket, m_pWaiting.get());
    }
    stPacket.dts = stPacket.pts = std::max(stPacket.pts, m_nLast + 1);
    m_nLast = stPacket.dts;
    return true;
}
