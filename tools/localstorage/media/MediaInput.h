// A camera's stream, from anything FFmpeg opens: files, RTSP and the like. Hands out the first
// video stream, H.264 or H.265, as a byte stream, and the first audio stream, one access unit at a
// time.

#ifndef LOCALSTORAGE_TOOL_MEDIA_MEDIAINPUT_H
#define LOCALSTORAGE_TOOL_MEDIA_MEDIAINPUT_H

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>

#include "Catalogue/UtcStamp.h"
#include "media/Arrivals.h"
#include "media/AudioTrack.h"
#include "media/Backlog.h"
#include "media/BareVideo.h"
#include "media/MediaOpening.h"
#include "media/ParameterSets.h"
#include "media/TimeMender.h"

/// Reads the next packet of its streams; false at the end, and when it was stopped and all that had
/// come is handed out. Throws CFailure.
bool NextPacket(const openMedia& stMedia, AVPacket& stPacket);

/// The time that a packet of video carries; none but in key frames.
std::optional<UtcTime> StampOf(const AVPacket& stPacket, ECodec eCodec);

/// How long a frame lasts, in ticks, where it does not tell itself.
std::int64_t FrameLength(const AVStream& stVideo);

/// The tracks of a stream, as they are numbered.
enum class ETrack { Video, Audio };

/// Mends the stamps of a packet, which are in ticks; see CTimeMender::Mend.
void MendPacket(CTimeMender& objMender, ETrack eTrack, AVPacket& stPacket, std::int64_t nArrived);

/// One access unit, valid until the next call.
struct accessUnit {
    ETrack eTrack = ETrack::Video;
    Bytes stBytes;                      ///< video: of the byte stream
    bool bKeyFrame = false;             ///< of video
    double fTime = 0;                   ///< seconds since the first one, in the order of decoding
    packetTimes stTimes;                ///< mended
    std::int64_t nLength = 0;           ///< in ticks; 0: unknown
    std::optional<UtcTime> optCamera;   ///< when it was taken, where the camera says so
    std::optional<UtcTime> optArrived;  ///< when it came, unless just now
};

/// Is told what is wrong with an input, in words, while reading goes on.
using TroubleFunction = std::function<void(const std::string&)>;

/// A stream being read.
class CMediaInput {
public:
    /// Opens what the input stands for (AddressOf); throws CFailure. `pStop` (may be null) must
    /// outlive the object.
    CMediaInput(const std::string& strInput, const std::atomic<bool>* pStop,
                const mediaOptions& stOptions = {}, TroubleFunction fnTrouble = {});

    /// The next access unit, parameter sets in front of every key frame; null at the end of the
    /// stream or when stopped. Throws CFailure when reading breaks off. Sound that cannot be stored
    /// is left out and told: video never waits for it.
    const accessUnit* Next();

    ESource Source() const { return m_stMedia.eSource; }
    ECodec Codec() const { return m_stMedia.eCodec; }
    /// The video goes on in a way that this object cannot read: it must be opened anew.
    bool HasChanged() const { return m_stMedia.HasChanged(); }
    const AVCodecParameters& Parameters() const { return *m_pFilter->par_out; }
    /// Of the sound; null: there is none.
    const AVCodecParameters* AudioParameters() const;
    /// Bytes of the input and how many of them were read; 0 where the input cannot tell.
    std::uint64_t Size() const;
    std::uint64_t Position() const;
    /// Seconds, where the container knows them.
    std::optional<double> Duration() const;

private:
    /// The latest picture that was pushed into the filters.
    struct pushedPicture {
        UtcTime ArrivalAt(std::int64_t nOtherDecode) const;

        UtcTime tCame;
        std::int64_t nDecode = 0;  ///< in ticks
    };

    void OpenAudio();
    void LookForLateAudio();
    std::optional<UtcTime> Read(AVPacket& stPacket);
    void NoteArrival(const AVPacket& stVideo);
    void ReadPacket();
    void MendTimes(ETrack eTrack);
    void PushVideo();
    bool PullVideo();
    bool PullAudio();
    void TellOnce(const std::string& strTrouble);

    TroubleFunction m_fnTrouble;
    openMedia m_stMedia;
    avPointer<AVBSFContext> m_pFilter;
    std::optional<CBareVideo> m_optBare;  ///< where the video has no times
    std::optional<CAudioTrack> m_optAudio;
    avPointer<AVPacket> m_pPacket;
    std::optional<CParameterSetKeeper> m_optKeeper;
    CArrivals m_objArrivals;
    std::int64_t m_nPictures = 0;  ///< that were read
    UtcTime m_tCame;               ///< the last of them
    CBacklog m_objBacklog;
    CTimeMender m_objMender;
    pushedPicture m_stPushed;
    accessUnit m_stUnit;
    std::optional<std::int64_t> m_optFirstTime;
    unsigned m_nStreams;  ///< that were looked at
    bool m_bAudioWanted = false;
    bool m_bToldTrouble = false;
    bool m_bEnded = false;
    std::exception_ptr m_pBroken;  ///< what ended it, until all that came before is handed out
};

/// Seconds that a stream lasts, found by reading it whole; for inputs that do not know it.
double MeasureDuration(const std::string& strInput, const std::atomic<bool>* pStop);

#endif  // LOCALSTORAGE_TOOL_MEDIA_MEDIAINPUT_H
