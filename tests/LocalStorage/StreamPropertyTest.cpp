// However a stream is cut into pieces, the files are the same: headers and, from the first key
// frame on, every byte of the stream in order, each file beginning with a key frame.

#include "LocalStorage/EngineTest.h"
#include "StreamProbe/Streams.h"

namespace {

constexpr char HEAD[] = "HEAD";

std::vector<std::size_t> KeyFrames(const std::string& strStream) {
    return ::KeyFrames(Analyse(strStream).vMark);
}

}  // namespace

class StreamProperty : public CEngineTest, public testing::WithParamInterface<std::string> {
protected:
    void StartAnalysing(LocalStorageType eType, unsigned nFileSize) {
        m_stInfo.bAnalyze = true;
        m_stInfo.nFileSize = nFileSize;
        // Files of one second need names of their own; with the clock moving on, every switch finds
        // one.
        OnMessage([this](const hostMessage& stMessage) {
            if (stMessage.nType == MESSAGEVALUE_CREATEFILE) m_faults.AdvanceTime(2 * SECOND);
        });
        Start(eType);
    }
    void Open() {
        ForgetMessages();
        ASSERT_TRUE(CEngineTest::Open("cam01", m_stFile));
        ASSERT_TRUE(Write("cam01", m_stFile, HEAD, HEADER));
    }

    /// Records the stream in pieces of these sizes, in turn, and returns the files' contents.
    Texts RecordCut(const std::string& strStream, const std::vector<std::size_t>& vSize) {
        Open();
        for (std::size_t nPos = 0, nTurn = 0; nPos < strStream.size();) {
            const std::string strPiece = strStream.substr(nPos, vSize[nTurn++ % vSize.size()]);
            EXPECT_TRUE(Write("cam01", m_stFile, strPiece));
            nPos += strPiece.size();
        }
        EXPECT_TRUE(Close("cam01", m_stFile));
        Texts vContent;
        const Texts vWithoutFrame = Deleted();
        for (const auto& strPath : Told(MESSAGEVALUE_CREATEFILE)) {
            if (std::count(vWithoutFrame.begin(), vWithoutFrame.end(), strPath) > 0) continue;
            vContent.push_back(GetFile(strPath));
        }
        fs::remove_all(Disk() + "RecordFile/");
        return vContent;
    }

    /// The same files. A machine that is so busy that its disk seems to hang may put a switch off.
    bool RecordsAgain(const std::string& strStream, const std::vector<std::size_t>& vSize,
                      const Texts& vFiles) {
        bool bSame = false;
        for (int n = 0; n < 5 && !bSame; ++n) bSame = RecordCut(strStream, vSize) == vFiles;
        return bSame;
    }

    /// Headers off; each file begins with one, and what follows with a key frame.
    static std::string Join(const Texts& vContent) {
        std::string strAll;
        for (const std::string& strContent : vContent) {
            EXPECT_TRUE(strContent.starts_with(HEAD));
            const std::string strBody =
                strContent.substr(std::min(strlen(HEAD), strContent.size()));
            EXPECT_TRUE(!strBody.empty() && KeyFrames(strBody).at(0) == 0);
            strAll += strBody;
        }
        return strAll;
    }

    static std::vector<std::vector<std::size_t>> Cuts(std::size_t nStream) {
        std::mt19937 random(2024);
        std::uniform_int_distribution<std::size_t> size(1, 5000);
        std::vector<std::size_t> vRandom(997);
        std::generate(vRandom.begin(), vRandom.end(), [&] { return size(random); });
        std::vector<std::vector<std::size_t>> vCuts = {{nStream}, {65536}, {4096}, {1400}};
        vCuts.push_back(vRandom);
        if (nStream < 500000) vCuts.push_back({3, 1, 4, 1, 5, 9, 2, 6});
        return vCuts;
    }

