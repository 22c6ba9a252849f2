// Opening, closing and finding recordings, in both layouts.

#include <cerrno>

#include "LocalStorage/EngineTest.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class OpenClose : public CEngineTest {
protected:
    void ExpectRefused(const std::string& strCamera, const recFileInfo& stInfo, int nError) {
        EXPECT_FALSE(Open(strCamera, stInfo)) << strCamera;
        EXPECT_EQ(m_pEngine->GetLastError(), nError) << strCamera;
    }

    const std::string m_strDay = Disk() + "RecordFile/20240305/";
    const std::string m_strFile = m_strDay + "cam01/20240305080000_20240305090000_1.mp4";
};

TEST_F(OpenClose, TellsTheHostInOrder) {
    Start();
    EXPECT_TRUE(Open("cam01", Hour(5, 8)));
    m_faults.AdvanceTime(SECOND);
    EXPECT_TRUE(Close("cam01", Hour(5, 8)));
    EXPECT_EQ(m_pEngine->GetLastError(), 0);
    const std::string strFile = "$" + m_strFile.substr(m_dir.Path().size());
    EXPECT_THAT(
        Said(),
        ElementsAre("-> 3 cam01 " + strFile + " 20240305080000 [396] user",
                    "[wtb][CLocalStorage::OpenChannelRecord] pFunCallback MESSAGEVALUE_CREATEFILE, "
                    "strRecFilePath[" +
                        strFile + "]",
                    "-> 5 cam01 " + strFile + " 20240305080001 [396] user",
                    "[wtb][CLocalStorage::CloseChannelRecord] pFunCallback MESSAGEVALUE_CLOSEFILE, "
                    "strCameraID [cam01]"));
}

TEST_F(OpenClose, RefusesBadRequests) {
    Start();
    recFileInfo stInfo = Hour(5, 8);
    EXPECT_FALSE(m_pEngine->OpenChannelRecord(nullptr, nullptr, stInfo));
    EXPECT_EQ(m_pEngine->GetLastError(), -20);
    EXPECT_FALSE(m_pEngine->CloseChannelRecord(nullptr, stInfo));
    EXPECT_FALSE(Close("cam01", stInfo));
    stInfo.stEndTime = Time(5, 7);
    ExpectRefused("cam01", stInfo, -20);
    stInfo.stEndTime.wYear = 10000;
    ExpectRefused("cam01", stInfo, -20);
    stInfo = Hour(5, 8);
    stInfo.stStartTime.bySecond = 100;
    ExpectRefused("cam01", stInfo, -20);
    EXPECT_THAT(RecordFiles(), IsEmpty());
    stInfo.stStartTime = stInfo.stEndTime;
    EXPECT_TRUE(Open("cam01", stInfo));  // equal times are fine
}

TEST_F(OpenClose, OneChannelAtATimePerKey) {
    Start();
    ASSERT_TRUE(Open("cam01", Hour(5, 8)));
    ExpectRefused("cam01", Hour(5, 8), -13);
    EXPECT_TRUE(Open("cam01", Hour(5, 9)));
    EXPECT_TRUE(Open("cam01", Hour(5, 8, RECORD_TYPE_2)));
    m_pEngine->Release();

    Start(LOCAL_STORAGE_CLIENT);
    ASSERT_TRUE(Open("cam01", Hour(5, 8)));
    ExpectRefused("cam01", Hour(6, 9), -13);
}

TEST_F(OpenClose, CameraIdentifiers) {
    const std::string strLong(63, 'x');
    const struct {
        LocalStorageType eType;
        std::vector<std::string> vTaken, vRefused;
    } CASES[] = {
        {LOCAL_STORAGE_REMOTE_BACKUP,
         {"cam_1_0", "cam01", "a_b_1_0", "x_-1_2", "...", "K\xC3\xBC\x63he", strLong},
         {"cam_01_2", "cam_1_256", "cam_70000_1", strLong + "x", "", ".", "..", "../../etc", "a\\b",
          "a\nb", "index02.bin.new"}},
        {LOCAL_STORAGE_CLIENT,
         {"cam01", "cam_01_2", "cam_1_256"},
         {strLong + "x", "", "..", "a/b", "index.dirty"}},
    };
    for (const auto& stCase : CASES) {
        Start(stCase.eType);
        for (const std::string& strCamera : stCase.vTaken) {
            EXPECT_TRUE(Open(strCamera, Hour(5, 8))) << strCamera;
        }
        for (const std::string& strCamera : stCase.vRefused) {
            ExpectRefused(strCamera, Hour(5, 8), -20);
        }
        EXPECT_THAT(LinesWith("camera identifier refused"), SizeIs(stCase.vRefused.size()));
        m_pEngine->Release();
    }
}

TEST_F(OpenClose, RefusesPathsThatTheHostCouldNotRead) {
    // The longest record directory whose recordings of a 20-byte camera have paths of 259 bytes.
    const std::size_t nTail = std::string("RecordFile/20240305//").size() + 20 + 35;
    const std::size_t nName = 259 - nTail - m_dir.Path().size() - 2;
    AddDisk("1");
    AddDisk(std::string(nName, 'd'));
    m_stInfo.bCycWrite = true;
    Start();
    SetRoom(FULL, "1");  // so the path grows after it was looked at
    ExpectRefused(std::string(21, 'c'), Hour(5, 8), -20);
    ExpectRefused(std::string(21, 'c'), Hour(5, 8), -20);
    EXPECT_THAT(LinesWith("path too long"), SizeIs(2));
    EXPECT_TRUE(Open(std::string(20, 'c'), Hour(5, 8)));
    EXPECT_EQ(Messages().back().strPath.size(), 259u);
    EXPECT_THAT(RecordFiles(), SizeIs(1));
}

