// A camera's stream, from anything FFmpeg opens: files, RTSP and the like. Hands out the first
// video stream, H.264 or H.265, as a byte stream, one access unit at a time.

#ifndef LOCALSTORAGE_TOOL_MEDIA_MEDIAINPUT_H
#define LOCALSTORAGE_TOOL_MEDIA_MEDIAINPUT_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "media/ParameterSets.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
}

/// Frees what FFmpeg's libraries allocate.
struct avFree {
    void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
    void operator()(AVBSFContext* p) const { av_bsf_free(&p); }
    void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
    void operator()(AVCodecParserContext* p) const { av_parser_close(p); }
    void operator()(AVPacket* p) const { av_packet_free(&p); }
    void operator()(AVFrame* p) const { av_frame_free(&p); }
};
template <typename T>
using avPointer = std::unique_ptr<T, avFree>;

/// An address without its user and password, as messages show it.
std::string WithoutPassword(const std::string& strInput);

/// FFmpeg's words for one of its error numbers.
std::string AvErrorText(int nError);

/// Keeps FFmpeg's own messages off the screen: failures are told in this tool's words.
void SilenceFfmpeg();

/// What ends FFmpeg's waiting for a source: a stop, or half a minute without a sign of life.
struct inputGuard {
    const std::atomic<bool>* pStop = nullptr;  ///< may be null
    std::chrono::steady_clock::time_point tDeadline;

    void Rearm();
    bool IsStopped() const { return pStop && *pStop; }
    bool IsSilent() const { return std::chrono::steady_clock::now() > tDeadline; }
};

/// An open container and its first video stream.
struct openMedia {
    std::string strName;  ///< of the input, for messages: without a password
    std::unique_ptr<inputGuard> pGuard;
    avPointer<AVFormatContext> pFormat;
    AVStream* pStream = nullptr;
    ECodec eCodec = ECodec::H264;
};

/// Opens an input and finds its first H.264 or H.265 stream. `pStop` (may be null) must outlive it.
/// Throws CFailure.
openMedia OpenMedia(const std::string& strInput, const std::atomic<bool>* pStop);

/// Reads the next packet of that stream; false at the end or when stopped. Throws CFailure.
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
    /// Throws CFailure. `pStop` (may be null) must outlive the object.
    CMediaInput(const std::string& strInput, const std::atomic<bool>* pStop);

    /// The next access unit, parameter sets in front of every key frame; null at the end of the
    /// stream or when stopped. Throws CFailure when reading breaks off.
    const accessUnit* Next();

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
