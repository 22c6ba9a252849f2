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

void Row(const char* szNumber, const char* szWhat, const Input& stInput, AVCodecID eCodec,
         std::size_t nPiece, double dGoal) {
    // The parser still holds the last frame.
    const int nOurs = CountWithAnalyser(stInput, nPiece);
    if (nOurs < 2 || std::abs(nOurs - CountWithParser(stInput, eCodec, nPiece)) > 1) {
        std::fprintf(stderr, "%s: %d key frames, the parser finds others\n", szWhat, nOurs);
        std::exit(1);
    }
    Ratio(
        szNumber, szWhat, "av_parser_parse2", AtLeast(dGoal),
        [&stInput, nPiece] {
            return SecondsOf([&] { benchmark::DoNotOptimize(CountWithAnalyser(stInput, nPiece)); });
        },
        [&stInput, eCodec, nPiece] {
            return SecondsOf(
                [&] { benchmark::DoNotOptimize(CountWithParser(stInput, eCodec, nPiece)); });
        });
}

}  // namespace

int main(int argc, char** argv) {
    av_log_set_level(AV_LOG_QUIET);
    const Input stH264 = ReadInput("bench.h264"), stH265 = ReadInput("bench.h265");
    Row("4a", "analyser, H.264, 4 KiB", stH264, AV_CODEC_ID_H264, 4096, 2);
    Row("4b", "analyser, H.264, 64 KiB", stH264, AV_CODEC_ID_H264, 65536, 2);
    Row("4c", "analyser, H.265, 4 KiB", stH265, AV_CODEC_ID_HEVC, 4096, 7.5);
    Row("4d", "analyser, H.265, 64 KiB", stH265, AV_CODEC_ID_HEVC, 65536, 7.5);
    return RunRatios(argc, argv);
}