TEST_F(OpenClose, ContinuesExistingFilesOnlyWhenAsked) {
    Start();
    recFileInfo stInfo = Hour(5, 8);
    stInfo.bOpenFlag = true;
    ExpectRefused("cam01", stInfo, -14);
    Record("cam01", Hour(5, 8), "one ");
    Record("cam01", stInfo, "two");
    EXPECT_EQ(GetFile(m_strFile), "one two");
    Record("cam01", Hour(5, 8), "three");
    EXPECT_EQ(GetFile(m_strFile), "three");
}

TEST_F(OpenClose, ClientFilesOfOneSecondGetNamesOfTheirOwn) {
    Start(LOCAL_STORAGE_CLIENT);
    for (const char* pContent : {"one", "two", "three"}) Record("cam01", Hour(1, 1), pContent);
    Record("cam02", Hour(1, 1));
    EXPECT_THAT(RecordFiles(), ElementsAre(m_strDay + "cam01/20240305_080000.mp4",
                                           m_strDay + "cam01/20240305_080001.mp4",
                                           m_strDay + "cam01/20240305_080002.mp4",
                                           m_strDay + "cam02/20240305_080000.mp4"));
    EXPECT_EQ(GetFile(RecordFiles().at(0)), "one");
}

TEST_F(OpenClose, ANameThatIsNotKnownToBeFreeIsNotTaken) {
    Start(LOCAL_STORAGE_CLIENT);
    Record("cam01", Hour(1, 1), "one");
    m_faults.Fail(Op::Access, Ends(".mp4"), EIO).Times(1);
    ExpectRefused("cam01", Hour(1, 1), -14);
    const std::string strNext = m_strDay + "cam01/20240305_080001.mp4";
    m_faults.Before(Op::Open, Is(strNext), [&] { PutFile(strNext, "of another process"); });
    ExpectRefused("cam01", Hour(1, 1), -14);
    EXPECT_EQ(GetFile(RecordFiles().at(0)), "one");
    EXPECT_EQ(GetFile(strNext), "of another process");
}

TEST_F(OpenClose, AFolderThatVanishesIsMadeAgain) {
    Start();
    const auto Vanish = [&] { std::filesystem::remove(m_strDay + "cam01"); };
    m_faults.Before(Op::Open, Ends(".mp4"), Vanish).Times(3);
    EXPECT_TRUE(Open("cam01", Hour(5, 8)));
    m_faults.Before(Op::Open, Ends("_2.mp4"), [&] { std::filesystem::remove_all(m_strDay); });
    EXPECT_FALSE(Open("cam01", Hour(5, 8, RECORD_TYPE_2)));  // and ends all the same
}

TEST_F(OpenClose, FindsRecordingsByCameraTypeAndTime) {
    Start(static_cast<LocalStorageType>(7));  // counts as backup
    Record("cam01", Hour(5, 8));
    Record("cam01", Hour(5, 10, RECORD_TYPE_2));
    Record("cam02", Hour(5, 8, static_cast<RecordType>(9)));
    ASSERT_TRUE(Open("cam_1_0", Hour(5, 8)));
    m_pEngine->Release();
    Start();
    EXPECT_THAT(Find("cam01", Time(5, 0), Time(6, 0)),
                ElementsAre(m_strFile, m_strDay + "cam01/20240305100000_20240305110000_2.mp4"));
    EXPECT_THAT(Find("cam01", Time(5, 0), Time(6, 0), RECORD_TYPE_1), ElementsAre(m_strFile));
    EXPECT_THAT(Find("cam02", Time(5, 8), Time(5, 8, 1)),
                ElementsAre(m_strDay + "cam02/20240305080000_20240305090000_0.mp4"));
    EXPECT_THAT(Find("cam_1_0", Time(5, 0), Time(6, 0)), SizeIs(1));  // was open at the end
    EXPECT_THAT(Find("cam01", Time(5, 9), Time(5, 10)), IsEmpty());
    recFileInfo stNoEnd = Hour(5, 20);  // the host does not know the end yet
    stNoEnd.stEndTime = stNoEnd.stStartTime;
    Record("cam01", stNoEnd);
    EXPECT_THAT(Find("cam01", Time(5, 20), Time(5, 20, 0, 1)), SizeIs(1));
    EXPECT_THAT(Find("cam01", Time(5, 20, 0, 1), Time(5, 21)), IsEmpty());
    EXPECT_THAT(Find("cam01", Time(5, 19), Time(5, 20)), IsEmpty());
    EXPECT_THAT(Find("cam_01_2", Time(5, 0), Time(6, 0)), IsEmpty());
    EXPECT_THAT(Find("cam01", Time(6, 0), Time(5, 0)), IsEmpty());
    recQueryParam stParam;
    EXPECT_FALSE(m_pEngine->QueryRecFile(stParam, nullptr));
}
