// Bare video, as files without a container hold it, names no times: its frames are shown one after
// the other at its rate. In which order is known when a group of them has been read.

#ifndef LOCALSTORAGE_TOOL_MEDIA_BAREVIDEO_H
#define LOCALSTORAGE_TOOL_MEDIA_BAREVIDEO_H

#include <deque>

#include "media/FrameParser.h"

class CBareVideo {
public:
    /// Whether a container is none.
    static bool IsBare(const AVFormatContext& stFormat);

    explicit CBareVideo(const AVCodecParameters& stParameters);

    /// Takes a frame with its time of decoding and length; null: there are no more.
    void Push(AVPacket* pPacket);
    /// The next frame, with the time when it is shown as well; false when another must be pushed.
    bool Pull(AVPacket& stPacket);

private:
    void EndGroup();

    CFrameParser m_objParser;
    std::int64_t m_nDelay;  ///< frames that may be decoded before one that is shown earlier
    std::vector<avPointer<AVPacket>> m_vGroup;
    std::vector<codedFrame> m_vFrames;  ///< of the group
    std::deque<avPointer<AVPacket>> m_dqReady;
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_BAREVIDEO_H
