#include "media/ClipWriter.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "base/Failure.h"

namespace {

/// Frames that are decoded this many places before they are shown, at most.
std::size_t Reordering(const std::vector<std::size_t>& vPlaces) {
    std::size_t nMost = 0;
    for (std::size_t n = 0; n < vPlaces.size(); ++n) {
        if (n > vPlaces[n]) nMost = std::max(nMost, n - vPlaces[n]);
    }
    return nMost;
}

}  // namespace

CClipWriter::CClipWriter(std::string strPath)
    : m_strPath(std::move(strPath)), m_strPart(m_strPath + ".part") {}

CClipWriter::~CClipWriter() {
    if (!m_pFormat) return;
    avio_closep(&m_pFormat->pb);
    std::error_code stError;
    std::filesystem::remove(m_strPart, stError);
}

void CClipWriter::Begin(const AVCodecParameters& stParameters) {
    AVFormatContext* pFormat = nullptr;
    int nResult = avformat_alloc_output_context2(&pFormat, nullptr, "mp4", m_strPart.c_str());
    m_pFormat.reset(pFormat);
    AVStream* pStream = nResult >= 0 ? avformat_new_stream(pFormat, nullptr) : nullptr;
    if (!pStream) throw CFailure("no memory to write " + m_strPath);
    nResult = avcodec_parameters_copy(pStream->codecpar, &stParameters);
    // The tag that every player knows.
    pStream->codecpar->codec_tag =
        stParameters.codec_id == AV_CODEC_ID_HEVC ? MKTAG('h', 'v', 'c', '1') : 0;
    pStream->time_base = {1, TICKS};
    if (nResult >= 0) nResult = avio_open(&pFormat->pb, m_strPart.c_str(), AVIO_FLAG_WRITE);
    AVDictionary* pOptions = nullptr;
    av_dict_set(&pOptions, "movflags", "faststart", 0);
    if (nResult >= 0) nResult = avformat_write_header(pFormat, &pOptions);
    av_dict_free(&pOptions);
    if (nResult < 0) throw CFailure("cannot write " + m_strPart + ": " + AvErrorText(nResult));
}

void CClipWriter::Write(AVPacket& stPacket, std::int64_t nDecode, std::int64_t nShow,
                        std::int64_t nLength) {
    if (m_nFrames > 0) nDecode = std::max(nDecode, m_nLastDecode + 1);
    m_nLastDecode = nDecode;
    const AVRational stFrom = {1, TICKS}, stTo = m_pFormat->streams[0]->time_base;
    stPacket.dts = av_rescale_q(nDecode, stFrom, stTo);
    stPacket.pts = av_rescale_q(std::max(nShow, nDecode), stFrom, stTo);
    stPacket.duration = av_rescale_q(nLength, stFrom, stTo);
    stPacket.stream_index = 0;
    stPacket.pos = -1;
    const int nResult = av_write_frame(m_pFormat.get(), &stPacket);
    if (nResult < 0) throw CFailure("cannot write " + m_strPart + ": " + AvErrorText(nResult));
    ++m_nFrames;
}

void CClipWriter::Append(const std::string& strPath, const clipFrames& stFrames,
                         const frameRange& stRange, double fStep, bool bContinues,
                         const BytesFunction& fnBytes, const std::atomic<bool>& bStop) {
    const openMedia stMedia = OpenMedia(strPath, &bStop);
    if (!m_pFormat) Begin(*stMedia.pStream->codecpar);
    const std::size_t nFirstPlace = stFrames.vPlaces[stRange.nFirst];
    const std::size_t nDelay = Reordering(stFrames.vPlaces);
    const std::int64_t nBegin = m_nEnd;
    const auto TimeAt =
        [&](std::size_t nPlace) -> std::int64_t {  // places before the first one give times before
        const double fPlaces = static_cast<double>(nPlace) - static_cast<double>(nFirstPlace);
        return nBegin + std::llround(fPlaces * fStep * TICKS);
    };
    const avPointer<AVPacket> pPacket(av_packet_alloc());
    for (std::size_t n = 0; NextPacket(stMedia, *pPacket); ++n) {
        if (n >= stRange.nEnd) break;
        fnBytes(static_cast<std::size_t>(pPacket->size));
        if (n < stRange.nFirst) continue;
        const std::size_t nPlace = stFrames.vPlaces[n];
        if (nPlace < nFirstPlace && !bContinues) continue;
        const std::int64_t nShow = TimeAt(nPlace), nNext = TimeAt(nPlace + 1);
        Write(*pPacket, TimeAt(n) - (TimeAt(nDelay) - TimeAt(0)), nShow, nNext - nShow);
        m_nEnd = std::max(m_nEnd, nNext);
    }
}

void CClipWriter::Finish() {
    int nResult = av_write_trailer(m_pFormat.get());
    if (const int nClosed = avio_closep(&m_pFormat->pb); nResult >= 0) nResult = nClosed;
    if (nResult < 0) throw CFailure("cannot write " + m_strPart + ": " + AvErrorText(nResult));
    std::error_code stError;
    std::filesystem::rename(m_strPart, m_strPath, stError);
    if (stError) {
        throw CFailure("cannot rename " + m_strPart + " to " + m_strPath + ": " +
                       stError.message());
    }
    m_pFormat.reset();
}
