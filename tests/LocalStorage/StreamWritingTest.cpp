// Headers, plain streams and the switch from file to file.

#include <cerrno>
#include <chrono>
#include <thread>

#include "LocalStorage/EngineTest.h"

using testing::ElementsAre;
using testing::SizeIs;

class StreamWriting : public CEngineTest {
protected:
    static constexpr std::size_t MIB = 1 << 20;

    void StartOpened() {
        Start();
        ASSERT_TRUE(Open("cam01", m_stFile));
        Said();
    }
    /// In the client layout, a second after a file of 1 MiB became full.
    void StartBeforeSwitch() {
        m_stInfo.nFileSize = 1;
        Start(LOCAL_STORAGE_CLIENT);
        ASSERT_TRUE(Open("cam01", m_stFile));
        ASSERT_TRUE(WriteHeader("HEAD"));
        ASSERT_TRUE(WritePiece(std::string(MIB, 'a')));
        m_faults.AdvanceTime(SECOND);
        Said();
    }
    bool WriteHeader(const std::string& strHead) {
        return Write("cam01", m_stFile, strHead, HEADER);
    }
    bool WritePiece(const std::string& strData) { return Write("cam01", m_stFile, strData); }
    /// What lies in the n-th file.
    std::string File(std::size_t n = 0) const { return GetFile(RecordFiles().at(n)); }

    recFileInfo m_stFile = Hour(5, 8);
    const std::string m_strDay = "$/1/RecordFile/20240305/cam01/";
    const std::string m_strSwitch = "[wtb][CLocalStorage::SwitchRecFile] ";
};

TEST_F(StreamWriting, RefusesWhatItCannotPlace) {
    Start();
    char szCamera[] = "cam01";
    EXPECT_FALSE(m_pEngine->WriteData(szCamera, 0, nullptr, 0, m_stFile));
    EXPECT_FALSE(m_pEngine->WriteData(nullptr, 0, szCamera, 1, m_stFile));
    EXPECT_FALSE(WritePiece("data"));
}

TEST_F(StreamWriting, WritesPiecesAsTheyComeAndTheFirstHeader) {
    m_stInfo.nFileSize = 1;  // for the client layout only
    StartOpened();
    EXPECT_TRUE(WritePiece(std::string(MIB, 'x')));
    EXPECT_FALSE(WriteHeader(std::string(129, 'h')));
    EXPECT_TRUE(WriteHeader(std::string(128, 'h')));
    EXPECT_TRUE(WriteHeader("OTHER"));
    EXPECT_TRUE(WritePiece("after"));
    EXPECT_TRUE(WritePiece(""));
    EXPECT_EQ(File(), std::string(MIB, 'x') + std::string(128, 'h') + "after");
}

TEST_F(StreamWriting, AnalysedDataNeedsAHeader) {
    m_stInfo.bAnalyze = true;
    StartOpened();
    EXPECT_FALSE(WritePiece("data"));
    EXPECT_TRUE(WriteHeader(""));
    EXPECT_TRUE(WritePiece("data"));  // dropped: no key frame yet
    EXPECT_EQ(File(), "");
}

TEST_F(StreamWriting, AHeaderThatFailedIsWrittenWhenItIsRepeatedInFrontOfTheStream) {
    const struct {
        std::size_t nPartly;  // bytes of the header that are written all the same
        const char *pBetween, *pContent;
    } CASES[] = {{0, "", "HEADnext"}, {0, "begun", "begunnext"}, {2, "", "HEnext"}};
    for (const auto& stCase : CASES) {
        m_stInfo.bAnalyze = false;
        StartOpened();
        if (stCase.nPartly > 0) m_faults.ShortWrite(Ends(".mp4"), stCase.nPartly).Times(1);
        m_faults.Fail(Op::Write, Ends(".mp4"), ENOSPC).From(stCase.nPartly > 0 ? 2 : 1).Times(1);
        EXPECT_FALSE(WriteHeader("HEAD"));
        EXPECT_TRUE(WritePiece(stCase.pBetween));  // an empty one begins nothing
        EXPECT_TRUE(WriteHeader("HEAD"));
        EXPECT_TRUE(WritePiece("next"));
        EXPECT_EQ(File(), stCase.pContent);
        Stop();
        m_faults.ClearRules();
        std::filesystem::remove_all(Disk());
    }
}

