// Headers, plain streams and the switch from file to file.

#include <cerrno>

#include "LocalStorage/EngineTest.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class StreamWriting : public CEngineTest {
protected:
    static constexpr std::size_t MIB = 1 << 20;

    /// A client-layout recording of 1 MiB files.
    void StartClient() {
        m_stInfo.nFileSize = 1;
        Start(LOCAL_STORAGE_CLIENT);
        ASSERT_TRUE(Open("cam01", m_stFile));
        ASSERT_TRUE(WriteHeader("cam01", m_stFile, "HEAD"));
    }
    bool WritePiece(const std::string& strData) { return Write("cam01", m_stFile, strData); }

    recFileInfo m_stFile = Hour(5, 8);
};

TEST_F(StreamWriting, RefusesWhatItCannotPlace) {
    Start();
    char szCamera[] = "cam01";
    EXPECT_FALSE(m_pEngine->WriteData(szCamera, 0, nullptr, 0, m_stFile));
    EXPECT_FALSE(m_pEngine->WriteData(nullptr, 0, szCamera, 1, m_stFile));
    EXPECT_FALSE(WritePiece("data"));
    const std::string strNull = "[wtb][CLocalStorage::WriteDate] NULL == pBuf || NULL == pCameraID";
    EXPECT_THAT(Said(), ElementsAre(strNull, strNull,
                                    "[wtb][CLocalStorage::WriteDate] IsRecordChannelExist fail, "
                                    "strCameraID [cam01]"));
}

TEST_F(StreamWriting, WritesPiecesAsTheyCome) {
    Start();
    ASSERT_TRUE(Open("cam01", m_stFile));
    Said();
    EXPECT_TRUE(WritePiece("before "));
    EXPECT_TRUE(WriteHeader("cam01", m_stFile, "HEAD"));
    EXPECT_TRUE(WriteHeader("cam01", m_stFile, "HEAD"));
    EXPECT_TRUE(WriteHeader("cam01", m_stFile, "OTHER"));
    EXPECT_TRUE(WritePiece(" after"));
    EXPECT_TRUE(WritePiece(""));
    EXPECT_EQ(GetFile(RecordFiles().at(0)), "before HEAD after");
    EXPECT_THAT(Said(), ElementsAre("[wtb][CLocalStorage::WriteData] write head, nWritten [4], "
                                    "strCameraID [cam01]"));
}

TEST_F(StreamWriting, HeadersFitOrAreRefused) {
    Start();
    ASSERT_TRUE(Open("cam01", m_stFile));
    EXPECT_FALSE(WriteHeader("cam01", m_stFile, std::string(129, 'h')));
    EXPECT_TRUE(WriteHeader("cam01", m_stFile, std::string(128, 'h')));
    EXPECT_EQ(GetFile(RecordFiles().at(0)), std::string(128, 'h'));
    EXPECT_THAT(LinesWith("head too long"), SizeIs(1));
}

TEST_F(StreamWriting, IgnoresUnknownStreamTypes) {
    m_stInfo.enumStreamType = static_cast<StreamType>(2);
    Start();
    ASSERT_TRUE(Open("cam01", m_stFile));
    EXPECT_TRUE(WritePiece("data"));
    EXPECT_EQ(GetFile(RecordFiles().at(0)), "");
}

TEST_F(StreamWriting, AnalysedDataNeedsAHeader) {
    m_stInfo.bAnalyze = true;
    Start();
    ASSERT_TRUE(Open("cam01", m_stFile));
    Said();
    EXPECT_FALSE(WritePiece("data"));
    EXPECT_THAT(Said(), ElementsAre("[wtb][CLocalStorage::WriteData] StreamProbeInputData fail, "
                                    "strCameraID [cam01]"));
    EXPECT_TRUE(WriteHeader("cam01", m_stFile, ""));
    EXPECT_TRUE(WritePiece("data"));  // dropped: no key frame yet
    EXPECT_EQ(GetFile(RecordFiles().at(0)), "");
}

