// A camera's stream, from anything FFmpeg opens: files, RTSP and the like. Hands out the first
// video stream, H.264 or H.265, as a byte stream, one access unit at a time.

#ifndef LOCALSTORAGE_TOOL_MEDIA_MEDIAINPUT_H
#define LOCALSTORAGE_TOOL_MEDIA_MEDIAINPUT_H

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "media/MediaOpening.h"
#include "media/ParameterSets.h"

/// Reads the next packet of that stream; false at the end, and when it was stopped and all that had
/// come is handed out. Throws CFailure.
bool NextPacket(const openMedia& stMedia, AVPacket& stPacket);

/// One access unit of the byte stream, valid until the next call.
struct accessUnit {
    Bytes stBytes;
    bool bKeyFrame = false;
    double fTime = 0;  ///< seconds since the first one, in the order of decoding
};

/// A stream being read.
class CMediaInput {
public:
    /// Opens what the input stands for (AddressOf); throws CFailure. `pStop` (may be null) must
    /// outlive the object.
    CMediaInput(const std::string& strInput, const std::atomic<bool>* pStop,
                const mediaOptions& stOptions = {});

    /// The next access unit, parameter sets in front of every key frame; null at the end of the
    /// stream or when stopped. Throws CFailure when reading breaks off.
    const accessUnit* Next();

    ESource Source() const { return m_stMedia.eSource; }
    ECodec Codec() const { return m_stMedia.eCodec; }
    /// The video goes on in a way that this object cannot read: it must be opened anew.
    bool HasChanged() const { return m_stMedia.HasChanged(); }
    const AVCodecParameters& Parameters() const { return *m_pFilter->par_out; }
    /// Bytes of the input and how many of them were read; 0 where the input cannot tell.
    std::uint64_t Size() const;
    std::uint64_t Position() const;
    /// Seconds, where the container knows them.
    std::optional<double> Duration() const;

private:
    bool ReadPacket();
    double TimeOf(const AVPacket& stPacket);

    openMedia m_stMedia;
    avPointer<AVBSFContext> m_pFilter;
    avPointer<AVPacket> m_pPacket;
    std::optional<CParameterSetKeeper> m_optKeeper;
    accessUnit m_stUnit;
    std::optional<std::int64_t> m_optFirstTime;
    std::uint64_t m_nUnits = 0;
};

/// Seconds that a stream lasts, found by reading it whole; for inputs that do not know it.
double MeasureDuration(const std::string& strInput, const std::atomic<bool>* pStop);

#endif  // LOCALSTORAGE_TOOL_MEDIA_MEDIAINPUT_H