TEST_F(StreamWriting, FailedWritesAreReportedAndTriedAgain) {
    StartOpened();
    m_faults.Fail(Op::Write, Ends(".mp4"), EFBIG).Times(1);
    EXPECT_FALSE(WritePiece("lost"));
    EXPECT_TRUE(WritePiece("kept"));
    EXPECT_EQ(Said().at(0), "-> 6 cam01 27 [132] user");
    EXPECT_EQ(File(), "kept");
}

TEST_F(StreamWriting, SwitchesAtTheLimitAndTellsTheHostInOrder) {
    m_stInfo.nFileSize = 1;
    Start(LOCAL_STORAGE_CLIENT);
    ASSERT_TRUE(Open("cam01", m_stFile));
    EXPECT_TRUE(WriteHeader("HEAD"));
    EXPECT_TRUE(WritePiece(std::string(MIB - 5, 'a')));  // one byte below, the header counts
    EXPECT_TRUE(WritePiece("b"));
    Said();
    m_faults.AdvanceTime(DAY);
    EXPECT_TRUE(WriteHeader("NEW"));  // for the next file
    EXPECT_TRUE(WritePiece("c"));
    const std::string strOld = m_strDay + "20240305_080000.mp4";
    const std::string strNew = "$/1/RecordFile/20240306/cam01/20240306_080000.mp4";
    const std::string strTell = m_strSwitch + "pFunCallback MESSAGEVALUE_";
    EXPECT_THAT(Said(), ElementsAre(m_strSwitch + "old file, strRecFilePath[" + strOld + "]",
                                    "-> 5 cam01 " + strOld + " 20240306080000 [396] user",
                                    strTell + "CLOSEFILE, szFileName [" + strOld + "]",
                                    m_strSwitch + "new file, strRecFilePath[" + strNew + "]",
                                    "-> 3 cam01 " + strNew + " 20240306080000 [396] user",
                                    strTell + "CREATEFILE, szFileName [" + strNew + "]"));
    EXPECT_EQ(File(0), "HEAD" + std::string(MIB - 5, 'a') + "b");
    EXPECT_EQ(File(1), "NEWc");
}

TEST_F(StreamWriting, ManySwitchesInOneSecondKeepTheFileOnceNamesRunAhead) {
    StartBeforeSwitch();
    m_faults.Fail(Op::Access, Ends(".mp4"), EIO);
    EXPECT_TRUE(WritePiece("a"));
    EXPECT_THAT(RecordFiles(), SizeIs(1)) << "no name is known to be free";
    m_faults.ClearRules();
    m_faults.AdvanceTime(SECOND);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(WritePiece(std::string(MIB, 'b')));
    const auto looks = m_faults.Watch(Op::Access, Ends(".mp4"));
    EXPECT_TRUE(WritePiece(std::string(MIB, 'b')));
    EXPECT_EQ(looks.Seen(), 0u) << "no name comes free within the second";
    EXPECT_THAT(RecordFiles(), SizeIs(3));  // the one before, this second and the next
    m_faults.AdvanceTime(SECOND);
    EXPECT_TRUE(WritePiece("c"));
    EXPECT_THAT(RecordFiles(), SizeIs(4));
    EXPECT_EQ(File(2).size(), 3 * MIB + 4);
}

TEST_F(StreamWriting, TheNextFileIsNamedAfterTheHostHasHeardOfTheLast) {
    StartBeforeSwitch();
    OnMessage([this](const HostMessage& stMessage) {  // which takes the host a day
        if (stMessage.nType == MESSAGEVALUE_CLOSEFILE) m_faults.AdvanceTime(DAY);
    });
    EXPECT_TRUE(WritePiece("next"));
    EXPECT_THAT(RecordFiles().back(), testing::EndsWith("20240306/cam01/20240306_080001.mp4"));
}

