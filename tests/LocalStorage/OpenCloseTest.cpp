// Opening, closing and finding recordings, in both layouts.

#include "LocalStorage/EngineTest.h"

class OpenClose : public CEngineTest {
protected:
    void ExpectRefused(const std::string& strCamera, const recFileInfo& stInfo, int nError) {
        EXPECT_FALSE(Open(strCamera, stInfo)) << strCamera;
        EXPECT_EQ(LastError(), nError) << strCamera;
    }

    const std::string m_strDay = Disk() + "RecordFile/20240305/";
    const std::string m_strFile = m_strDay + "cam01/20240305080000_20240305090000_1.mp4";
};

TEST_F(OpenClose, OneChannelAtATimePerKey) {
    Start();
    ASSERT_TRUE(Open("cam01", Hour(5, 8)));
    ExpectRefused("cam01", Hour(5, 8), STORAGE_ERROR_CHANNEL_OPEN);
    EXPECT_TRUE(Open("cam01", Hour(5, 9)));
    EXPECT_TRUE(Open("cam01", Hour(5, 8, RECORD_TYPE_2)));
    m_pEngine->Release();
    Start(LOCAL_STORAGE_CLIENT);
    ASSERT_TRUE(Open("cam01", Hour(5, 8)));
    ExpectRefused("cam01", Hour(6, 9), STORAGE_ERROR_CHANNEL_OPEN);
}

TEST_F(OpenClose, CameraIdentifiers) {
    for (const auto eType : {LOCAL_STORAGE_REMOTE_BACKUP, LOCAL_STORAGE_CLIENT}) {
        Start(eType);
        for (const std::string& str : {std::string(64, 'x'), std::string(), std::string(".."),
                                       std::string("a/b"), std::string("index02.bin.new")}) {
            ExpectRefused(str, Hour(5, 8), STORAGE_ERROR_PARAM);
        }
        EXPECT_TRUE(Open(std::string(63, 'x'), Hour(5, 8)));
        EXPECT_EQ(Open("cam_01_2", Hour(5, 8)), eType == LOCAL_STORAGE_CLIENT);
        m_pEngine->Release();
    }
}

TEST_F(OpenClose, RefusesPathsThatTheHostCouldNotRead) {
    // The longest record directory whose recordings of a 20-byte camera have paths of 259 bytes.
    const std::size_t nTail = std::string("RecordFile/20240305//").size() + 20 + 35;
    AddDisk("1");
    AddDisk(std::string(259 - nTail - m_dir.Path().size() - 2, 'd'));
    m_stInfo.bCycWrite = true;
    Start();
    SetRoom(FULL, "1");  // so the path grows after it was looked at
    for (int n = 0; n < 2; ++n) {
        ExpectRefused(std::string(21, 'c'), Hour(5, 8), STORAGE_ERROR_PARAM);
    }
    EXPECT_TRUE(Open(std::string(20, 'c'), Hour(5, 8)));
    EXPECT_THAT(RecordFiles(), ElementsAre(SizeIs(259)));
}

TEST_F(OpenClose, ContinuesExistingFilesOnlyWhenAsked) {
    Start();
    recFileInfo stInfo = Hour(5, 8);
    stInfo.bOpenFlag = true;
    ExpectRefused("cam01", stInfo, STORAGE_ERROR_OPEN_FILE);
    Record("cam01", Hour(5, 8), "one ");
    Record("cam01", stInfo, "two");
    EXPECT_EQ(GetFile(m_strFile), "one two");
    Record("cam01", Hour(5, 8), "three");
    EXPECT_EQ(GetFile(m_strFile), "three");
}

TEST_F(OpenClose, ClientFilesTakeNoNameThatIsNotKnownToBeFree) {
    Start(LOCAL_STORAGE_CLIENT);
    for (const char* pContent : {"one", "two"}) Record("cam01", Hour(1, 1), pContent);
    m_faults.Fail(Op::Access, Ends(".mp4"), EIO).Times(1);
    ExpectRefused("cam01", Hour(1, 1), STORAGE_ERROR_OPEN_FILE);
    const std::string strNext = m_strDay + "cam01/20240305_080002.mp4";
    m_faults.Before(Op::Open, Is(strNext), [&] { PutFile(strNext, "of another process"); });
    ExpectRefused("cam01", Hour(1, 1), STORAGE_ERROR_OPEN_FILE);
    Record("cam02", Hour(1, 1));
    EXPECT_THAT(RecordFiles(), ElementsAre(m_strDay + "cam01/20240305_080000.mp4",
                                           m_strDay + "cam01/20240305_080001.mp4", strNext,
                                           m_strDay + "cam02/20240305_080000.mp4"));
    EXPECT_EQ(GetFile(RecordFiles().at(0)), "one");
    EXPECT_EQ(GetFile(strNext), "of another process");
}

TEST_F(OpenClose, AFolderThatVanishesIsMadeAgain) {
    Start();
    const auto Vanish = [&] { fs::remove(m_strDay + "cam01"); };
    m_faults.Before(Op::Open, Ends(".mp4"), Vanish).Times(3);
    EXPECT_TRUE(Open("cam01", Hour(5, 8)));
    m_faults.Before(Op::Open, Ends("_2.mp4"), [&] { fs::remove_all(m_strDay); });
    EXPECT_FALSE(Open("cam01", Hour(5, 8, RECORD_TYPE_2))) << "and ends all the same";
}

TEST_F(OpenClose, FindsRecordingsByCameraTypeAndTime) {
    Start(static_cast<LocalStorageType>(7));  // counts as backup
    Record("cam01", Hour(5, 8));
    Record("cam01", Hour(5, 10, RECORD_TYPE_2));
    Record("cam02", Hour(5, 8, static_cast<RecordType>(9)));
    Record("cam01", Recording(Time(5, 20), Time(5, 20)));  // whose end the host does not know yet
    ASSERT_TRUE(Open("cam_1_0", Hour(5, 8)));              // and which is open at the end
    m_pEngine->Release();
    Start();
    EXPECT_THAT(Find("cam01", Time(5, 8, 30), Time(5, 20)),
                ElementsAre(m_strFile, m_strDay + "cam01/20240305100000_20240305110000_2.mp4"));
    EXPECT_THAT(Find("cam01", Time(5, 0), Time(6, 0), RECORD_TYPE_1),
                ElementsAre(m_strFile, m_strDay + "cam01/20240305200000_20240305200000_1.mp4"));
    EXPECT_THAT(Find("cam02", Time(5, 8), Time(5, 8, 1)),
                ElementsAre(m_strDay + "cam02/20240305080000_20240305090000_0.mp4"));
    EXPECT_THAT(Recordings("cam_1_0"), SizeIs(1));
    EXPECT_THAT(Find("cam01", Time(5, 9), Time(5, 10)), IsEmpty());
}
