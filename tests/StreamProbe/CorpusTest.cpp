// Real streams: the analyser against FFmpeg's libraries.

#include "StreamProbe/Streams.h"
#include "Support/Test.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

struct oracleFrame {
    std::size_t nPos;  // of its first byte; in a container of what its PES packet begins with
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

/// From a packet of a transport stream to the PAT in front of it, over tables and packets that are
/// empty.
std::size_t TablesInFront(const std::string& strStream, std::size_t nPos) {
    const std::set<std::string> setQuiet = {Bytes({0x40, 0x11}), Bytes({0x50, 0}), Bytes({0x50, 1}),
                                            Bytes({0x41, 0}), Bytes({0x1F, 0xFF})};
    const std::size_t nFront = strStream[0] == 0x47 ? 0 : 4;
    for (std::size_t n = nPos; n > 0;) {
        n -= nFront + 188;
        const std::string strPid = strStream.substr(n + nFront + 1, 2);
        if (strPid == Bytes({0x40, 0})) return n;
        const bool bPayload = (strStream[n + nFront + 3] & 0x10) != 0;
        if (bPayload && !setQuiet.contains(strPid)) break;
    }
    return nPos;
}

bool IsTransport(const std::string& strStream) {
    return strStream[0] == 0x47 || strStream[4] == 0x47;
}

/// Where a frame of the oracle's begins as we count: in a transport stream with the tables, in a
/// program stream with the pack, else with the zero byte of its start code, which the oracle leaves
/// to the frame before in H.265.
std::size_t BeginOf(const std::string& strStream, std::size_t nPos) {
    const std::string strPack = PACK.substr(0, 4);
    if (IsTransport(strStream)) return TablesInFront(strStream, nPos);
    if (strStream.starts_with(strPack)) return strStream.rfind(strPack, nPos);
    return nPos > 0 && strStream[nPos - 1] == 0 ? nPos - 1 : nPos;
}

/// The oracle's frames as we count them: several that begin at one place are one.
StreamMarks OracleMarks(const std::string& strPath) {
    const std::string strStream = GetFile(strPath);
    StreamMarks vMark;
    for (const oracleFrame& stFrame : OracleFrames(strPath)) {
        const std::size_t nPos = BeginOf(strStream, stFrame.nPos);
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

/// A file that begins at any key frame holds it and all that come behind.
void ExpectWholeFrames(const std::string& strPath) {
    // The first one in a file has a zero byte that is else counted to the one before.
    const auto Same = [](const oracleFrame& stOfAll, const oracleFrame& stOfFile) {
        return stOfFile.bKey == stOfAll.bKey && stOfFile.strBytes.ends_with(stOfAll.strBytes);
    };
    const std::string strStream = GetFile(strPath);
    const auto vFrame = OracleFrames(strPath);
    auto itFrame = vFrame.begin();
    for (const std::size_t nPos : KeyFrames(Analyse(strStream).vMark)) {
        const CTempDir dir;
        PutFile(dir / "file", strStream.substr(nPos));
        itFrame = std::find_if(itFrame, vFrame.end(), [](const auto& st) { return st.bKey; });
        const auto vInFile = OracleFrames(dir / "file");
        EXPECT_TRUE(std::equal(itFrame++, vFrame.end(), vInFile.begin(), vInFile.end(), Same))
            << nPos;
    }
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
    for (const auto& entry : fs::directory_iterator(CORPUS_DIR)) {
        SCOPED_TRACE(entry.path());
        ++nStreams;
        ExpectKeyFrames(GetFile(entry.path()));
        const std::string strKind = entry.path().extension();
        if (strKind == ".ts") ExpectWholeFrames(entry.path());
        if (strKind.starts_with(".h26"))
            ExpectFrames(entry.path(), strKind == ".h265" ? 0x24 : 0x1B);
    }
    EXPECT_EQ(nStreams, 23);
}

}  // namespace
