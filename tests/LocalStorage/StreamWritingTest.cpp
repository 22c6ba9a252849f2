// Headers, plain streams and the switch from file to file.

#include "LocalStorage/EngineTest.h"

class StreamWriting : public CEngineTest {
protected:
    static constexpr std::size_t MIB = 1 << 20;

    void StartOpened(LocalStorageType eType = LOCAL_STORAGE_REMOTE_BACKUP) {
        Start(eType);
        ASSERT_TRUE(Open("cam01", m_stFile));
        Forget();
    }
    /// In the client layout, a second after a file of 1 MiB became full.
    void StartBeforeSwitch() {
        m_stInfo.nFileSize = 1;
        StartOpened(LOCAL_STORAGE_CLIENT);
        ASSERT_TRUE(WriteHeader("HEAD"));
        ASSERT_TRUE(WritePiece(std::string(MIB, 'a')));
        m_faults.AdvanceTime(SECOND);
    }
    bool WriteHeader(const std::string& strHead) {
        return Write("cam01", m_stFile, strHead, HEADER);
    }
    bool WritePiece(const std::string& strData) { return Write("cam01", m_stFile, strData); }
    /// What lies in the n-th file.
    std::string File(std::size_t n = 0) const { return GetFile(RecordFiles().at(n)); }

    /// In the client layout, with analysis.
    void StartAnalysed() {
        m_stInfo.bAnalyze = true;
        Start(LOCAL_STORAGE_CLIENT);
        ASSERT_TRUE(Open("cam01", m_stFile));
        ASSERT_TRUE(WriteHeader("HEAD"));
    }
    /// An H.264 key frame and the frame behind it, without which it is not known to be whole.
    static std::string KeyFrame() {
        using namespace std::string_literals;
        return "\0\0\1\x67sps\0\0\1\x68pps\0\0\1\x65\x88key\0\0\1\x41\x9A"s;
    }

    recFileInfo m_stFile = Hour(5, 8);
};

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

TEST_F(StreamWriting, AFailedWriteIsToldAndAHeaderIsWrittenWhenItIsRepeatedInFrontOfTheStream) {
    const struct {
        std::size_t nPartly;  // bytes of the header that are written all the same
        const char *pBetween, *pContent;
    } cases[] = {{0, "", "HEADnext"}, {0, "begun", "begunnext"}, {2, "", "HEnext"}};
    for (const auto& c : cases) {
        Reset();
        StartOpened();
        if (c.nPartly > 0) m_faults.ShortWrite(Ends(".mp4"), c.nPartly).Times(1);
        m_faults.Fail(Op::Write, Ends(".mp4"), EFBIG).From(c.nPartly > 0 ? 2 : 1).Times(1);
        EXPECT_FALSE(WriteHeader("HEAD"));
        EXPECT_THAT(Said(), ElementsAre("6 cam01 27 132 user"));
        EXPECT_TRUE(WritePiece(c.pBetween)) << "an empty one begins nothing";
        EXPECT_TRUE(WriteHeader("HEAD"));
        EXPECT_TRUE(WritePiece("next"));
        EXPECT_EQ(File(), c.pContent);
    }
}

TEST_F(StreamWriting, SwitchesAtTheLimitAndTellsTheHostInOrder) {
    m_stInfo.nFileSize = 1;
    StartOpened(LOCAL_STORAGE_CLIENT);
    EXPECT_TRUE(WriteHeader("HEAD"));
    EXPECT_TRUE(WritePiece(std::string(MIB - 5, 'a')));  // one byte below, the header counts
    EXPECT_TRUE(WritePiece("b"));
    m_faults.AdvanceTime(DAY);
    EXPECT_TRUE(WriteHeader("NEW"));  // for the next file
    EXPECT_TRUE(WritePiece(std::string(MIB - 3, 'c')));
    EXPECT_THAT(Said(), ElementsAre("5 cam01 $/1/RecordFile/20240305/cam01/20240305_080000.mp4 "
                                    "20240306080000 396 user",
                                    "3 cam01 $/1/RecordFile/20240306/cam01/20240306_080000.mp4 "
                                    "20240306080000 396 user"));
    EXPECT_EQ(File(0), "HEAD" + std::string(MIB - 5, 'a') + "b");
    EXPECT_EQ(File(1), "NEW" + std::string(MIB - 3, 'c'));
    m_faults.AdvanceTime(SECOND);
    EXPECT_TRUE(WritePiece("d"));
    EXPECT_EQ(File(2), "NEWd");
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
    EXPECT_THAT(RecordFiles(), SizeIs(3)) << "the one before, this second and the next";
    m_faults.AdvanceTime(SECOND);
    EXPECT_TRUE(WritePiece("c"));
    EXPECT_THAT(RecordFiles(), SizeIs(4));
    EXPECT_EQ(File(2).size(), 3 * MIB + 4);
}

