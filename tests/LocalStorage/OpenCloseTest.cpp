// Opening and closing recordings, in both layouts.

#include <cerrno>

#include "LocalStorage/EngineTest.h"

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class OpenClose : public CEngineTest {};

TEST_F(OpenClose, TellsTheHostInOrder) {
    Start();
    int nUser = 0;
    ASSERT_TRUE(Open("cam01", Hour(5, 8), &nUser));
    ASSERT_TRUE(Close("cam01", Hour(5, 8)));
    const std::string strFile = "$/1/RecordFile/20240305/cam01/20240305080000_20240305090000_1.mp4";
    EXPECT_THAT(Said(), ElementsAre("-> 3 cam01 " + strFile,
                                    "[wtb][CLocalStorage::OpenChannelRecord] pFunCallback "
                                    "MESSAGEVALUE_CREATEFILE, strRecFilePath[" +
                                        strFile + "]",
                                    "-> 5 cam01 " + strFile,
                                    "[wtb][CLocalStorage::CloseChannelRecord] pFunCallback "
                                    "MESSAGEVALUE_CLOSEFILE, strCameraID [cam01]"));
    for (const HostMessage& stMessage : Messages()) {
        EXPECT_EQ(stMessage.nLength, 396u);
        EXPECT_EQ(stMessage.pUser, &nUser);
        EXPECT_EQ(stMessage.strTime, "20240305080000");
    }
    EXPECT_EQ(m_pEngine->GetLastError(), 0);
}

TEST_F(OpenClose, WorksWithoutACallback) {
    m_stInfo.pFunCallback = nullptr;
    Start();
    Record("cam01", Hour(5, 8));
    EXPECT_THAT(Said(), IsEmpty());
    EXPECT_THAT(RecordFiles(), testing::SizeIs(1));
}

TEST_F(OpenClose, RefusesBadRequests) {
    Start();
    recFileInfo stInfo = Hour(5, 8);
    EXPECT_FALSE(m_pEngine->OpenChannelRecord(nullptr, nullptr, stInfo));
    EXPECT_EQ(m_pEngine->GetLastError(), -20);
    EXPECT_FALSE(m_pEngine->CloseChannelRecord(nullptr, stInfo));
    EXPECT_FALSE(Close("cam01", stInfo));
    EXPECT_THAT(Said(), ElementsAre("[wtb][CLocalStorage::OpenChannelRecord] NULL == pCameraID",
                                    "[wtb][CLocalStorage::CloseChannelRecord] NULL == pCameraID",
                                    "[wtb][CLocalStorage::CloseChannelRecord] IsRecordChannelExist "
                                    "fail, strMapID [cam01_20240305080000_20240305090000_1.mp4]"));

    stInfo.stEndTime = stInfo.stStartTime;
    stInfo.stStartTime.bySecond = 1;
    EXPECT_FALSE(Open("cam01", stInfo));
    EXPECT_EQ(m_pEngine->GetLastError(), -20);
    EXPECT_THAT(Said(), ElementsAre("[wtb][CLocalStorage::OpenChannelRecord] rec file time error, "
                                    "strMapID [cam01_20240305080001_20240305080000_1.mp4]"));
    stInfo.stStartTime.bySecond = 0;
    EXPECT_TRUE(Open("cam01", stInfo));  // equal times are fine

    stInfo.stEndTime.wYear = 10000;
    EXPECT_FALSE(Open("cam02", stInfo));
    stInfo = Hour(5, 8);
    stInfo.stStartTime.bySecond = 100;
    EXPECT_FALSE(Open("cam02", stInfo));
    EXPECT_EQ(m_pEngine->GetLastError(), -20);
    EXPECT_THAT(RecordFiles(), testing::SizeIs(1));
}

TEST_F(OpenClose, OneChannelAtATimePerKey) {
    Start();
    ASSERT_TRUE(Open("cam01", Hour(5, 8)));
    Said();
    EXPECT_FALSE(Open("cam01", Hour(5, 8)));
    EXPECT_EQ(m_pEngine->GetLastError(), -13);
    EXPECT_THAT(Said(), ElementsAre("[wtb][CLocalStorage::OpenChannelRecord] IsRecordChannelExist, "
                                    "strMapID [cam01_20240305080000_20240305090000_1.mp4]"));
    EXPECT_TRUE(Open("cam01", Hour(5, 9)));
    EXPECT_TRUE(Open("cam01", Hour(5, 8, RECORD_TYPE_2)));
    m_pEngine->Release();

    Start(LOCAL_STORAGE_CLIENT);
    ASSERT_TRUE(Open("cam01", Hour(5, 8)));
    EXPECT_FALSE(Open("cam01", Hour(6, 9)));
    EXPECT_EQ(m_pEngine->GetLastError(), -13);
}

