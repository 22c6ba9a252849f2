// What came while a live input was being opened waits in line and is handed out at once: when it
// came shows by its stamps alone.

#ifndef LOCALSTORAGE_TOOL_MEDIA_BACKLOG_H
#define LOCALSTORAGE_TOOL_MEDIA_BACKLOG_H

#include <deque>
#include <exception>
#include <functional>
#include <optional>

#include "Catalogue/UtcStamp.h"
#include "media/Ffmpeg.h"

class CBacklog {
public:
    /// Reads the next packet; false at the end; may throw.
    using ReadFunction = std::function<bool(AVPacket&)>;

    /// Reads for as long as packets come without waiting. `stVideo` is the stream whose stamps are
    /// looked at.
    void Read(const ReadFunction& fnRead, const AVStream& stVideo);

    /// Hands out the next packet; false when none is left. Then throws what broke off reading.
    bool Next(AVPacket& stPacket);

    /// When a packet of video that was handed out had come; nothing when it came just now.
    std::optional<UtcTime> ArrivalOf(const AVPacket& stVideo) const;

private:
    void Fill(const ReadFunction& fnRead, const AVStream& stVideo);
    void StampBeginning(const AVStream& stVideo);

    std::deque<avPointer<AVPacket>> m_dqPackets;
    std::exception_ptr m_pBroken;
    AVRational m_stTimeBase = {0, 1};
    std::int64_t m_nLast = AV_NOPTS_VALUE;  ///< stamp of the latest packet of video
    UtcTime m_tLast;                        ///< when it came
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_BACKLOG_H