TEST_F(StreamWriting, TheNextFileIsNamedAfterTheHostHasHeardOfTheLast) {
    StartBeforeSwitch();
    OnMessage([this](const hostMessage& stMessage) {  // which takes the host a day
        if (stMessage.nType == MESSAGEVALUE_CLOSEFILE) m_faults.AdvanceTime(DAY);
    });
    EXPECT_TRUE(WritePiece("next"));
    EXPECT_THAT(RecordFiles().back(), EndsWith("20240306/cam01/20240306_080001.mp4"));
}

TEST_F(StreamWriting, TheNextFileLiesOnTheDiskToWhichTheEngineMovedWhileTheHostHeardOfTheLast) {
    AddDisk("1");
    AddDisk("2");
    m_stInfo.bCycWrite = true;
    StartBeforeSwitch();
    const auto looks = m_faults.Watch(Op::StatVfs, Below(m_dir / "2"));
    std::thread check;
    OnMessage([&](const hostMessage& stMessage) {
        if (stMessage.nType != MESSAGEVALUE_CLOSEFILE) return;
        SetRoom(FULL, "1");
        check = std::thread([this] { CheckDisk(); });
        while (looks.Seen() == 0) std::this_thread::yield();
        OSL_Sleep(100);  // it has moved, and is to tell
    });
    EXPECT_TRUE(WritePiece("next"));
    check.join();
    EXPECT_THAT(RecordFiles().back(), StartsWith(Disk("2")));
}

TEST_F(StreamWriting, TheNextFileLiesOnADiskThatWasMountedOverTheLast) {
    StartBeforeSwitch();
    fs::rename(m_dir / "1", m_dir / "below");
    fs::create_directory(m_dir / "1");
    m_faults.SetDevice(m_dir / "1", 4711);
    EXPECT_TRUE(WritePiece("next"));
    EXPECT_EQ(GetFile(Disk("1") + "RecordFile/20240305/cam01/20240305_080001.mp4"), "HEADnext");
}

TEST_F(StreamWriting, ANextFileWhosePathIsTooLongIsToldOnce) {
    AddDisk("1");
    AddDisk(std::string(259 - m_dir.Path().size() - 45, 'd'));
    m_stInfo.bCycWrite = true;
    StartBeforeSwitch();
    SetRoom(FULL, "1");
    CheckDisk();  // moves to the other
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(WritePiece("kept"));
    EXPECT_EQ(LinesWith("SwitchRecFile] path too long"), 1u);
    EXPECT_EQ(File().size(), MIB + 4 + 12);
}

TEST_F(StreamWriting, AFailedCloseIsAFailedWrite) {
    const std::function<bool()> closings[] = {
        [this] { return Close("cam01", m_stFile); },
        [this] { return WritePiece("next"); },
        [this] { return m_pEngine->Release(); },
    };
    for (const auto& close : closings) {
        Reset();
        StartBeforeSwitch();
        m_faults.Fail(Op::Close, Ends(".mp4"), EIO).Times(1);
        EXPECT_TRUE(close()) << &close - closings;
        EXPECT_EQ(Said().at(0), "6 cam01 5 132 user") << "before it hears that the file is closed";
        EXPECT_EQ(LinesWith("disk counts as full"), 1u);
    }
}

