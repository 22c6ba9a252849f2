// Real streams: the analyser against FFmpeg's libraries.

#include <algorithm>

#include <gtest/gtest.h>

#include "Oracle.h"
#include "Streams.h"
#include "Support/TempDir.h"

namespace {

std::string PathOf(const std::string& strName) {
    return std::string(CORPUS_DIR) + "/" + strName;
}

bool IsProgramStream(const std::string& strName) {
    return strName.ends_with(".mpg");
}

// The oracle's frames as we count them: with the zero byte of their start code, which it leaves to
// the frame before in H.265; in a program stream with the pack, several in one pack as one.
StreamMarks OracleMarks(const std::string& strPath) {
    const std::string strStream = GetFile(strPath);
    const std::string strPack = Bytes({0, 0, 1, 0xBA});
    const bool bPacks = strStream.starts_with(strPack);
    StreamMarks vecMark;
    for (const OracleFrame& stFrame : OracleFrames(strPath)) {
        std::size_t nPos = stFrame.nPos;
        if (nPos > 0 && strStream[nPos - 1] == 0) --nPos;
        if (bPacks) nPos = strStream.rfind(strPack, nPos);
        const bool bNew = vecMark.empty() || vecMark.back().nPos != nPos;
        if (bNew) vecMark.push_back({nPos, OTHER});
        if (stFrame.bKeyFrame) vecMark.back().nType = KEY;
    }
    return vecMark;
}

void ExpectSameHoweverCut(const std::string& strStream) {
    EXPECT_EQ(DifferenceWhenCut(strStream, {1, 13, 1400, 4096, 65536}, 20), "");
}

class Corpus : public testing::TestWithParam<const char*> {
protected:
    const std::string m_strName = GetParam();
    const std::string m_strPath = PathOf(m_strName);
    const std::string m_strStream = GetFile(m_strPath);
};

/// Makes other streams of one; they have the key frames that the oracle sees in them.
class BareCorpus : public Corpus {
protected:
    void ExpectKeyFrames(const std::string& strStream) {
        PutFile(m_dir / "stream", strStream);
        const auto vecExpected = KeyFrames(OracleMarks(m_dir / "stream"));
        EXPECT_GT(vecExpected.size(), 2u);
        EXPECT_EQ(KeyFrames(strStream), vecExpected);
        ExpectSameHoweverCut(strStream);
    }

    CTempDir m_dir;
};

TEST_P(Corpus, FramesAreTheOraclesHoweverCut) {
    StreamMarks vecExpected = OracleMarks(m_strPath);
    ASSERT_GT(KeyFrames(vecExpected).size(), 2u);
    if (IsProgramStream(m_strName)) {
        vecExpected.erase(vecExpected.begin() + 1);  // the first that shares a packet: not ours
    }
    if (vecExpected.front().nPos != 0) {
        vecExpected.insert(vecExpected.begin(), {0, OTHER});  // in front of the first frame
    }
    EXPECT_EQ(Analyse(m_strStream).vecMark, vecExpected);
    ExpectSameHoweverCut(m_strStream);
}

TEST_P(BareCorpus, ShortStartCodesChangeNothing) {
    const std::string strLong = Bytes({0, 0, 0, 1});
    std::string strShort;
    for (std::size_t i = 0; i < m_strStream.size(); ++i) {
        if (m_strStream.compare(i, 4, strLong) != 0) strShort += m_strStream[i];
    }
    ExpectKeyFrames(strShort);
}

// The frames of a bare stream as a camera packs them.
TEST_P(BareCorpus, SameKeyFramesInACamerasProgramStream) {
    std::vector<Part> vecFrame;
    for (const OracleFrame& stFrame : OracleFrames(m_strPath)) {
        vecFrame.push_back({stFrame.bKeyFrame ? KEY : OTHER, stFrame.strBytes});
    }
    const int nType = m_strName.ends_with("h265") ? 0x24 : 0x1B;
    for (std::size_t nPesSize : {97u, 2000u, 60000u}) {
        ExpectKeyFrames(ps::Camera(vecFrame, nType, nPesSize));
    }
}

std::string NameOf(const testing::TestParamInfo<const char*>& stInfo) {
    std::string strName = stInfo.param;
    std::replace(strName.begin(), strName.end(), '.', '_');
    return strName;
}

const auto BARE = testing::Values("plain.h264", "bframes.h264", "delimiters.h264", "slices.h264",
                                  "opengop.h264", "interlaced.h264", "plain.h265", "bframes.h265",
                                  "opengop.h265", "delimiters.h265", "slices.h265");
INSTANTIATE_TEST_SUITE_P(Bare, Corpus, BARE, NameOf);
INSTANTIATE_TEST_SUITE_P(Bare, BareCorpus, BARE, NameOf);
INSTANTIATE_TEST_SUITE_P(ProgramStream, Corpus,
                         testing::Values("packed_h264.mpg", "packed_delimiters_h264.mpg",
                                         "packed_sound_h264.mpg", "packed_h265.mpg",
                                         "disc_h264.mpg"),
                         NameOf);

// Deliberate: FFmpeg calls every recovery point a key frame; we do not where a refresh takes its
// time, for nothing decodes alone from there.
TEST(CorpusRefresh, GradualRefreshHasOneKeyFrame) {
    EXPECT_GT(KeyFrames(OracleMarks(PathOf("refresh.h264"))).size(), 1u);
    EXPECT_EQ(KeyFrames(GetFile(PathOf("refresh.h264"))), std::vector<std::size_t>{0});
}

}  // namespace
