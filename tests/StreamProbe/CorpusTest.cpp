// Real streams: the analyser against FFmpeg's libraries.

#include <gtest/gtest.h>

#include "Streams.h"
#include "Support/TempDir.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

struct OracleFrame {
    std::size_t nPos;  // of its first byte; in a program stream of the PES packet
    bool bKeyFrame;
    std::string strBytes;
};

// The frames of a file, in decoding order; empty when it cannot be read.
std::vector<OracleFrame> OracleFrames(const std::string& strPath) {
    av_log_set_level(AV_LOG_QUIET);
    AVFormatContext* pFormat = nullptr;
    if (avformat_open_input(&pFormat, strPath.c_str(), nullptr, nullptr) != 0) return {};
    avformat_find_stream_info(pFormat, nullptr);
    const int nVideo = av_find_best_stream(pFormat, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    std::vector<OracleFrame> vFrame;
    AVPacket* p = av_packet_alloc();
    for (; av_read_frame(pFormat, p) == 0; av_packet_unref(p)) {
        if (p->stream_index != nVideo) continue;
        // No position: in the packet of the frame before.
        const auto nPos = p->pos < 0 ? vFrame.back().nPos : static_cast<std::size_t>(p->pos);
        vFrame.push_back({nPos,
                          (p->flags & AV_PKT_FLAG_KEY) != 0,
                          {p->data, p->data + static_cast<std::size_t>(p->size)}});
    }
    av_packet_free(&p);
    avformat_close_input(&pFormat);
    return vFrame;
}

// The oracle's frames as we count them: with the zero byte of their start code, which it leaves to
// the frame before in H.265; in a program stream with the pack, several in one pack as one.
StreamMarks OracleMarks(const std::string& strPath) {
    const std::string strStream = GetFile(strPath);
    const std::string strPack = Bytes({0, 0, 1, 0xBA});
    const bool bPacks = strStream.starts_with(strPack);
    StreamMarks vMark;
    for (const OracleFrame& stFrame : OracleFrames(strPath)) {
        std::size_t nPos = stFrame.nPos;
        if (nPos > 0 && strStream[nPos - 1] == 0) --nPos;
        if (bPacks) nPos = strStream.rfind(strPack, nPos);
        const bool bNew = vMark.empty() || vMark.back().first != nPos;
        if (bNew) vMark.emplace_back(nPos, OTHER);
        if (stFrame.bKeyFrame) vMark.back().second = KEY;
    }
    return vMark;
}

// A stream has the key frames that the oracle sees in it, however it is cut.
void ExpectKeyFrames(const std::string& strStream) {
    const CTempDir dir;
    PutFile(dir / "stream", strStream);
    const auto vExpected = KeyFrames(OracleMarks(dir / "stream"));
    EXPECT_GT(vExpected.size(), 2u);
    EXPECT_EQ(KeyFrames(strStream), vExpected);
    EXPECT_EQ(DifferenceWhenCut(strStream, {1, 13, 1400, 4096, 65536}, 20), "");
}

class BareCorpus : public testing::TestWithParam<const char*> {
protected:
    const std::string m_strName = GetParam();
    const std::string m_strPath = CORPUS_DIR "/" + m_strName;
    const std::string m_strStream = GetFile(m_strPath);
};
using PackedCorpus = BareCorpus;

TEST_P(BareCorpus, FramesAreTheOracles) {
    const StreamMarks vMark = OracleMarks(m_strPath);
    EXPECT_EQ(Analyse(m_strStream).vMark, vMark);
    ExpectKeyFrames(m_strStream);
    ExpectKeyFrames(m_strStream.substr(vMark[1].first + 9));
}

// The frames of a bare stream as a camera packs them.
TEST_P(BareCorpus, SameKeyFramesInACamerasProgramStream) {
    std::vector<Part> vFrame;
    for (const OracleFrame& stFrame : OracleFrames(m_strPath)) {
        vFrame.push_back({stFrame.bKeyFrame ? KEY : OTHER, stFrame.strBytes});
    }
    const int nType = m_strName.ends_with("h265") ? 0x24 : 0x1B;
    for (std::size_t nPesSize : {97u, 2000u, 60000u}) {
        ExpectKeyFrames(Camera(vFrame, nType, nPesSize));
    }
}

TEST_P(PackedCorpus, KeyFramesAreTheOracles) {
    ExpectKeyFrames(m_strStream);
}

INSTANTIATE_TEST_SUITE_P(Corpus, BareCorpus,
                         testing::Values("plain.h264", "bframes.h264", "delimiters.h264",
                                         "slices.h264", "opengop.h264", "interlaced.h264",
                                         "refresh.h264", "refresh_slices.h264", "plain.h265",
                                         "bframes.h265", "opengop.h265", "delimiters.h265",
                                         "slices.h265"));
INSTANTIATE_TEST_SUITE_P(Corpus, PackedCorpus,
                         testing::Values("packed_h264.mpg", "packed_delimiters_h264.mpg",
                                         "packed_sound_h264.mpg", "packed_h265.mpg",
                                         "packed_refresh_h264.mpg", "disc_h264.mpg"));

}  // namespace
