#include "media/ClipSource.h"

#include "base/Failure.h"

namespace {

/// Looks into frames for their place in the order of display.
class CFrameParser {
public:
    explicit CFrameParser(const AVCodecParameters& stParameters)
        : m_pParser(av_parser_init(stParameters.codec_id)),
          m_pCodec(avcodec_alloc_context3(nullptr)) {
        if (!m_pParser || !m_pCodec) throw CFailure("FFmpeg has no parser for this stream");
        m_pParser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
        avcodec_parameters_to_context(m_pCodec.get(), &stParameters);
    }

    int OrderOf(const AVPacket& stPacket) {
        std::uint8_t* pData = nullptr;
        int nSize = 0;
        av_parser_parse2(m_pParser.get(), m_pCodec.get(), &pData, &nSize, stPacket.data,
                         stPacket.size, AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
        return m_pParser->output_picture_number;
    }

private:
    avPointer<AVCodecParserContext> m_pParser;
    avPointer<AVCodecContext> m_pCodec;
};

double RateOf(const AVStream& stStream) {
    const AVRational st =
        stStream.r_frame_rate.num ? stStream.r_frame_rate : stStream.avg_frame_rate;
    return st.num > 0 && st.den > 0 ? av_q2d(st) : 0;
}

}  // namespace

clipFrames ScanFrames(const std::string& strPath, const BytesFunction& fnBytes,
                      const std::atomic<bool>& bStop) {
    const openMedia stMedia = OpenMedia(strPath, &bStop);
    const AVCodecParameters& stParameters = *stMedia.pStream->codecpar;
    clipFrames st;
    st.eCodec = stMedia.eCodec;
    st.nWidth = stParameters.width;
    st.nHeight = stParameters.height;
    st.fRate = RateOf(*stMedia.pStream);
    CFrameParser objParser(stParameters);
    const avPointer<AVPacket> pPacket(av_packet_alloc());
    while (NextPacket(stMedia, *pPacket)) {
        fnBytes(static_cast<std::size_t>(pPacket->size));
        st.vFrames.push_back(
            {(pPacket->flags & AV_PKT_FLAG_KEY) != 0, objParser.OrderOf(*pPacket)});
    }
    st.vPlaces = DisplayPlaces(st.vFrames);
    return st;
}
