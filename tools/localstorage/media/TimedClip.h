// Joins recordings that hold their own times to a clip: what is shown, and heard, when it was in
// the camera's stream. Recordings that go on where the one before ended do so in the clip; what was
// not recorded is left out, but for short breaks.

#ifndef LOCALSTORAGE_TOOL_MEDIA_TIMEDCLIP_H
#define LOCALSTORAGE_TOOL_MEDIA_TIMEDCLIP_H

#include "media/ClipWriter.h"

class CTimedClip {
public:
    /// Of what was taken from `tFrom` up to `tTo`; the clip begins with the key frame before.
    CTimedClip(CClipWriter& objWriter, UtcTime tFrom, UtcTime tTo, TroubleFunction fnTrouble)
        : m_objWriter(objWriter), m_tFrom(tFrom), m_tTo(tTo), m_fnTrouble(std::move(fnTrouble)) {}

    /// When the frames that a recording gave were taken.
    struct span {
        UtcTime tBegin, tEnd;
    };
    /// Appends a recording; `tStart` is when it began where it does not tell itself, `optCovered`
    /// up to when others were appended. Nothing when there is nothing in it that is wanted. Where
    /// reading breaks off, what has been read stays. Throws CFailure when writing fails.
    std::optional<span> Append(const openMedia& stMedia, UtcTime tStart,
                               std::optional<UtcTime> optCovered, const BytesFunction& fnBytes);

    /// Other recordings were appended in between.
    void BreakOff() { m_bJoined = false; }

private:
    struct reading;

    bool ReadNext(const openMedia& stMedia, AVPacket& stPacket) const;
    void TakeVideo(reading& st, AVPacket& stPacket);
    void TakeAudio(reading& st, AVPacket& stPacket);
    bool Hold(reading& st, AVPacket& stPacket);
    void Begin(reading& st);
    void BeginRecording(reading& st, const AVPacket& stFirst);
    void WriteVideo(reading& st, AVPacket& stPacket);
    void WriteAudio(const reading& st, AVPacket& stPacket);
    packetTimes Mend(const reading& st, const AVPacket& stPacket);

    CClipWriter& m_objWriter;
    const UtcTime m_tFrom, m_tTo;
    const TroubleFunction m_fnTrouble;
    CTimeMender m_objMender;
    bool m_bJoined = false;      ///< the clip goes on along the mender's time line
    std::int64_t m_nOffset = 0;  ///< from the stamps of the latest recording to that line
    std::int64_t m_nZero = 0;    ///< where the clip begins on it
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_TIMEDCLIP_H
