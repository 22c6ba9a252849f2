// Real streams: the analyser against FFmpeg's libraries.

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>

#include <gtest/gtest.h>

#include "Oracle.h"
#include "Streams.h"

namespace {

std::string ReadStream(const std::string& strName) {
    std::ifstream is(std::string(CORPUS_DIR) + "/" + strName, std::ios::binary);
    EXPECT_TRUE(is) << strName;
    return {std::istreambuf_iterator<char>(is), {}};
}

bool IsProgramStream(const std::string& strName) {
    return strName.ends_with(".mpg");
}

std::vector<std::size_t> PackOf(const std::string& strStream,
                                const std::vector<std::size_t>& vecPos) {
    std::vector<std::size_t> vecPack;
    for (std::size_t nPos : vecPos) {
        vecPack.push_back(strStream.rfind(Bytes({0, 0, 1, 0xBA}), nPos));
    }
    vecPack.erase(std::unique(vecPack.begin(), vecPack.end()), vecPack.end());
    return vecPack;
}

// Where frames begin as we count it: with the zero byte of their start code, which the oracle
// leaves to the frame before in H.265; in a program stream with the pack.
std::vector<std::size_t> OraclePositions(const std::string& strStream, bool bKeyFramesOnly) {
    std::vector<std::size_t> vecPos;
    for (const OracleFrame& stFrame : OracleFrames(strStream)) {
        if (stFrame.bKeyFrame || !bKeyFramesOnly) {
            const std::size_t n = stFrame.nPos;
            vecPos.push_back(n - (n > 0 && strStream[n - 1] == 0 ? 1 : 0));
        }
    }
    const bool bPacks = strStream.starts_with(Bytes({0, 0, 1, 0xBA}));
    return bPacks ? PackOf(strStream, vecPos) : vecPos;
}

std::vector<std::size_t> OracleKeyFrames(const std::string& strStream) {
    return OraclePositions(strStream, true);
}

// Frames that FFmpeg's multiplexer strings together begin anywhere in a pack.
bool IsPacked(const std::string& strName) {
    return strName.starts_with("packed");
}

// Decodes each file that begins at a key frame. What stands in front of a key frame in the same
// pack cannot be decoded, or gives one damaged picture; in an open group the pictures that look
// back over the cut cannot be decoded.
void ExpectFilesDecode(const std::string& strStream, bool bPacked, int nLeading) {
    for (std::size_t nPos : KeyFrames(AnalyseWhole(strStream))) {
        SCOPED_TRACE(nPos);
        const OraclePictures stFile = OracleDecode(strStream.substr(nPos));
        EXPECT_GE(stFile.nFirstKey, 0);
        EXPECT_LE(stFile.nFirstKey, bPacked ? 1 : 0);
        EXPECT_LE(stFile.nErrors, nLeading);
        EXPECT_TRUE(bPacked || (stFile.bKeyPacket && stFile.nErrorsInFront <= nLeading));
    }
}

int LeadingPictures(const std::string& strName) {
    return strName == "opengop.h264" ? 1 : 0;
}

void ExpectSameInPieces(const std::string& strStream) {
    const StreamResult stWhole = AnalyseWhole(strStream);
    ASSERT_EQ(stWhole.strBytes, strStream);
    std::mt19937 objRandom(1);
    const NextPiece aCuts[] = {[] { return 1; },
                               [] { return 1400; },
                               [] { return 4096; },
                               [] { return 65536; },
                               [&] { return 1 + objRandom() % 20; },
                               [&] { return 1 + objRandom() % 9000; }};
    for (const NextPiece& nextPiece : aCuts) {
        const StreamResult stCut = Analyse(strStream, nextPiece);
        ASSERT_EQ(stCut.strBytes, strStream);
        ASSERT_EQ(stCut.vecMark, stWhole.vecMark);
    }
}

class Corpus : public testing::TestWithParam<const char*> {};
class BareCorpus : public Corpus {};

TEST_P(Corpus, KeyFramesAreWhereTheOracleSeesThem) {
    const std::string strStream = ReadStream(GetParam());
    const std::vector<std::size_t> vecExpected = OracleKeyFrames(strStream);
    ASSERT_GT(vecExpected.size(), 2u);
    EXPECT_EQ(KeyFrames(AnalyseWhole(strStream)), vecExpected);
}

TEST_P(Corpus, FramesAreTheOracles) {
    const std::string strStream = ReadStream(GetParam());
    std::vector<std::size_t> vecActual, vecExpected = OraclePositions(strStream, false);
    for (const StreamMark& stMark : AnalyseWhole(strStream).vecMark) {
        vecActual.push_back(stMark.nPos);
    }
    ASSERT_GT(vecExpected.size(), 2u);
    if (IsProgramStream(GetParam())) {
        vecExpected.erase(vecExpected.begin() + 1);  // the first that shares a packet: not ours
    }
    if (vecExpected.front() != 0) {
        vecExpected.insert(vecExpected.begin(), 0);  // what stands in front of the first frame
    }
    EXPECT_EQ(vecActual, vecExpected);
}

TEST_P(Corpus, SameHoweverCut) {
    ExpectSameInPieces(ReadStream(GetParam()));
}

TEST_P(Corpus, FilesDecodeFromEveryKeyFrameOn) {
    ExpectFilesDecode(ReadStream(GetParam()), IsPacked(GetParam()), LeadingPictures(GetParam()));
}

TEST_P(BareCorpus, ShortStartCodesChangeNothing) {
    const std::string strLong = Bytes({0, 0, 0, 1}), strStream = ReadStream(GetParam());
    std::string strShort;
    for (std::size_t i = 0; i < strStream.size(); ++i) {
        strShort += strStream.compare(i, 4, strLong) == 0 ? "" : strStream.substr(i, 1);
    }
    EXPECT_EQ(KeyFrames(AnalyseWhole(strShort)), OracleKeyFrames(strShort));
    ExpectSameInPieces(strShort);
}

// The frames of a bare stream as a camera packs them.
TEST_P(BareCorpus, SameKeyFramesInACamerasProgramStream) {
    std::vector<std::string> vecFrame;
    std::vector<bool> vecKey;
    const std::string strStream = ReadStream(GetParam());
    for (const OracleFrame& stFrame : OracleFrames(strStream)) {
        vecFrame.push_back(stFrame.strBytes);
        vecKey.push_back(stFrame.bKeyFrame);
    }
    const int nType = std::string(GetParam()).ends_with("h265") ? 0x24 : 0x1B;
    for (std::size_t nPesSize : {97u, 2000u, 60000u}) {
        const std::string strPacked = ps::Camera(vecFrame, vecKey, nType, nPesSize);
        EXPECT_EQ(KeyFrames(AnalyseWhole(strPacked)), OracleKeyFrames(strPacked));
        ExpectSameInPieces(strPacked);
        ExpectFilesDecode(strPacked, false, LeadingPictures(GetParam()));
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
    const std::string strStream = ReadStream("refresh.h264");
    EXPECT_GT(OracleKeyFrames(strStream).size(), 1u);
    EXPECT_EQ(KeyFrames(AnalyseWhole(strStream)), std::vector<std::size_t>{0});
    ExpectSameInPieces(strStream);
}

}  // namespace