TEST_F(OpenClose, CameraIdentifiers) {
    const std::string strLong(63, 'x');
    const struct {
        std::string strCamera;
        bool bBackup, bClient;
    } CASES[] = {
        {"cam_1_0", true, true},
        {"cam01", true, true},
        {"a_b_1_0", true, true},
        {"x_-1_2", true, true},
        {strLong, true, true},
        {strLong + "x", false, false},
        {"cam_01_2", false, true},
        {"cam_1_256", false, true},
        {"cam_70000_1", false, true},
        {"", false, false},
        {".", false, false},
        {"..", false, false},
        {"../../etc", false, false},
        {"a\\b", false, false},
        {"a\nb", false, false},
        {"...", true, true},
        {"K\xC3\xBC"
         "che",
         true, true},
    };
    for (const auto enumType : {LOCAL_STORAGE_REMOTE_BACKUP, LOCAL_STORAGE_CLIENT}) {
        Start(enumType);
        for (const auto& stCase : CASES) {
            const bool bOk = enumType == LOCAL_STORAGE_CLIENT ? stCase.bClient : stCase.bBackup;
            EXPECT_EQ(Open(stCase.strCamera, Hour(5, 8)), bOk) << stCase.strCamera;
            EXPECT_EQ(m_pEngine->GetLastError(), bOk ? 0 : -20) << stCase.strCamera;
        }
        EXPECT_THAT(LinesWith("camera identifier refused"),
                    testing::SizeIs(enumType == LOCAL_STORAGE_CLIENT ? 7 : 10));
        m_pEngine->Release();
    }
}

TEST_F(OpenClose, RefusesPathsThatTheHostCouldNotRead) {
    // The longest record directory whose recordings of a 20-byte camera have paths of 259 bytes.
    const std::size_t nTail = std::string("RecordFile/20240305//").size() + 20 + 35;
    const std::size_t nName = 259 - nTail - m_dir.Path().size() - 2;
    const std::string strFits(nName, 'd');
    AddDisk(strFits);
    Start();
    EXPECT_TRUE(Open(std::string(20, 'c'), Hour(5, 8)));
    EXPECT_EQ(Messages().at(0).strPath.size(), 259u);
    EXPECT_FALSE(Open(std::string(21, 'c'), Hour(5, 8)));
    EXPECT_EQ(m_pEngine->GetLastError(), -20);
    EXPECT_THAT(LinesWith("path too long"), testing::SizeIs(1));
    EXPECT_FALSE(Exists(Disk(strFits) + "RecordFile/20240305/" + std::string(21, 'c')));
}

TEST_F(OpenClose, ChecksThePathAgainAfterAMoveToAnotherDisk) {
    AddDisk("short");
    AddDisk(std::string(200, 'd'));
    m_stInfo.bCycWrite = true;
    Start();
    m_faults.SetFreeSpace(Disk("short"), 0);
    EXPECT_FALSE(Open("cam01", Hour(5, 8)));
    EXPECT_EQ(m_pEngine->GetLastError(), -20);
    EXPECT_THAT(RecordFiles(), IsEmpty());
}

TEST_F(OpenClose, ContinuesExistingFilesOnlyWhenAsked) {
    Start();
    recFileInfo stInfo = Hour(5, 8);
    stInfo.bOpenFlag = true;
    EXPECT_FALSE(Open("cam01", stInfo));
    EXPECT_EQ(m_pEngine->GetLastError(), -14);
    EXPECT_THAT(Said().back(), HasSubstr("OSL_OpenFile fail, strRecFilePath[$/1/RecordFile/"));
    Record("cam01", Hour(5, 8), "one ");
    Record("cam01", stInfo, "two");
    EXPECT_EQ(GetFile(RecordFiles().at(0)), "one two");
    Record("cam01", Hour(5, 8), "three");
    EXPECT_EQ(GetFile(RecordFiles().at(0)), "three");
}

