// Looks into frames for their place in the order of display.

#ifndef LOCALSTORAGE_TOOL_MEDIA_FRAMEPARSER_H
#define LOCALSTORAGE_TOOL_MEDIA_FRAMEPARSER_H

#include "media/Ffmpeg.h"
#include "media/FrameTimes.h"

class CFrameParser {
public:
    /// Throws CFailure when FFmpeg cannot parse such a stream.
    explicit CFrameParser(const AVCodecParameters& stParameters);

    /// The next frame of the stream, whole.
    codedFrame Look(const AVPacket& stPacket);

private:
    avPointer<AVCodecParserContext> m_pParser;
    avPointer<AVCodecContext> m_pCodec;
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_FRAMEPARSER_H