    void Check(const std::string& strStream, LocalStorageType eType, unsigned nFileSize,
               std::size_t nMinFiles) {
        Reset();
        StartAnalysing(eType, nFileSize);
        const auto vKey = KeyFrames(strStream);
        ASSERT_FALSE(vKey.empty());
        const auto vCuts = Cuts(strStream.size());
        Texts vWhole = RecordCut(strStream, vCuts[0]);
        if (!RecordsAgain(strStream, vCuts[0], vWhole)) vWhole = RecordCut(strStream, vCuts[0]);
        EXPECT_GE(vWhole.size(), nMinFiles);
        EXPECT_TRUE(Join(vWhole) == strStream.substr(vKey[0]));
        for (const auto& vCut : vCuts) {
            EXPECT_TRUE(RecordsAgain(strStream, vCut, vWhole)) << "cut " << &vCut - &vCuts[0];
        }
    }

    static std::string Stream(const std::string& strName = GetParam()) {
        return GetFile(std::string(CORPUS_DIR "/") + strName);
    }

    recFileInfo m_stFile = Hour(5, 8);
};

TEST_P(StreamProperty, OneFileOrAFilePerKeyFrameOrFilesOfAMebibyte) {
    const std::string strStream = Stream();
    ASSERT_NE(strStream, "") << "script/make-corpus makes the streams";
    Check("garbage in front" + strStream, LOCAL_STORAGE_REMOTE_BACKUP, 1, 1);
    Check(strStream, LOCAL_STORAGE_CLIENT, 0, KeyFrames(strStream).size());
    std::string strLong;
    while (strLong.size() < (5u << 19)) strLong += strStream;
    Check(strLong, LOCAL_STORAGE_CLIENT, 1, 2);
}

class StreamEnd : public StreamProperty {
protected:
    const std::string m_strStream = Stream("plain.h264");
    const std::vector<std::size_t> m_vKey = KeyFrames(m_strStream);
};

TEST_F(StreamEnd, ReleaseSavesTheRestAndTellsNothing) {
    for (std::size_t nRest = 1; nRest < 64; ++nRest) {
        Reset();
        StartAnalysing(LOCAL_STORAGE_CLIENT, 0);
        Open();
        const std::string strStream = m_strStream.substr(0, m_vKey.at(1) + nRest);
        EXPECT_TRUE(Write("cam01", m_stFile, strStream));
        const std::size_t nMessages = Messages().size();
        m_pEngine->Release();
        EXPECT_EQ(Messages().size(), nMessages);
        std::string strAll;
        for (const std::string& strPath : RecordFiles()) strAll += GetFile(strPath).substr(4);
        EXPECT_EQ(strAll, strStream) << nRest;
    }
}

// In the middle of the first switch, and when the host is told what was lost by that.
TEST_F(StreamEnd, GoesOnAfterASwitchThatRanOutOfMemory) {
    StartAnalysing(LOCAL_STORAGE_CLIENT, 0);
    Open();
    OnMessage([this](const hostMessage& stMessage) {
        if (stMessage.nType == MESSAGEVALUE_CREATEFILE) return m_faults.AdvanceTime(2 * SECOND);
        if (Told(stMessage.nType).size() == 1) throw std::bad_alloc();
    });
    EXPECT_FALSE(Write("cam01", m_stFile, m_strStream));
    EXPECT_TRUE(Write("cam01", m_stFile, m_strStream));
    EXPECT_TRUE(Close("cam01", m_stFile));
    EXPECT_GT(Told(MESSAGEVALUE_CREATEFILE).size(), m_vKey.size());
    EXPECT_EQ(Told(MESSAGEVALUE_CREATEFILE), Told(MESSAGEVALUE_CLOSEFILE));
}

INSTANTIATE_TEST_SUITE_P(Corpus, StreamProperty,
                         testing::Values("plain.h264", "bframes.h264", "delimiters.h264",
                                         "slices.h264", "refresh.h264", "plain.h265",
                                         "bframes.h265", "delimiters.h265", "packed_h264.mpg",
                                         "packed_sound_h264.mpg", "packed_h265.mpg",
                                         "often_h264.ts", "disc_opengop_h264.ts"),
                         [](const auto& stParam) {
                             std::string strName = stParam.param;
                             std::replace(strName.begin(), strName.end(), '.', '_');
                             return strName;
                         });
