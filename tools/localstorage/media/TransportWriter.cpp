#include "media/TransportWriter.h"

#include <utility>

#include "base/Failure.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace {

constexpr int PACK_SIZE = 64 * 188;
/// Where pictures are rare or stay away: a fraction of a second.
constexpr std::size_t MOST_WAITING = 4096;

void Require(int nResult) {
    if (nResult < 0) {
        throw CFailure("cannot make a transport stream: " + AvErrorText(nResult));
    }
}

}  // namespace

void CTransportWriter::outputFree::operator()(AVFormatContext* p) const {
    avformat_free_context(p);
}

int CTransportWriter::Collect(void* pWriter, std::uint8_t* pData, int nSize) {
    auto& vPacked = static_cast<CTransportWriter*>(pWriter)->m_vPacked;
    vPacked.insert(vPacked.end(), pData, pData + nSize);
    return nSize;
}

CTransportWriter::CTransportWriter(const AVCodecParameters& stVideo,
                                   const AVCodecParameters* pSound) {
    AVFormatContext* pFormat = nullptr;
    Require(avformat_alloc_output_context2(&pFormat, nullptr, "mpegts", nullptr));
    m_pFormat.reset(pFormat);
    m_pOutput = MakeIo(PACK_SIZE, this, {.fnWrite = Collect});
    pFormat->pb = m_pOutput.get();
    if (!m_pOutput) Require(AVERROR(ENOMEM));
    AddTrack(stVideo);
    if (pSound) AddTrack(*pSound);
    pFormat->max_delay = 0;
    pFormat->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    AVDictionary* pOptions = nullptr;
    av_dict_set(&pOptions, "mpegts_copyts", "1", 0);
    // Tables by the clock only: there is no need for them between key frames.
    av_dict_set(&pOptions, "pat_period", "1000000", 0);
    av_dict_set(&pOptions, "sdt_period", "1000000", 0);
    const int nResult = avformat_write_header(pFormat, &pOptions);
    av_dict_free(&pOptions);
    Require(nResult);
}

void CTransportWriter::AddTrack(const AVCodecParameters& stParameters) {
    AVStream* pStream = avformat_new_stream(m_pFormat.get(), nullptr);
    Require(pStream ? avcodec_parameters_copy(pStream->codecpar, &stParameters) : AVERROR(ENOMEM));
    pStream->codecpar->codec_tag = 0;
}

Bytes CTransportWriter::Pack(const accessUnit& stUnit) {
    if (std::exchange(m_bTaken, false)) m_vPacked.clear();
    // The muxer repeats the tables of its own accord only behind frames that are no key frames.
    if (stUnit.eTrack == ETrack::Video && stUnit.bKeyFrame) {
        av_opt_set(m_pFormat->priv_data, "mpegts_flags", "+resend_headers", 0);
    }
    const avPointer<AVPacket> pPacket(av_packet_alloc());
    // The muxer only reads them.
    pPacket->data = const_cast<std::uint8_t*>(stUnit.stBytes.data());
    pPacket->size = static_cast<int>(stUnit.stBytes.size());
    pPacket->stream_index = static_cast<int>(stUnit.eTrack);
    pPacket->pts = stUnit.stTimes.nShow;
    pPacket->dts = stUnit.stTimes.nDecode;
    pPacket->duration = stUnit.nLength;
    if (stUnit.bKeyFrame) pPacket->flags |= AV_PKT_FLAG_KEY;
    Require(av_write_frame(m_pFormat.get(), pPacket.get()));
    // Sound that waits for more would lie behind the cut that it belongs in front of.
    Require(av_write_frame(m_pFormat.get(), nullptr));
    const bool bWaits = stUnit.eTrack == ETrack::Audio && m_vPacked.size() < MOST_WAITING;
    return bWaits ? Bytes() : TakeRest();
}

Bytes CTransportWriter::TakeRest() {
    return std::exchange(m_bTaken, true) ? Bytes() : Bytes(m_vPacked);
}