TEST_F(StreamWriting, AFileOnAFailedDiskIsGivenUpForAnotherDiskAtOnce) {
    StartOnTwo(LOCAL_STORAGE_CLIENT);
    ASSERT_TRUE(Open("cam01", m_stFile));
    m_faults.Fail(Op::Write, Below(m_dir / "1"), ENOSPC);
    EXPECT_FALSE(WritePiece("lost"));
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(Await([] { return Told(MESSAGEVALUE_SWITCHDISK).size() == 1; }));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 4s) << "at once";
    EXPECT_TRUE(WritePiece("kept"));
    EXPECT_EQ(GetFile(Disk("2") + "RecordFile/20240305/cam01/20240305_080000.mp4"), "kept");
}

TEST_F(StreamWriting, AHoleIsFollowedByANewFileOnceTheDiskTakesFiles) {
    StartAnalysed();
    EXPECT_TRUE(WritePiece(KeyFrame()));
    m_faults.AdvanceTime(SECOND);
    m_faults.Fail(Op::Write, Ends(".mp4"), EIO).Times(1);
    EXPECT_FALSE(WritePiece(KeyFrame()));
    SetRoom(FULL);
    CheckDisk();
    EXPECT_TRUE(WritePiece(KeyFrame()));
    EXPECT_THAT(RecordFiles(), SizeIs(1)) << "no disk takes another";
    SetRoom(ROOM);
    CheckDisk();
    EXPECT_TRUE(WritePiece(KeyFrame()));
    EXPECT_TRUE(WritePiece(KeyFrame()));
    EXPECT_TRUE(Close("cam01", m_stFile));
    ASSERT_THAT(RecordFiles(), SizeIs(2));
    EXPECT_EQ(File(1).substr(0, 8), "HEAD" + KeyFrame().substr(0, 4));
    EXPECT_THAT(Deleted(), SizeIs(0));
}

TEST_F(StreamWriting, AFileWithoutAFrameThatASickDiskRemovesLateIsTold) {
    AddDisk("1");
    AddDisk("2");
    m_stInfo.bCycWrite = true;
    StartAnalysed();
    m_faults.AdvanceTime(SECOND);
    m_faults.Fail(Op::Write, Below(m_dir / "1"), ENOSPC);
    EXPECT_FALSE(WritePiece(KeyFrame()));
    SetRoom(FULL, "1");
    CheckDisk();
    m_faults.Before(Op::Unlink, Ends(".mp4"), [] { std::this_thread::sleep_for(200ms); });
    WritePiece(KeyFrame());
    EXPECT_TRUE(Await([this] { return RecordFiles().size() == 1; }));
    m_pEngine->Release();
    EXPECT_THAT(Deleted(), ElementsAre(HasSubstr("/1/RecordFile/")));
}

TEST_F(StreamWriting, AFileWithoutAFrameIsRemovedWhenItIsClosed) {
    const std::function<bool()> closings[] = {
        [this] { return Close("cam01", m_stFile); },
        [this] { return m_pEngine->Release(); },
    };
    for (const auto& close : closings) {
        Reset();
        StartAnalysed();
        EXPECT_TRUE(WritePiece("no frame"));
        EXPECT_TRUE(close());
        EXPECT_THAT(RecordFiles(), SizeIs(0));
        EXPECT_EQ(Said().back(), "4  $/1/RecordFile/20240305/cam01/20240305_080000.mp4 " +
                                     std::to_string(Deleted().at(0).size()) + " -");
    }
    Reset();
    StartAnalysed();
    EXPECT_TRUE(WritePiece(KeyFrame()));
    EXPECT_TRUE(Close("cam01", m_stFile));
    const std::string strKept = File();
    m_stFile.bOpenFlag = true;
    EXPECT_TRUE(Open("cam01", m_stFile) && Close("cam01", m_stFile));
    EXPECT_EQ(File(), strKept) << "continued without a frame";
}

TEST_F(StreamWriting, MeasuresTheRateOfTheCurrentFiles) {
    StartOpened();
    EXPECT_EQ(m_pEngine->GetDiskWriteSpeed(), 0u);
    ASSERT_TRUE(Open("cam02", m_stFile));
    WritePiece(std::string(MIB, 'x'));
    Write("cam02", m_stFile, std::string(10 << 10, 'x'));
    EXPECT_EQ(m_pEngine->GetDiskWriteSpeed(), 1034u) << "in their first second";
    m_faults.AdvanceTime(4 * SECOND);
    EXPECT_EQ(m_pEngine->GetDiskWriteSpeed(), 256u + 2u);
}
