#include "Oracle.h"

#include <algorithm>
#include <memory>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

struct Free {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
    void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
    void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
    void operator()(AVCodecParserContext* p) const { av_parser_close(p); }
};
template <typename T>
using Owned = std::unique_ptr<T, Free>;

/// The video bytes of a file without the layer around them, and where each run of them lies.
struct Payload {
    AVCodecID eCodec = AV_CODEC_ID_NONE;
    std::string strBytes = {};
    std::vector<std::pair<std::size_t, std::int64_t>> vecRun = {};  ///< offset above, position
    bool bBare = false;

    std::size_t PositionOf(std::size_t nOffset) const {
        if (bBare) return nOffset;
        const auto it = std::upper_bound(vecRun.begin(), vecRun.end(),
                                         std::pair{nOffset, std::int64_t{INT64_MAX}});
        return static_cast<std::size_t>(std::prev(it)->second);
    }
};

Payload ReadPayload(const std::string& strPath) {
    av_log_set_level(AV_LOG_QUIET);
    AVFormatContext* pOpened = avformat_alloc_context();
    pOpened->flags |= AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
    if (avformat_open_input(&pOpened, strPath.c_str(), nullptr, nullptr) != 0) return {};
    const Owned<AVFormatContext> pFormat(pOpened);
    avformat_find_stream_info(pFormat.get(), nullptr);
    const int nVideo = av_find_best_stream(pFormat.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (nVideo < 0) return {};
    Payload stPayload{.eCodec = pFormat->streams[nVideo]->codecpar->codec_id};
    const Owned<AVPacket> pPacket(av_packet_alloc());
    for (; av_read_frame(pFormat.get(), pPacket.get()) == 0; av_packet_unref(pPacket.get())) {
        if (pPacket->stream_index != nVideo) continue;
        stPayload.vecRun.emplace_back(stPayload.strBytes.size(), pPacket->pos);
        stPayload.strBytes.append(reinterpret_cast<const char*>(pPacket->data),
                                  static_cast<std::size_t>(pPacket->size));
    }
    const auto nFileSize = static_cast<std::size_t>(avio_size(pFormat->pb));
    stPayload.bBare = stPayload.strBytes.size() == nFileSize;
    return stPayload;
}

}  // namespace

std::vector<OracleFrame> OracleFrames(const std::string& strPath) {
    const Payload stPayload = ReadPayload(strPath);
    std::vector<OracleFrame> vecFrame;
    const Owned<AVCodecParserContext> pParser(av_parser_init(stPayload.eCodec));
    const Owned<AVCodecContext> pContext(avcodec_alloc_context3(nullptr));
    if (!pParser) return vecFrame;
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
        if (nFrame == 0) continue;
        const auto nSize = static_cast<std::size_t>(nFrame);
        vecFrame.push_back({stPayload.PositionOf(nOut), pParser->key_frame == 1,
                            std::string(reinterpret_cast<char*>(pFrame), nSize)});
        nOut += nSize;
    }
    return vecFrame;
}
