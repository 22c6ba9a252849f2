// FFmpeg's libraries as this room uses them.

#ifndef LOCALSTORAGE_TOOL_MEDIA_FFMPEG_H
#define LOCALSTORAGE_TOOL_MEDIA_FFMPEG_H

#include <cstdint>
#include <memory>
#include <string>

#include "base/OpenFile.h"

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
    void operator()(AVCodecParameters* p) const { avcodec_parameters_free(&p); }
    void operator()(AVCodecParserContext* p) const { av_parser_close(p); }
    void operator()(AVPacket* p) const { av_packet_free(&p); }
    void operator()(AVFrame* p) const { av_frame_free(&p); }
};
template <typename T>
using avPointer = std::unique_ptr<T, avFree>;

/// What FFmpeg reads or writes other than by a path of its own.
struct avIoFree {
    void operator()(AVIOContext* p) const;
};
using avIo = std::unique_ptr<AVIOContext, avIoFree>;

/// What it calls, as AVIOContext has them; one of the first two.
struct ioCalls {
    int (*fnRead)(void* pOwner, std::uint8_t* pData, int nSize) = nullptr;
    int (*fnWrite)(void* pOwner, std::uint8_t* pData, int nSize) = nullptr;
    std::int64_t (*fnSeek)(void* pOwner, std::int64_t nTo, int nWhence) = nullptr;
};
/// In blocks. Null when there is no memory for it.
avIo MakeIo(int nBlockSize, void* pOwner, const ioCalls& st);

/// Moves a position in a file as AVIOContext asks for it: the new one, the file's size where that
/// is asked for, or one of FFmpeg's errors.
std::int64_t SeekIn(const COpenFile& objFile, std::uint64_t& nAt, std::int64_t nTo,
                    int nWhence) noexcept;

/// Opens a filter of packets by its name. 0, or one of FFmpeg's errors.
int OpenFilter(const char* pName, const AVCodecParameters& st, AVRational stTimeBase,
               avPointer<AVBSFContext>& pFilter);

/// FFmpeg's words for one of its error numbers.
std::string AvErrorText(int nError);

/// Keeps FFmpeg's own messages off the screen: failures are told in this tool's words.
void SilenceFfmpeg();

#endif  // LOCALSTORAGE_TOOL_MEDIA_FFMPEG_H