TEST_F(StreamWriting, FailedWritesAreReportedAndTriedAgain) {
    Start();
    int nUser = 0;
    ASSERT_TRUE(Open("cam01", m_stFile, &nUser));
    Said();
    m_faults.Fail(Op::Write, Ends(".mp4"), EFBIG).Times(1);
    EXPECT_FALSE(WritePiece("lost"));
    EXPECT_TRUE(WritePiece("kept"));
    const Trace lsSaid = Said();
    ASSERT_THAT(lsSaid, SizeIs(2));
    EXPECT_EQ(lsSaid[0], "-> 6 cam01");
    EXPECT_THAT(lsSaid[1], testing::MatchesRegex(
                               ".wtb..CLocalStorage::WriteRecord. OSL_WriteFile fail, strCameraID "
                               ".cam01., pBuf .0x[0-9a-f]+., nSize .4., iErr .27."));
    const HostMessage stFail = Messages().back();
    EXPECT_EQ(stFail.nValue, static_cast<unsigned>(EFBIG));
    EXPECT_EQ(stFail.nLength, 132u);
    EXPECT_EQ(stFail.pUser, &nUser);
    EXPECT_EQ(GetFile(RecordFiles().at(0)), "kept");
}

TEST_F(StreamWriting, BackupFilesGrowWithoutEnd) {
    m_stInfo.nFileSize = 1;
    Start();
    ASSERT_TRUE(Open("cam01", m_stFile));
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(WritePiece(std::string(MIB, 'x')));
    EXPECT_THAT(RecordFiles(), SizeIs(1));
}

TEST_F(StreamWriting, SwitchesAtTheLimitAndTellsTheHostInOrder) {
    StartClient();
    EXPECT_TRUE(WritePiece(std::string(MIB - 5, 'a')));  // one byte below, the header counts
    EXPECT_TRUE(WritePiece("b"));
    Said();
    m_faults.AdvanceTime(2000);
    EXPECT_TRUE(WriteHeader("cam01", m_stFile, "NEW"));  // for the next file
    EXPECT_TRUE(WritePiece("c"));
    const std::string strDay = "$/1/RecordFile/20240305/cam01/";
    const std::string strOld = strDay + "20240305_080000.mp4";
    const std::string strNew = strDay + "20240305_080002.mp4";
    const std::string strTag = "[wtb][CLocalStorage::SwitchRecFile] ";
    EXPECT_THAT(
        Said(),
        ElementsAre(strTag + "old file, strRecFilePath[" + strOld + "]", "-> 5 cam01 " + strOld,
                    strTag + "pFunCallback MESSAGEVALUE_CLOSEFILE, szFileName [" + strOld + "]",
                    strTag + "new file, strRecFilePath[" + strNew + "]", "-> 3 cam01 " + strNew,
                    strTag + "pFunCallback MESSAGEVALUE_CREATEFILE, szFileName [" + strNew + "]"));
    EXPECT_EQ(GetFile(RecordFiles().at(0)), "HEAD" + std::string(MIB - 5, 'a') + "b");
    EXPECT_EQ(GetFile(RecordFiles().at(1)), "NEWc");
}

TEST_F(StreamWriting, SwitchesGoIntoTodaysFolder) {
    StartClient();
    WritePiece(std::string(MIB, 'a'));
    m_faults.AdvanceTime(20LL * 3600 * 1000);
    EXPECT_TRUE(WritePiece("b"));
    EXPECT_TRUE(Exists(Disk() + "RecordFile/20240306/cam01/20240306_040000.mp4"));
}

TEST_F(StreamWriting, ManySwitchesInOneSecondKeepTheFileOnceNamesRunAhead) {
    StartClient();
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(WritePiece(std::string(MIB, 'a')));
    EXPECT_THAT(RecordFiles(), SizeIs(2));  // this second and the next
    m_faults.AdvanceTime(1000);
    EXPECT_TRUE(WritePiece("b"));
    EXPECT_THAT(RecordFiles(), SizeIs(3));
    EXPECT_EQ(std::filesystem::file_size(RecordFiles().at(1)), 4 * MIB + 4);
}

