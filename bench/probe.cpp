// The stream analyser alone, over a stream in memory in pieces of one size.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "Ratio.h"
#include "StreamProbe/StreamProbe.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

// The stream repeated to some 64 MiB, padded as the parser asks for.
struct Input {
    std::string strBytes;
    std::size_t nSize;
};

Input ReadInput(const char* szName) {
    constexpr std::size_t SIZE = std::size_t{64} << 20;
    std::ifstream is(std::string(STREAM_DIR) + "/" + szName, std::ios::binary);
    const std::string strOne{std::istreambuf_iterator<char>(is), {}};
    if (strOne.empty()) {
        std::fprintf(stderr, "%s/%s cannot be read\n", STREAM_DIR, szName);
        std::exit(1);
    }
    Input stInput;
    while (stInput.strBytes.size() < SIZE) stInput.strBytes += strOne;
    stInput.nSize = stInput.strBytes.size();
    stInput.strBytes.append(AV_INPUT_BUFFER_PADDING_SIZE, '\0');
    return stInput;
}

// What was found, so that both do their work: key frames.
int CountWithAnalyser(const Input& stInput, std::size_t nPiece) {
    VEXANA_Handle hStream = nullptr;
    VEXANA_CreateStreamEx(nullptr, 0, &hStream);
    int nKeyFrames = 0;
    VEXANA_PACKET stPacket;
    for (std::size_t i = 0; i < stInput.nSize; i += nPiece) {
        VEXANA_InputData(hStream, stInput.strBytes.data() + i, std::min(nPiece, stInput.nSize - i));
        while (VEXANA_GetOnePacketEx(hStream, stPacket) == VEXANA_OK) {
            nKeyFrames += stPacket.nFrameType == VEXANA_FRAME_I;
        }
    }
    VEXANA_Destroy(hStream);
    return nKeyFrames;
}

int CountWithParser(const Input& stInput, AVCodecID eCodec, std::size_t nPiece) {
    AVCodecParserContext* pParser = av_parser_init(eCodec);
    AVCodecContext* pContext = avcodec_alloc_context3(nullptr);
    int nKeyFrames = 0;
    for (std::size_t i = 0; i < stInput.nSize; i += nPiece) {
        const auto* pData = reinterpret_cast<const std::uint8_t*>(stInput.strBytes.data()) + i;
        int nLeft = static_cast<int>(std::min(nPiece, stInput.nSize - i));
        while (nLeft > 0) {
            std::uint8_t* pFrame = nullptr;
            int nFrame = 0;
            const int nUsed =
                av_parser_parse2(pParser, pContext, &pFrame, &nFrame, pData, nLeft, 0, 0, 0);
            nKeyFrames += nFrame > 0 && pParser->key_frame == 1;
            pData += nUsed;
            nLeft -= nUsed;
        }
    }
    av_parser_close(pParser);
    avcodec_free_context(&pContext);
    return nKeyFrames;
}

/// Gives the stream to FFmpeg in pieces.
struct Reader {
    const Input& stInput;
    std::size_t nPos = 0;

    static int Read(void* pThis, std::uint8_t* pTo, int nSize) {
        auto& [stInput, nPos] = *static_cast<Reader*>(pThis);
        const std::size_t nGiven = std::min(static_cast<std::size_t>(nSize), stInput.nSize - nPos);
        std::copy_n(stInput.strBytes.data() + nPos, nGiven, pTo);
        nPos += nGiven;
        return nGiven > 0 ? static_cast<int>(nGiven) : AVERROR_EOF;
    }
};

int CountWithDemultiplexer(const Input& stInput, std::size_t nPiece) {
    Reader reader{stInput};
    AVFormatContext* pFormat = avformat_alloc_context();
    pFormat->pb =
        avio_alloc_context(static_cast<unsigned char*>(av_malloc(nPiece)), static_cast<int>(nPiece),
                           0, &reader, Reader::Read, nullptr, nullptr);
    AVIOContext* pIo = pFormat->pb;
    int nKeyFrames = 0;
    if (avformat_open_input(&pFormat, "", av_find_input_format("mpegts"), nullptr) == 0) {
        AVPacket* pPacket = av_packet_alloc();
        for (; av_read_frame(pFormat, pPacket) == 0; av_packet_unref(pPacket)) {
            const AVStream* pStream = pFormat->streams[pPacket->stream_index];
            nKeyFrames += pStream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
                          (pPacket->flags & AV_PKT_FLAG_KEY) != 0;
        }
        av_packet_free(&pPacket);
        avformat_close_input(&pFormat);
    }
    av_freep(&pIo->buffer);
    avio_context_free(&pIo);
    return nKeyFrames;
}

/// `theirs(nPiece)` finds the key frames, too, but for the last frame, which a parser still holds.
template <typename Theirs>
void Row(const char* szNumber, const std::string& strWhat, const char* szBaseline,
         const Input& stInput, std::size_t nPiece, double dGoal, Theirs theirs) {
    const int nOurs = CountWithAnalyser(stInput, nPiece);
    if (nOurs < 2 || std::abs(nOurs - theirs(nPiece)) > 1) {
        std::fprintf(stderr, "%s: %d key frames, %s finds others\n", strWhat.c_str(), nOurs,
                     szBaseline);
        std::exit(1);
    }
    Ratio(
        szNumber, "analyser, " + strWhat + (nPiece == 4096 ? ", 4 KiB" : ", 64 KiB"), szBaseline,
        AtLeast(dGoal),
        [&stInput, nPiece] {
            return SecondsOf([&] { benchmark::DoNotOptimize(CountWithAnalyser(stInput, nPiece)); });
        },
        [nPiece, theirs] { return SecondsOf([&] { benchmark::DoNotOptimize(theirs(nPiece)); }); });
}

/// Both sizes of pieces.
template <typename Theirs>
void Rows(const char* szFirst, const char* szSecond, const char* szWhat, const char* szBaseline,
          const Input& stInput, double dGoal, Theirs theirs) {
    Row(szFirst, szWhat, szBaseline, stInput, 4096, dGoal, theirs);
    Row(szSecond, szWhat, szBaseline, stInput, 65536, dGoal, theirs);
}

void ParserRows(const char* szFirst, const char* szSecond, const char* szWhat, const Input& stInput,
                AVCodecID eCodec, double dGoal) {
    Rows(szFirst, szSecond, szWhat, "av_parser_parse2", stInput, dGoal,
         [&stInput, eCodec](std::size_t nPiece) {
             return CountWithParser(stInput, eCodec, nPiece);
         });
}

}  // namespace

int main(int argc, char** argv) {
    av_log_set_level(AV_LOG_QUIET);
    const Input stH264 = ReadInput("bench.h264"), stH265 = ReadInput("bench.h265"),
                stTransport = ReadInput("bench.ts");
    ParserRows("4a", "4b", "H.264", stH264, AV_CODEC_ID_H264, 2);
    ParserRows("4c", "4d", "H.265", stH265, AV_CODEC_ID_HEVC, 7.5);
    Rows(
        "4e", "4f", "transport stream", "libavformat, mpegts", stTransport, 8,
        [&stTransport](std::size_t nPiece) { return CountWithDemultiplexer(stTransport, nPiece); });
    return RunRatios(argc, argv);
}
