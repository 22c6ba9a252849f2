// Real streams: the analyser against FFmpeg's libraries.

#include <filesystem>

#include <gtest/gtest.h>

#include "StreamProbe/Streams.h"
#include "Support/TempDir.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

struct oracleFrame {
    std::size_t nPos;  // of its first byte; in a program stream of the PES packet
    bool bKey;
    std::string strBytes;
};

/// The frames of a file, in decoding order; none when it cannot be read.
std::vector<oracleFrame> OracleFrames(const std::string& strPath) {
    av_log_set_level(AV_LOG_QUIET);
    AVFormatContext* pFormat = nullptr;
    if (avformat_open_input(&pFormat, strPath.c_str(), nullptr, nullptr) != 0) return {};
    avformat_find_stream_info(pFormat, nullptr);
    const int nVideo = av_find_best_stream(pFormat, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    std::vector<oracleFrame> vFrame;
    AVPacket* p = av_packet_alloc();
    for (; av_read_frame(pFormat, p) == 0; av_packet_unref(p)) {
        if (p->stream_index != nVideo) continue;
        // No position: in the packet of the frame before.
        const auto nPos = p->pos < 0 ? vFrame.back().nPos : static_cast<std::size_t>(p->pos);
        vFrame.push_back({nPos, (p->flags & AV_PKT_FLAG_KEY) != 0, {p->data, p->data + p->size}});
    }
    av_packet_free(&p);
    avformat_close_input(&pFormat);
    return vFrame;
}

/// The oracle's frames as we count them: with the zero byte of their start code, which it leaves to
/// the frame before in H.265; in a program stream with the pack, several in one pack as one.
StreamMarks OracleMarks(const std::string& strPath) {
    const std::string strStream = GetFile(strPath), strPack = PACK.substr(0, 4);
    StreamMarks vMark;
    for (const oracleFrame& stFrame : OracleFrames(strPath)) {
        std::size_t nPos = stFrame.nPos;
        if (nPos > 0 && strStream[nPos - 1] == 0) --nPos;
        if (strStream.starts_with(strPack)) nPos = strStream.rfind(strPack, nPos);
        if (vMark.empty() || vMark.back().first != nPos) vMark.emplace_back(nPos, OTHER);
        if (stFrame.bKey) vMark.back().second = KEY;
    }
    return vMark;
}

/// A stream has the key frames that the oracle sees in it, however it is cut.
void ExpectKeyFrames(const std::string& strStream) {
    const CTempDir dir;
    PutFile(dir / "stream", strStream);
    const auto vExpected = KeyFrames(OracleMarks(dir / "stream"));
    EXPECT_GT(vExpected.size(), 2u);
    EXPECT_EQ(KeyFrames(Analyse(strStream).vMark), vExpected);
    EXPECT_EQ(DifferenceWhenCut(strStream, {1, 13, 1400, 4096, 65536}, 20), "");
}

/// A bare stream: its frames, when it is joined in the middle, and as a camera packs them.
void ExpectFrames(const std::string& strPath, int nStreamType) {
    const std::string strStream = GetFile(strPath);
    const StreamMarks vMark = OracleMarks(strPath);
    EXPECT_EQ(Analyse(strStream).vMark, vMark);
    ExpectKeyFrames(strStream.substr(vMark.at(1).first + 9));
    std::vector<Part> vFrame;
    for (const oracleFrame& stFrame : OracleFrames(strPath)) {
        vFrame.push_back({stFrame.bKey ? KEY : OTHER, stFrame.strBytes});
    }
    for (const std::size_t nPesSize : {97u, 2000u, 60000u}) {
        ExpectKeyFrames(Camera(vFrame, nStreamType, nPesSize));
    }
}

TEST(Corpus, FramesAreTheOracles) {
    int nStreams = 0;
    for (const auto& entry : std::filesystem::directory_iterator(CORPUS_DIR)) {
        SCOPED_TRACE(entry.path());
        ++nStreams;
        ExpectKeyFrames(GetFile(entry.path()));
        const std::string strKind = entry.path().extension();
        if (strKind != ".mpg") ExpectFrames(entry.path(), strKind == ".h265" ? 0x24 : 0x1B);
    }
    EXPECT_EQ(nStreams, 19);
}

}  // namespace
