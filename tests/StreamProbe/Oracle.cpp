#include "Oracle.h"

#include <algorithm>
#include <memory>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

// A stream in memory, opened by its content.
class CInput {
public:
    CInput(const std::string& strStream, int nFlags) : m_strStream(strStream) {
        av_log_set_level(AV_LOG_QUIET);
        constexpr int BUFFER = 32768;
        m_pIo = avio_alloc_context(static_cast<unsigned char*>(av_malloc(BUFFER)), BUFFER, 0, this,
                                   &CInput::Read, nullptr, &CInput::Seek);
        m_pFormat = avformat_alloc_context();
        m_pFormat->pb = m_pIo;
        m_pFormat->flags |= nFlags;
        if (avformat_open_input(&m_pFormat, nullptr, nullptr, nullptr) == 0) {
            avformat_find_stream_info(m_pFormat, nullptr);
        }
    }
    ~CInput() {
        avformat_close_input(&m_pFormat);
        av_freep(&m_pIo->buffer);
        avio_context_free(&m_pIo);
    }
    CInput(const CInput&) = delete;
    CInput& operator=(const CInput&) = delete;

    const AVCodecParameters* Video() const {
        m_nVideo = m_pFormat == nullptr
                       ? -1
                       : av_find_best_stream(m_pFormat, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
        return m_nVideo < 0 ? nullptr : m_pFormat->streams[m_nVideo]->codecpar;
    }
    bool NextVideo(AVPacket* pPacket) {
        av_packet_unref(pPacket);
        while (av_read_frame(m_pFormat, pPacket) == 0) {
            if (pPacket->stream_index == m_nVideo) return true;
            av_packet_unref(pPacket);
        }
        return false;
    }

private:
    static int Read(void* pSelf, std::uint8_t* pBuf, int nSize) {
        auto* p = static_cast<CInput*>(pSelf);
        const std::size_t n = p->m_strStream.copy(reinterpret_cast<char*>(pBuf),
                                                  static_cast<std::size_t>(nSize), p->m_nPos);
        p->m_nPos += n;
        return n == 0 ? AVERROR_EOF : static_cast<int>(n);
    }
    static std::int64_t Seek(void* pSelf, std::int64_t nOffset, int nWhence) {
        auto* p = static_cast<CInput*>(pSelf);
        if (nWhence == AVSEEK_SIZE) return static_cast<std::int64_t>(p->m_strStream.size());
        if (nWhence != SEEK_SET) return -1;
        p->m_nPos = std::min(static_cast<std::size_t>(nOffset), p->m_strStream.size());
        return nOffset;
    }

    const std::string& m_strStream;
    std::size_t m_nPos = 0;
    AVIOContext* m_pIo = nullptr;
    AVFormatContext* m_pFormat = nullptr;
    mutable int m_nVideo = -1;
};

struct Free {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
    void operator()(AVFrame* p) const { av_frame_free(&p); }
    void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
    void operator()(AVCodecParserContext* p) const { av_parser_close(p); }
};
template <typename T>
using Owned = std::unique_ptr<T, Free>;

Owned<AVCodecContext> OpenDecoder(const AVCodecParameters* pVideo) {
    const AVCodec* pCodec = avcodec_find_decoder(pVideo->codec_id);
    Owned<AVCodecContext> pContext(avcodec_alloc_context3(pCodec));
    avcodec_parameters_to_context(pContext.get(), pVideo);
    pContext->thread_count = 1;
    pContext->err_recognition = AV_EF_EXPLODE;
    avcodec_open2(pContext.get(), pCodec, nullptr);
    return pContext;
}

/// The video bytes of a stream without the layer around them, and where each run of them lies.
struct Payload {
    AVCodecID eCodec = AV_CODEC_ID_NONE;
    std::string strBytes;
    std::vector<std::pair<std::size_t, std::int64_t>> vecRun;  ///< offset in strBytes, position
};

Payload ReadPayload(const std::string& strStream) {
    CInput objInput(strStream, AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN);
    Payload stPayload;
    const AVCodecParameters* pVideo = objInput.Video();
    if (pVideo == nullptr) return stPayload;
    stPayload.eCodec = pVideo->codec_id;
    const Owned<AVPacket> pPacket(av_packet_alloc());
    while (objInput.NextVideo(pPacket.get())) {
        stPayload.vecRun.emplace_back(stPayload.strBytes.size(), pPacket->pos);
        stPayload.strBytes.append(reinterpret_cast<const char*>(pPacket->data),
                                  static_cast<std::size_t>(pPacket->size));
    }
    return stPayload;
}

// A bare stream has the position itself, a program stream the packet's.
std::size_t PositionOf(const Payload& stPayload, std::size_t nOffset, bool bBare) {
    auto it = std::upper_bound(stPayload.vecRun.begin(), stPayload.vecRun.end(),
                               std::pair{nOffset, std::int64_t{INT64_MAX}});
    return bBare ? nOffset : static_cast<std::size_t>(std::prev(it)->second);
}

}  // namespace