TEST_F(StreamWriting, ANextFileWhosePathIsTooLongIsToldOnce) {
    AddDisk("1");
    AddDisk(std::string(259 - m_dir.Path().size() - 45, 'd'));
    m_stInfo.bCycWrite = true;
    StartBeforeSwitch();
    SetRoom(FULL, "1");
    CheckDisk();  // moves to the other
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(WritePiece("kept"));
    EXPECT_THAT(LinesWith("SwitchRecFile] path too long"), SizeIs(1));
    EXPECT_EQ(File().size(), MIB + 4 + 12);
}

TEST_F(StreamWriting, AFailedCloseIsAFailedWrite) {
    const std::string strFail = "-> 6 cam01 5 [132] user";
    for (const std::string strHow : {"close", "switch", "release"}) {
        StartBeforeSwitch();
        m_faults.Fail(Op::Close, Ends(".mp4"), EIO).Times(1);
        if (strHow == "close") {
            EXPECT_TRUE(Close("cam01", m_stFile));
        } else if (strHow == "switch") {
            EXPECT_TRUE(WritePiece("next"));
        } else {
            EXPECT_TRUE(m_pEngine->Release());
        }
        EXPECT_THAT(LinesWith("OSL_CloseFile fail"), SizeIs(1)) << strHow;
        const Trace lsSaid = Said();
        EXPECT_THAT(lsSaid.at(0), testing::HasSubstr("disk counts as full"));
        EXPECT_EQ(lsSaid.at(1), strFail);  // before the host hears that it is closed
        Stop();
        std::filesystem::remove_all(Disk() + "RecordFile");
        m_faults.SetTime(Morning());
    }
}

TEST_F(StreamWriting, AfterAFailedSwitchTheChannelHoldsNoHandle) {
    for (const Op eOp : {Op::Open, Op::Write}) {  // the latter of the header
        StartBeforeSwitch();
        m_faults.Fail(eOp, Ends("080001.mp4"), EFBIG).Times(1);
        EXPECT_FALSE(WritePiece("lost"));
        EXPECT_EQ(Said().at(4), "-> 6 cam01 9 [132] user");  // EBADF: written nowhere
        EXPECT_THAT(RecordFiles(), SizeIs(1));
        EXPECT_TRUE(WritePiece("kept"));
        EXPECT_EQ(File(1), "HEADkept");
        EXPECT_THAT(PathsOf(MESSAGEVALUE_CLOSEFILE), SizeIs(1));
        Stop();
        std::filesystem::remove_all(Disk() + "RecordFile");
        m_faults.SetTime(Morning());
    }
}

TEST_F(StreamWriting, AFileOnAFailedDiskIsGivenUpForAnotherDiskAtOnce) {
    StartOnTwo(LOCAL_STORAGE_CLIENT);
    ASSERT_TRUE(Open("cam01", m_stFile));
    m_faults.Fail(Op::Write, Below(m_dir / "1"), ENOSPC);
    EXPECT_FALSE(WritePiece("lost"));
    const auto tStart = std::chrono::steady_clock::now();
    while (PathsOf(MESSAGEVALUE_SWITCHDISK).empty()) std::this_thread::yield();
    EXPECT_LT(std::chrono::steady_clock::now() - tStart, std::chrono::seconds(4));
    EXPECT_TRUE(WritePiece("kept"));
    EXPECT_EQ(GetFile(Disk("2") + "RecordFile/20240305/cam01/20240305_080000.mp4"), "kept");
}

TEST_F(StreamWriting, MeasuresTheRateOfTheCurrentFiles) {
    StartOpened();
    EXPECT_EQ(m_pEngine->GetDiskWriteSpeed(), 0u);
    ASSERT_TRUE(Open("cam02", m_stFile));
    WritePiece(std::string(MIB, 'x'));
    Write("cam02", m_stFile, std::string(10 << 10, 'x'));
    EXPECT_EQ(m_pEngine->GetDiskWriteSpeed(), 1034u);  // in their first second
    m_faults.AdvanceTime(4 * SECOND);
    EXPECT_EQ(m_pEngine->GetDiskWriteSpeed(), 256u + 2u);
}
