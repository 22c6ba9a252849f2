// Writes a clip: a video track and perhaps one of sound as MP4, all copied as it is.

#ifndef LOCALSTORAGE_TOOL_MEDIA_CLIPWRITER_H
#define LOCALSTORAGE_TOOL_MEDIA_CLIPWRITER_H

#include <string>

#include "media/ClipSource.h"
#include "media/ClipTarget.h"

/// Gives the next packet of video, in decoding order; false at the end.
using PacketFunction = std::function<bool(AVPacket&)>;

/// Times of frames only ever grow.
class CClipWriter {
public:
    /// `objTarget` must outlive it.
    explicit CClipWriter(CClipTarget& objTarget) : m_objTarget(objTarget) {}
    ~CClipWriter();
    CClipWriter(const CClipWriter&) = delete;
    CClipWriter& operator=(const CClipWriter&) = delete;

    /// Begins the file, with sound where `pAudio` is not null and an MP4 file holds such; `tBegin`
    /// is when its first frame was taken. Throws CFailure.
    void Begin(const AVCodecParameters& stVideo, const AVCodecParameters* pAudio, UtcTime tBegin);
    bool HasBegun() const { return m_pFormat != nullptr; }
    /// Of the tracks, once it has begun; null: there is none.
    const AVCodecParameters* Video() const { return ParametersOf(ETrack::Video); }
    const AVCodecParameters* Audio() const { return ParametersOf(ETrack::Audio); }

    /// Writes a packet, times and length in ticks from the clip's beginning; one that is damaged is
    /// left out and counted. Throws CFailure.
    void Write(ETrack eTrack, AVPacket& stPacket, packetTimes stTimes, std::int64_t nLength);
    /// Lets a picture tell when it was taken, where the target keeps that.
    static void SetTaken(AVPacket& stPacket, UtcTime tTaken);
    /// Where the next picture goes, in ticks, and where the next sound.
    std::int64_t End() const { return m_nEnd; }
    std::int64_t AudioEnd() const { return m_nAudioEnd; }

    /// Appends frames of those that `fnNext` gives, `fStep` seconds each. Frames that are shown
    /// before the first one are left out unless `bContinues` (then the clip holds what they need).
    /// Takes no more of them than it needs; begins the file if need be. Throws CFailure.
    void Append(const AVCodecParameters& stVideo, const PacketFunction& fnNext,
                const clipFrames& stFrames, const frameRange& stRange, double fStep,
                bool bContinues, UtcTime tBegin);

    /// Completes the clip and its target. Throws CFailure.
    void Finish();

    double Length() const { return static_cast<double>(m_nEnd) / TICKS; }
    std::uint64_t Frames() const { return m_nFrames; }
    std::uint64_t Damaged() const { return m_nDamaged; }

private:
    void AddTrack(const AVCodecParameters& stParameters, int nTag);
    int WritePacket(ETrack eTrack, AVPacket& stPacket);
    const AVCodecParameters* ParametersOf(ETrack eTrack) const;

    CClipTarget& m_objTarget;
    avPointer<AVFormatContext> m_pFormat;
    avPointer<AVBSFContext> m_pAudioFilter;  ///< null: sound is written as it comes
    std::int64_t m_nEnd = 0, m_nAudioEnd = 0;
    std::optional<std::int64_t> m_aLastDecode[CTimeMender::TRACKS];  ///< of what was written last
    std::uint64_t m_nFrames = 0, m_nDamaged = 0;
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_CLIPWRITER_H
