#include "media/ClipWriter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/Failure.h"
#include "base/Times.h"

namespace {

/// What ISO/IEC 14496-12 calls a producer's time that is the one of capture.
constexpr int CAPTURED = 24;

/// Frames that are decoded this many places before they are shown, at most.
std::size_t Reordering(const std::vector<std::size_t>& vPlaces) {
    std::size_t nMost = 0;
    for (std::size_t n = 0; n < vPlaces.size(); ++n) {
        if (n > vPlaces[n]) nMost = std::max(nMost, n - vPlaces[n]);
    }
    return nMost;
}

}  // namespace

CClipWriter::~CClipWriter() {
    if (m_pFormat) m_pFormat->pb = nullptr;  // the target's
}

void CClipWriter::Begin(const AVCodecParameters& stVideo, const AVCodecParameters* pAudio,
                        UtcTime tBegin) {
    AVFormatContext* pFormat = nullptr;
    int nResult =
        avformat_alloc_output_context2(&pFormat, nullptr, "mp4", m_objTarget.Name().c_str());
    m_pFormat.reset(pFormat);
    if (nResult < 0) throw CFailure("no memory to write " + m_objTarget.Name());
    // The tag that every player knows.
    AddTrack(stVideo, stVideo.codec_id == AV_CODEC_ID_HEVC ? MKTAG('h', 'v', 'c', '1') : 0);
    if (pAudio && avformat_query_codec(pFormat->oformat, pAudio->codec_id, FF_COMPLIANCE_NORMAL)) {
        AddTrack(*pAudio, 0);
        // Fragments get no filters by themselves.
        const bool bAdts = pAudio->codec_id == AV_CODEC_ID_AAC && pAudio->extradata_size == 0;
        if (bAdts) nResult = OpenFilter("aac_adtstoasc", *pAudio, {1, TICKS}, m_pAudioFilter);
    }
    av_dict_set(&pFormat->metadata, "creation_time", FormatIso(tBegin).c_str(), 0);
    m_objTarget.Prepare(*pFormat);
    if (nResult >= 0) pFormat->pb = m_objTarget.Open(nResult);
    AVDictionary* pOptions = nullptr;
    if (nResult >= 0) nResult = av_dict_parse_string(&pOptions, m_objTarget.Layout(), "=", ":", 0);
    if (nResult >= 0) nResult = avformat_write_header(pFormat, &pOptions);
    av_dict_free(&pOptions);
    if (nResult < 0)
        throw CFailure("cannot write " + m_objTarget.Name() + ": " + AvErrorText(nResult));
}

void CClipWriter::AddTrack(const AVCodecParameters& stParameters, int nTag) {
    AVStream* pStream = avformat_new_stream(m_pFormat.get(), nullptr);
    if (!pStream || avcodec_parameters_copy(pStream->codecpar, &stParameters) < 0) {
        throw CFailure("no memory to write " + m_objTarget.Name());
    }
    pStream->codecpar->codec_tag = static_cast<unsigned>(nTag);
    pStream->time_base = {1, TICKS};
}

const AVCodecParameters* CClipWriter::ParametersOf(ETrack eTrack) const {
    const auto nTrack = static_cast<unsigned>(eTrack);
    return nTrack < m_pFormat->nb_streams ? m_pFormat->streams[nTrack]->codecpar : nullptr;
}

void CClipWriter::Write(ETrack eTrack, AVPacket& stPacket, packetTimes stTimes,
                        std::int64_t nLength) {
    const int nTrack = static_cast<int>(eTrack);
    auto& optLast = m_aLastDecode[nTrack];
    if (optLast) stTimes.nDecode = std::max(stTimes.nDecode, *optLast + 1);
    optLast = stTimes.nDecode;
    stTimes.nShow = std::max(stTimes.nShow, stTimes.nDecode);
    stPacket.pts = stTimes.nShow;
    stPacket.dts = stTimes.nDecode;
    stPacket.duration = nLength;
    const int nResult = WritePacket(eTrack, stPacket);
    if (const int nError = m_pFormat->pb->error) {
        throw CFailure("cannot write " + m_objTarget.Name() + ": " + AvErrorText(nError));
    }
    if (nResult < 0) {
        ++m_nDamaged;
        return;
    }
    std::int64_t& nEnd = eTrack == ETrack::Video ? m_nEnd : m_nAudioEnd;
    nEnd = std::max(nEnd, stTimes.nShow + nLength);
    if (eTrack == ETrack::Video) ++m_nFrames;
}

/// 0, or one of FFmpeg's errors.
int CClipWriter::WritePacket(ETrack eTrack, AVPacket& stPacket) {
    if (eTrack == ETrack::Audio && m_pAudioFilter) {
        int nResult = av_bsf_send_packet(m_pAudioFilter.get(), &stPacket);
        if (nResult >= 0) nResult = av_bsf_receive_packet(m_pAudioFilter.get(), &stPacket);
        if (nResult < 0) return nResult;
    }
    const int nTrack = static_cast<int>(eTrack);
    av_packet_rescale_ts(&stPacket, {1, TICKS}, m_pFormat->streams[nTrack]->time_base);
    stPacket.stream_index = nTrack;
    stPacket.pos = -1;
    return av_write_frame(m_pFormat.get(), &stPacket);
}

void CClipWriter::SetTaken(AVPacket& stPacket, UtcTime tTaken) {
    std::uint8_t* pData =
        av_packet_new_side_data(&stPacket, AV_PKT_DATA_PRFT, sizeof(AVProducerReferenceTime));
    if (!pData) throw CFailure("no memory to write a clip");
    const AVProducerReferenceTime st{tTaken.time_since_epoch().count(), CAPTURED};
    std::memcpy(pData, &st, sizeof(st));
}

void CClipWriter::Append(const AVCodecParameters& stVideo, const PacketFunction& fnNext,
                         const clipFrames& stFrames, const frameRange& stRange, double fStep,
                         bool bContinues, UtcTime tBegin) {
    if (!HasBegun()) Begin(stVideo, nullptr, tBegin);
    const std::size_t nFirstPlace = stFrames.vPlaces[stRange.nFirst];
    const std::size_t nDelay = Reordering(stFrames.vPlaces);
    const std::int64_t nBegin = m_nEnd;
    const auto TimeAt =
        [&](std::size_t nPlace) -> std::int64_t {  // places before the first one give times before
        const double fPlaces = static_cast<double>(nPlace) - static_cast<double>(nFirstPlace);
        return nBegin + std::llround(fPlaces * fStep * TICKS);
    };
    const avPointer<AVPacket> pPacket(av_packet_alloc());
    for (std::size_t n = 0; n < stRange.nEnd && fnNext(*pPacket); ++n) {
        if (n < stRange.nFirst) continue;
        const std::size_t nPlace = stFrames.vPlaces[n];
        if (nPlace < nFirstPlace && !bContinues) continue;
        const std::int64_t nShow = TimeAt(nPlace), nNext = TimeAt(nPlace + 1);
        const packetTimes stTimes{nShow, TimeAt(n) - (TimeAt(nDelay) - TimeAt(0))};
        SetTaken(*pPacket, tBegin + FromSeconds(static_cast<double>(nShow - nBegin) / TICKS));
        Write(ETrack::Video, *pPacket, stTimes, nNext - nShow);
    }
}

void CClipWriter::Finish() {
    if (const int nResult = av_write_trailer(m_pFormat.get()); nResult < 0) {
        throw CFailure("cannot write " + m_objTarget.Name() + ": " + AvErrorText(nResult));
    }
    m_objTarget.Finish();
}