TEST_F(OpenClose, NeverThroughALink) {
    Start();
    const std::string strDir = Disk() + "RecordFile/20240305/cam01/";
    PutFile(m_dir / "target", "precious");
    std::filesystem::create_directories(strDir);
    std::filesystem::create_symlink(m_dir / "target",
                                    strDir + "20240305080000_20240305090000_1.mp4");
    EXPECT_FALSE(Open("cam01", Hour(5, 8)));
    EXPECT_EQ(m_pEngine->GetLastError(), -14);
    EXPECT_EQ(GetFile(m_dir / "target"), "precious");
}

TEST_F(OpenClose, ClientFilesOfOneSecondGetNamesOfTheirOwn) {
    Start(LOCAL_STORAGE_CLIENT);
    for (const char* pContent : {"one", "two", "three"}) Record("cam01", Hour(1, 1), pContent);
    Record("cam02", Hour(1, 1), "other");
    const std::string strDay = Disk() + "RecordFile/20240305/";
    EXPECT_THAT(
        RecordFiles(),
        ElementsAre(strDay + "cam01/20240305_080000.mp4", strDay + "cam01/20240305_080001.mp4",
                    strDay + "cam01/20240305_080002.mp4", strDay + "cam02/20240305_080000.mp4"));
    EXPECT_EQ(GetFile(strDay + "cam01/20240305_080000.mp4"), "one");
}

TEST_F(OpenClose, AFolderThatVanishesIsMadeAgain) {
    Start();
    const std::string strDir = Disk() + "RecordFile/20240305/cam01";
    m_faults.Before(Op::Open, Ends(".mp4"), [&] { std::filesystem::remove(strDir); }).Times(3);
    EXPECT_TRUE(Open("cam01", Hour(5, 8)));
    m_faults.ClearRules();
    m_faults.Before(Op::Open, Ends(".mp4"), [&] { std::filesystem::remove(strDir); });
    Close("cam01", Hour(5, 8));
    std::filesystem::remove_all(strDir);
    EXPECT_FALSE(Open("cam01", Hour(5, 8)));  // and ends all the same
}

TEST_F(OpenClose, FindsRecordingsByCameraTypeAndTime) {
    Start();
    Record("cam01", Hour(5, 8));
    Record("cam01", Hour(5, 10, RECORD_TYPE_2));
    Record("cam02", Hour(5, 8, static_cast<RecordType>(9)));
    const std::string strDay = Disk() + "RecordFile/20240305/";
    const std::string strFirst = strDay + "cam01/20240305080000_20240305090000_1.mp4";
    EXPECT_THAT(Find("cam01", Time(5, 0), Time(6, 0)),
                ElementsAre(strFirst, strDay + "cam01/20240305100000_20240305110000_2.mp4"));
    EXPECT_THAT(Find("cam01", Time(5, 0), Time(6, 0), RECORD_TYPE_1), ElementsAre(strFirst));
    EXPECT_THAT(Find("cam02", Time(5, 8), Time(5, 8, 1)),
                ElementsAre(strDay + "cam02/20240305080000_20240305090000_0.mp4"));
    EXPECT_THAT(Find("cam01", Time(5, 9), Time(5, 10)), IsEmpty());
    EXPECT_THAT(Find("cam_01_2", Time(5, 0), Time(6, 0)), IsEmpty());
    Said();
    EXPECT_THAT(Find("cam01", Time(6, 0), Time(5, 0)), IsEmpty());
    recQueryParam stParam;
    EXPECT_FALSE(m_pEngine->QueryRecFile(stParam, nullptr));
    EXPECT_THAT(Said(),
                ElementsAre("[wtb][CLocalStorage::QueryRecFile] stQueryStartTime > stQueryEndTime",
                            "[wtb][CLocalStorage::QueryRecFile] NULL == ppRecFileList"));
}

TEST_F(OpenClose, FindsRecordingsAfterARestart) {
    Start();
    Record("cam01", Hour(5, 8));
    ASSERT_TRUE(Open("cam_1_0", Hour(5, 8)));
    m_pEngine->Release();
    Start();
    EXPECT_THAT(Find("cam01", Time(5, 0), Time(6, 0)), testing::SizeIs(1));
    EXPECT_THAT(Find("cam_1_0", Time(5, 0), Time(6, 0)), testing::SizeIs(1));
}

TEST_F(OpenClose, StorageTypesAboveOneCountAsBackup) {
    Start(static_cast<LocalStorageType>(7));
    Record("cam01", Hour(5, 8));
    EXPECT_THAT(Find("cam01", Time(5, 0), Time(6, 0)), testing::SizeIs(1));
}