std::vector<OracleFrame> OracleFrames(const std::string& strStream) {
    const Payload stPayload = ReadPayload(strStream);
    std::vector<OracleFrame> vecFrame;
    const Owned<AVCodecParserContext> pParser(av_parser_init(stPayload.eCodec));
    const Owned<AVCodecContext> pContext(avcodec_alloc_context3(nullptr));
    if (pParser == nullptr) return vecFrame;
    const bool bBare = stPayload.strBytes.size() == strStream.size();
    std::string strInput = stPayload.strBytes + std::string(AV_INPUT_BUFFER_PADDING_SIZE, '\0');
    std::size_t nIn = 0, nOut = 0;
    for (bool bMore = true; bMore;) {
        std::uint8_t* pFrame = nullptr;
        int nFrame = 0;
        const int nLeft = static_cast<int>(stPayload.strBytes.size() - nIn);
        nIn += static_cast<std::size_t>(av_parser_parse2(
            pParser.get(), pContext.get(), &pFrame, &nFrame,
            reinterpret_cast<std::uint8_t*>(strInput.data()) + nIn, nLeft, 0, 0, 0));
        bMore = nLeft > 0 || nFrame > 0;
        if (nFrame > 0) {
            const auto nSize = static_cast<std::size_t>(nFrame);
            vecFrame.push_back({PositionOf(stPayload, nOut, bBare), pParser->key_frame == 1,
                                std::string(reinterpret_cast<char*>(pFrame), nSize)});
            nOut += nSize;
        }
    }
    return vecFrame;
}

OraclePictures OracleDecode(const std::string& strStream) {
    CInput objInput(strStream, 0);
    OraclePictures stResult;
    const AVCodecParameters* pVideo = objInput.Video();
    if (pVideo == nullptr) return stResult;
    const Owned<AVCodecContext> pDecoder = OpenDecoder(pVideo);
    const Owned<AVPacket> pPacket(av_packet_alloc());
    const Owned<AVFrame> pFrame(av_frame_alloc());
    bool bFirst = true;
    for (bool bMore = true; bMore;) {
        bMore = objInput.NextVideo(pPacket.get());
        if (std::exchange(bFirst, false)) {
            stResult.bKeyPacket = bMore && (pPacket->flags & AV_PKT_FLAG_KEY) != 0;
        }
        const int nSent = avcodec_send_packet(pDecoder.get(), bMore ? pPacket.get() : nullptr);
        (stResult.nPictures == 0 ? stResult.nErrorsInFront : stResult.nErrors) += nSent < 0;
        while (avcodec_receive_frame(pDecoder.get(), pFrame.get()) == 0) {
            if (stResult.nFirstKey < 0 && pFrame->key_frame == 1) {
                stResult.nFirstKey = stResult.nPictures;
            }
            ++stResult.nPictures;
            stResult.nErrors +=
                pFrame->decode_error_flags != 0 || (pFrame->flags & AV_FRAME_FLAG_CORRUPT) != 0;
        }
    }
    return stResult;
}
