#include "media/AudioEncoder.h"

#include <algorithm>
#include <cstdlib>

#include "base/Failure.h"
#include "media/TimeMender.h"

namespace {

constexpr int BITS_PER_SAMPLE = 3;  // 24 kbit/s for one channel of telephone quality
constexpr int MOST_CHANNELS = 2;
constexpr int USUAL_RATE = 48000;
/// A camera's clocks for picture and sound may drift apart so far, in parts of a second.
constexpr int MOST_DRIFT = 50;

void Require(int nResult, const char* pWhat) {
    if (nResult < 0) throw CFailure(std::string(pWhat) + ": " + AvErrorText(nResult));
}

int RateFor(const AVCodec& stCodec, int nRate) {
    for (const int* p = stCodec.supported_samplerates; p && *p; ++p) {
        if (*p == nRate) return nRate;
    }
    return USUAL_RATE;
}

avPointer<AVFrame> NewFrame(const AVCodecContext& stEncoder) {
    avPointer<AVFrame> pFrame(av_frame_alloc());
    if (!pFrame) throw CFailure("no memory for sound");
    pFrame->format = stEncoder.sample_fmt;
    pFrame->sample_rate = stEncoder.sample_rate;
    av_channel_layout_copy(&pFrame->ch_layout, &stEncoder.ch_layout);
    return pFrame;
}

}  // namespace

CAudioEncoder::CAudioEncoder(const AVCodecParameters& stParameters)
    : m_pParameters(avcodec_parameters_alloc()),
      m_pResampler(swr_alloc()),
      m_pFrame(av_frame_alloc()) {
    OpenDecoder(stParameters);
    OpenEncoder();
    m_pFifo.reset(av_audio_fifo_alloc(m_pEncoder->sample_fmt, m_pEncoder->ch_layout.nb_channels,
                                      m_pEncoder->frame_size));
    if (!m_pParameters || !m_pResampler || !m_pFrame || !m_pFifo) {
        throw CFailure("no memory for sound");
    }
    Require(avcodec_parameters_from_context(m_pParameters.get(), m_pEncoder.get()),
            "sound cannot be encoded");
}

void CAudioEncoder::OpenDecoder(const AVCodecParameters& stParameters) {
    const AVCodec* pCodec = avcodec_find_decoder(stParameters.codec_id);
    if (!pCodec) throw CFailure("FFmpeg has no decoder for this sound");
    m_pDecoder.reset(avcodec_alloc_context3(pCodec));
    Require(avcodec_parameters_to_context(m_pDecoder.get(), &stParameters), "sound has no form");
    m_pDecoder->thread_count = 1;
    m_pDecoder->pkt_timebase = {1, TICKS};
    Require(avcodec_open2(m_pDecoder.get(), pCodec, nullptr), "sound cannot be decoded");
}

void CAudioEncoder::OpenEncoder() {
    const AVCodec* pCodec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    const int nChannels = std::min(m_pDecoder->ch_layout.nb_channels, MOST_CHANNELS);
    if (!pCodec || nChannels < 1) throw CFailure("sound cannot be encoded");
    m_pEncoder.reset(avcodec_alloc_context3(pCodec));
    m_pEncoder->sample_fmt = AV_SAMPLE_FMT_FLTP;
    m_pEncoder->sample_rate = RateFor(*pCodec, m_pDecoder->sample_rate);
    m_pEncoder->time_base = {1, m_pEncoder->sample_rate};
    m_pEncoder->bit_rate = std::int64_t{BITS_PER_SAMPLE} * m_pEncoder->sample_rate * nChannels;
    m_pEncoder->thread_count = 1;
    m_pEncoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    av_channel_layout_default(&m_pEncoder->ch_layout, nChannels);
    Require(avcodec_open2(m_pEncoder.get(), pCodec, nullptr), "sound cannot be encoded");
}

bool CAudioEncoder::Push(const AVPacket* pPacket) {
    m_bEnding = !pPacket;
    bool bUsable = avcodec_send_packet(m_pDecoder.get(), pPacket) >= 0;
    while (avcodec_receive_frame(m_pDecoder.get(), m_pFrame.get()) >= 0) {
        bUsable &= Take(*m_pFrame);
    }
    return bUsable;
}

/// Puts decoded samples behind those that wait.
bool CAudioEncoder::Take(AVFrame& stFrame) {
    // Telephone codecs only count their channels.
    if (stFrame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&stFrame.ch_layout, stFrame.ch_layout.nb_channels);
    }
    const avPointer<AVFrame> pConverted = NewFrame(*m_pEncoder);
    if (swr_convert_frame(m_pResampler.get(), pConverted.get(), &stFrame) < 0) return false;
    const int nRate = m_pEncoder->sample_rate, nSamples = pConverted->nb_samples;
    if (stFrame.pts != AV_NOPTS_VALUE) {
        const std::int64_t nTime = av_rescale(stFrame.pts, nRate, TICKS);
        if (!m_bStarted || std::abs(nTime - m_nNext) > nRate / MOST_DRIFT) m_nNext = nTime;
        m_bStarted = true;
    }
    m_nNext += nSamples;
    auto** pPlanes = reinterpret_cast<void**>(pConverted->extended_data);
    return av_audio_fifo_write(m_pFifo.get(), pPlanes, nSamples) == nSamples;
}

/// Gives the encoder its next frame, the last one shorter; false when there is none to give.
bool CAudioEncoder::EncodeNext() {
    const int nWaiting = av_audio_fifo_size(m_pFifo.get());
    const int nSamples = std::min(nWaiting, m_pEncoder->frame_size);
    if (m_bEnding ? m_bEnded : nSamples < m_pEncoder->frame_size) return false;
    if (nSamples == 0) {
        m_bEnded = true;
        return avcodec_send_frame(m_pEncoder.get(), nullptr) >= 0;
    }
    const avPointer<AVFrame> pFrame = NewFrame(*m_pEncoder);
    pFrame->nb_samples = nSamples;
    pFrame->pts = m_nNext - nWaiting;
    if (av_frame_get_buffer(pFrame.get(), 0) < 0) return false;
    av_audio_fifo_read(m_pFifo.get(), reinterpret_cast<void**>(pFrame->extended_data), nSamples);
    return avcodec_send_frame(m_pEncoder.get(), pFrame.get()) >= 0;
}

bool CAudioEncoder::Pull(AVPacket& stPacket) {
    while (avcodec_receive_packet(m_pEncoder.get(), &stPacket) < 0) {
        if (!EncodeNext()) return false;
    }
    av_packet_rescale_ts(&stPacket, m_pEncoder->time_base, {1, TICKS});
    return true;
}