TEST_F(StreamWriting, AfterAFailedSwitchTheChannelHoldsNoHandle) {
    StartClient();
    WritePiece(std::string(MIB, 'a'));
    m_faults.AdvanceTime(1000);
    m_faults.Fail(Op::Open, Ends(".mp4"), EMFILE).Times(1);
    Said();
    EXPECT_FALSE(WritePiece("lost"));
    EXPECT_THAT(LinesWith("[wtb][CLocalStorage::SwitchRecFile] OSL_OpenFile fail"), SizeIs(1));
    EXPECT_EQ(Messages().back().nType, MESSAGEVALUE_WRITEFAIL);
    EXPECT_EQ(Messages().back().nValue, static_cast<unsigned>(EBADF));
    EXPECT_TRUE(WritePiece("kept"));
    EXPECT_THAT(PathsOf(MESSAGEVALUE_CLOSEFILE), SizeIs(1));
    EXPECT_EQ(GetFile(RecordFiles().at(1)), "HEADkept");
}

TEST_F(StreamWriting, AChannelWithoutAFileIsNotReportedClosedAgain) {
    StartClient();
    WritePiece(std::string(MIB, 'a'));
    m_faults.AdvanceTime(1000);
    m_faults.Fail(Op::Open, Ends(".mp4"), EMFILE);
    EXPECT_FALSE(WritePiece("lost"));
    EXPECT_TRUE(Close("cam01", m_stFile));
    EXPECT_THAT(PathsOf(MESSAGEVALUE_CLOSEFILE), SizeIs(1));
}

TEST_F(StreamWriting, ANewFileWithoutItsHeaderIsRemoved) {
    StartClient();
    WritePiece(std::string(MIB, 'a'));
    m_faults.AdvanceTime(1000);
    m_faults.Fail(Op::Write, Ends("080001.mp4"), EFBIG).Times(1);
    EXPECT_FALSE(WritePiece("lost"));
    EXPECT_THAT(RecordFiles(), SizeIs(1));
    EXPECT_THAT(LinesWith("[wtb][CLocalStorage::SwitchRecFile] OSL_WriteFile fail"), SizeIs(1));
    EXPECT_TRUE(WritePiece("kept"));
    EXPECT_EQ(GetFile(RecordFiles().at(1)), "HEADkept");
}

TEST_F(StreamWriting, AFileOnAFailedDiskIsGivenUpForAnotherDisk) {
    AddDisk("1");
    AddDisk("2");
    m_stInfo.bCycWrite = true;
    StartClient();
    m_faults.Fail(Op::Write, Below(m_dir / "1"), ENOSPC);
    EXPECT_FALSE(WritePiece("lost"));
    m_faults.AdvanceTime(1000);
    ASSERT_TRUE(Open("cam02", m_stFile));  // its disk check moves to disk 2
    EXPECT_TRUE(WritePiece("kept"));
    EXPECT_EQ(GetFile(Disk("2") + "RecordFile/20240305/cam01/20240305_080001.mp4"), "HEADkept");
}

TEST_F(StreamWriting, MeasuresTheRateOfTheCurrentFiles) {
    Start();
    EXPECT_EQ(m_pEngine->GetDiskWriteSpeed(), 0u);
    ASSERT_TRUE(Open("cam01", m_stFile));
    ASSERT_TRUE(Open("cam02", m_stFile));
    WritePiece(std::string(MIB, 'x'));
    Write("cam02", m_stFile, std::string(10 << 10, 'x'));
    EXPECT_EQ(m_pEngine->GetDiskWriteSpeed(), 1034u);  // in their first second
    m_faults.AdvanceTime(4000);
    EXPECT_EQ(m_pEngine->GetDiskWriteSpeed(), 256u + 2u);
}
