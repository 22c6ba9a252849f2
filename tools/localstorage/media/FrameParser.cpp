#include "media/FrameParser.h"

#include "base/Failure.h"

CFrameParser::CFrameParser(const AVCodecParameters& stParameters)
    : m_pParser(av_parser_init(stParameters.codec_id)), m_pCodec(avcodec_alloc_context3(nullptr)) {
    if (!m_pParser || !m_pCodec) throw CFailure("FFmpeg has no parser for this stream");
    m_pParser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    avcodec_parameters_to_context(m_pCodec.get(), &stParameters);
}

codedFrame CFrameParser::Look(const AVPacket& stPacket) {
    std::uint8_t* pData = nullptr;
    int nSize = 0;
    av_parser_parse2(m_pParser.get(), m_pCodec.get(), &pData, &nSize, stPacket.data, stPacket.size,
                     AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
    return {(stPacket.flags & AV_PKT_FLAG_KEY) != 0, m_pParser->output_picture_number};
}
