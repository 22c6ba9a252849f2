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
    /// Reads the next packet and returns when the latest picture came; nothing at the end. May
    /// throw.
    using ReadFunction = std::function<std::optional<UtcTime>(AVPacket&)>;

    /// Reads what there is, and two pictures of `stVideo` that had to be waited for.
    void Read(const ReadFunction& fnRead, const AVStream& stVideo);

    /// Hands out the next packet and returns when it came, if it is a picture; nothing when none is
    /// left. Then throws what broke off reading.
    std::optional<UtcTime> Next(AVPacket& stPacket);

private:
    struct entry {
        avPointer<AVPacket> pPacket;
        UtcTime tCame;
    };

    void Fill(const ReadFunction& fnRead, const AVStream& stVideo);
    void TellTimes(const AVStream& stVideo);

    std::deque<entry> m_dqEntries;
    std::exception_ptr m_pBroken;
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_BACKLOG_H
