// Joins the recordings of a range to one clip, whatever they are: transport streams, which tell
// their own times, and bare video. What was not recorded is left out.

#ifndef LOCALSTORAGE_TOOL_MEDIA_CLIPJOIN_H
#define LOCALSTORAGE_TOOL_MEDIA_CLIPJOIN_H

#include <deque>
#include <functional>
#include <vector>

#include "Catalogue/Catalogue.h"
#include "base/Failure.h"
#include "media/TimedClip.h"

/// What a track of a clip holds: one kind of stream.
struct trackKind {
    AVCodecID eCodec;
    int nWidth, nHeight, nRate, nChannels;

    explicit trackKind(const AVCodecParameters& st)
        : eCodec(st.codec_id),
          nWidth(st.width),
          nHeight(st.height),
          nRate(st.sample_rate),
          nChannels(st.ch_layout.nb_channels) {}
    bool operator==(const trackKind&) const = default;
    std::string Size() const { return std::to_string(nWidth) + "x" + std::to_string(nHeight); }
};

/// What is told while recordings are joined.
struct joinEvents {
    TroubleFunction fnFailure = [](const std::string&) {};  ///< something is missing from the clip
    TroubleFunction fnNote = [](const std::string&) {};     ///< worth knowing
    std::function<void(const timeSpan&)> fnGap = [](const timeSpan&) {};
    /// So many bytes of a recording are done.
    std::function<void(const recording&, std::size_t)> fnBytes = [](const recording&, std::size_t) {
    };
};

/// How recordings that are still being written are joined, unless they end where they do when they
/// are read.
struct joinGrowth {
    /// Asked at the end of a recording that was changed last then: whether to wait for more.
    std::function<bool(const recording&, UtcTime tChange)> fnGrows = {};
    /// What follows the recordings that are known; nothing: that was all.
    std::function<std::optional<recording>()> fnNext = [] { return std::nullopt; };
};

/// Where a camera goes over to the other encoding, which the clip's track cannot hold: the clip
/// goes on after it, or ends, so that whoever asks from there on gets the rest.
enum class EOtherCodec { LeftOut, Ends };

/// The recordings show nothing of the range.
class CNothingToShow : public CFailure {
public:
    using CFailure::CFailure;
};

class CClipJoin {
public:
    /// Of these recordings, what lies in the range. All of it has to outlive the object.
    CClipJoin(CClipWriter& objWriter, const timeSpan& stRange,
              const std::vector<recording>& vRecordings, const std::atomic<bool>& bStop,
              joinEvents stEvents = {}, joinGrowth stGrowth = {},
              EOtherCodec eOtherCodec = EOtherCodec::LeftOut)
        : m_objWriter(objWriter),
          m_stRange(stRange),
          m_vRecordings(vRecordings),
          m_bStop(bStop),
          m_stEvents(std::move(stEvents)),
          m_stGrowth(std::move(stGrowth)),
          m_eOtherCodec(eOtherCodec),
          m_objTimed(objWriter, stRange.tStart, stRange.tEnd, m_stEvents.fnFailure),
          m_tCovered(stRange.tStart) {}

    /// Writes all but the end of the clip. Throws CFailure when it cannot be written, when it was
    /// stopped, and when there is nothing to write.
    void Run();

    /// When the clip's first frame was taken.
    UtcTime Begin() const { return m_tBegin; }
    /// The recordings that gave something to the clip.
    const std::vector<const recording*>& Used() const { return m_vUsed; }

private:
    void Add(const recording& stRecording);
    template <typename Function>
    auto Try(const Function& fnRead) -> std::optional<decltype(fnRead())>;
    openMedia Open(const recording& stRecording, EAudio eAudio) const;
    void AddTimed(const recording& stRecording, openMedia& stMedia);
    void AddBare(const recording& stRecording, const openMedia& stMedia);
    void AddGrowing(const recording& stRecording, const openMedia& stMedia, fileTimes stTimes,
                    const PacketFunction& fnNext);
    bool Grows(const recording& stRecording, const openMedia& stMedia) const;
    void Join(const recording& stRecording, const AVCodecParameters& stVideo,
              const clipFrames& stFrames, const fileTimes& stTimes, const PacketFunction& fnNext);
    BytesFunction ProgressOf(const recording& stRecording, std::size_t nReadings) const;
    void TellGap(UtcTime tNext) const;
    bool Fits(const recording& stRecording, const openMedia& stMedia);
    void FitAudio(const recording& stRecording, openMedia& stMedia);
    bool FindAudioKind(AVCodecParameters& stAudio) const;
    void Cover(const recording& stRecording, UtcTime tBegin, UtcTime tEnd);

    CClipWriter& m_objWriter;
    const timeSpan m_stRange;
    const std::vector<recording>& m_vRecordings;
    const std::atomic<bool>& m_bStop;
    const joinEvents m_stEvents;
    const joinGrowth m_stGrowth;
    const EOtherCodec m_eOtherCodec;
    std::deque<recording> m_lsFollowing;  ///< that were not known at first
    CTimedClip m_objTimed;
    std::optional<trackKind> m_optVideo;  ///< of the first recording
    bool m_bAnything = false, m_bAudioTold = false, m_bEnded = false;
    UtcTime m_tBegin;
    UtcTime m_tCovered;  ///< up to where recordings have been looked at
    std::vector<const recording*> m_vUsed;
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_CLIPJOIN_H
