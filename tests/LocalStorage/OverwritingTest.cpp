// Deletion passes and what they tidy.

#include <atomic>
#include <cerrno>
#include <thread>

#include "LocalStorage/EngineTest.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

class Overwriting : public CEngineTest {
protected:
    /// One full disk check and, with it, one pass.
    void Pass() {
        char szPath[LOCALSTORAGE_PATH_SIZE];
        m_faults.SetFreeSpace(m_dir.Path(), 100);
        m_pEngine->WriteImage("check", "", 0, szPath);
        m_faults.SetFreeSpace(m_dir.Path(), ROOM);
    }
    std::string Day(unsigned nDay) const {
        return Disk() + "RecordFile/202403" + (nDay < 10 ? "0" : "") + std::to_string(nDay);
    }
    std::string Path(const std::string& strCamera, unsigned nDay, unsigned nHour, int nType = 1) {
        char szName[64];
        std::snprintf(szName, sizeof(szName), "202403%02u%02u0000_202403%02u%02u0000_%d.mp4", nDay,
                      nHour, nDay, nHour + 1, nType);
        return Day(nDay) + "/" + strCamera + "/" + szName;
    }
    Trace Deleted() { return PathsOf(MESSAGEVALUE_DELETEFILE); }
    std::size_t Indexed(unsigned nDay) {
        return Find("cam01", Time(nDay, 0), Time(nDay + 1, 0)).size();
    }
};

TEST_F(Overwriting, TakesTheOldestDayButNotOpenFiles) {
    Start();
    Record("cam01", Hour(1, 8));
    Record("cam02", Hour(1, 9));
    ASSERT_TRUE(Open("cam01", Hour(1, 10)));
    Record("cam01", Hour(2, 8));
    Said();
    Pass();
    const std::string strTag = "[wtb][CLocalStorage::DeleteRecordFile] ";
    const std::string strOne = "$" + Path("cam01", 1, 8).substr(m_dir.Path().size());
    const std::string strTwo = "$" + Path("cam02", 1, 9).substr(m_dir.Path().size());
    const std::string strOpen = "$" + Path("cam01", 1, 10).substr(m_dir.Path().size());
    const Trace lsSaid = Said();
    EXPECT_THAT(
        Trace(lsSaid.begin() + 2, lsSaid.end() - 3),
        ElementsAre(
            "-> 4 " + strOne,
            strTag + "pFunCallback MESSAGEVALUE_DELETEFILE, strRecFilePath [" + strOne + "]",
            strTag + "Delete Record File Path [" + strOne + "]",
            "[wtb][CLocalStorage::IsRecFileWritting] file is writting, strRecFilePath [" + strOpen +
                "]",
            "-> 4 " + strTwo,
            strTag + "pFunCallback MESSAGEVALUE_DELETEFILE, strRecFilePath [" + strTwo + "]",
            strTag + "Delete Record File Path [" + strTwo + "]",
            strTag + "CleanUpDateDir Path [$/1/RecordFile/20240301/]"));
    EXPECT_THAT(RecordFiles(), ElementsAre(Path("cam01", 1, 10), Path("cam01", 2, 8)));
    EXPECT_FALSE(Exists(Day(1) + "/cam02"));
    EXPECT_EQ(Indexed(1), 1u);
    EXPECT_EQ(Messages().back().nType, MESSAGEVALUE_DISKFULL);
}

// As on xfs: the space is there a moment after the file went.
TEST_F(Overwriting, SpaceThatComesLaterCostsNoSecondDay) {
    Start();
    Record("cam01", Hour(1, 8));
    Record("cam01", Hour(2, 8));
    m_faults.SetFreeSpace(m_dir.Path(), 100);
    std::atomic<int> nAsked{-1};
    m_faults.Before(Op::Unlink, Ends(".mp4"), [&] { nAsked = 0; });
    m_faults.Before(Op::StatVfs, Any(), [&] {
        if (nAsked >= 0 && ++nAsked == 7) m_faults.SetFreeSpace(m_dir.Path(), ROOM);
    });
    EXPECT_TRUE(Open("cam01", Hour(3, 8)));
    EXPECT_THAT(Deleted(), ElementsAre(Path("cam01", 1, 8)));
}

TEST_F(Overwriting, TidiesUpToTheRecordFolder) {
    Start();
    Record("cam01", Hour(1, 8));
    PutFile(Day(1) + "/cam01/index03.bin", "index");
    PutFile(Day(1) + "/cam01/notes/a.txt", "loose");
    PutFile(Day(1) + "/index02.bin", "index");
    Pass();
    EXPECT_FALSE(Exists(Disk() + "RecordFile"));
    EXPECT_TRUE(Exists(Disk()));
    Record("cam01", Hour(2, 8));
    EXPECT_EQ(Indexed(2), 1u);
}

TEST_F(Overwriting, WorksWithoutACallback) {
    m_stInfo.pFunCallback = nullptr;
    Start();
    Record("cam01", Hour(1, 8));
    Pass();
    EXPECT_THAT(RecordFiles(), IsEmpty());
    EXPECT_THAT(LinesWith("Delete Record File Path"), SizeIs(1));
    EXPECT_THAT(LinesWith("MESSAGEVALUE_DELETEFILE"), IsEmpty());
}

TEST_F(Overwriting, FilesThatAreGoneAlreadyLeaveTheIndexUnreported) {
    Start();
    Record("cam01", Hour(1, 8));
    Record("cam01", Hour(1, 9));
    Record("cam01", Hour(2, 8));
    std::filesystem::remove(Path("cam01", 1, 8));
    Pass();
    EXPECT_THAT(Deleted(), ElementsAre(Path("cam01", 1, 9)));
    EXPECT_EQ(Indexed(1), 0u);
    std::filesystem::remove_all(Day(2));
    Pass();
    Pass();
    EXPECT_EQ(Indexed(2), 0u);
    EXPECT_THAT(Deleted(), SizeIs(1));
}

TEST_F(Overwriting, FilesWithoutAnEntryGoWithTheDay) {
    Start();
    Record("cam01", Hour(1, 8));
    Record("cam01", Hour(1, 8, RECORD_TYPE_2));  // the same times: one entry
    PutFile(Path("cam09", 1, 8), "put there by hand");
    Record("cam01", Hour(2, 8));
    Pass();
    EXPECT_THAT(Deleted(), UnorderedElementsAre(Path("cam01", 1, 8), Path("cam01", 1, 8, 2),
                                                Path("cam09", 1, 8)));
    EXPECT_FALSE(Exists(Day(1)));
}

TEST_F(Overwriting, ADayThatLosesNothingIsPassedOver) {
    Start();
    ASSERT_TRUE(Open("cam01", Hour(1, 8)));
    Record("cam01", Hour(2, 8));
    Record("cam01", Hour(3, 8));
    Record("cam01", Hour(4, 8));
    m_faults.Fail(Op::Unlink, Below(Day(2)), EROFS);
    Pass();
    EXPECT_THAT(Deleted(), ElementsAre(Path("cam01", 3, 8)));
    EXPECT_THAT(RecordFiles(),
                ElementsAre(Path("cam01", 1, 8), Path("cam01", 2, 8), Path("cam01", 4, 8)));
    EXPECT_EQ(Indexed(2), 1u);
}

TEST_F(Overwriting, AnEmptyIndexTidiesNothing) {
    Start();
    auto rule = m_faults.Watch(Op::RemoveDir, Any());
    Pass();
    EXPECT_EQ(rule.Seen(), 0u);
    EXPECT_THAT(LinesWith("CleanUpDateDir"), IsEmpty());
}

TEST_F(Overwriting, AFolderThatCannotBeRemovedIsGivenUp) {
    Start();
    Record("cam01", Hour(1, 8));
    auto rule = m_faults.Fail(Op::RemoveDir, Is(Day(1) + "/cam01"), EBUSY);
    Pass();
    EXPECT_EQ(rule.Seen(), 100u);
    EXPECT_THAT(LinesWith("given up"), SizeIs(1));
    EXPECT_THAT(Deleted(), SizeIs(1));
}

TEST_F(Overwriting, ARecordingThatComesWhileTidyingStays) {
    Start();
    Record("cam01", Hour(1, 8));
    PutFile(Day(1) + "/cam01/index03.bin", "index");
    // Once the folder has been looked at, and before it is removed.
    m_faults.Before(Op::Unlink, Ends("index03.bin"), [&] { PutFile(Path("cam01", 1, 9), "new"); })
        .Times(1);
    Pass();
    EXPECT_EQ(GetFile(Path("cam01", 1, 9)), "new");
}

TEST_F(Overwriting, ASwitchDuringAPassKeepsItsFile) {
    m_stInfo.nFileSize = 1;
    Start(LOCAL_STORAGE_CLIENT);
    const recFileInfo stFile;
    ASSERT_TRUE(Open("cam01", stFile));
    ASSERT_TRUE(Write("cam01", stFile, std::string(1 << 20, 'a')));
    m_faults.AdvanceTime(1000);
    const std::string strDir = Disk() + "RecordFile/20240305/cam01";
    // The channel switches while the clean-up stands in front of its folder.
    Record("cam02", stFile);
    m_faults
        .Before(Op::RemoveDir, Is(Disk() + "RecordFile/20240305/cam02"),
                [&] { std::thread([&] { EXPECT_TRUE(Write("cam01", stFile, "b")); }).join(); })
        .Times(1);
    Pass();
    EXPECT_THAT(RecordFiles(),
                ElementsAre(strDir + "/20240305_080000.mp4", strDir + "/20240305_080001.mp4"));
    EXPECT_EQ(GetFile(strDir + "/20240305_080001.mp4"), "b");
}

TEST_F(Overwriting, TheClientLayoutLosesItsOldestDay) {
    Start(LOCAL_STORAGE_CLIENT);
    Record("cam01", Hour(1, 1));
    m_faults.AdvanceTime(24LL * 3600 * 1000);
    Record("cam01", Hour(1, 1));
    std::filesystem::create_directories(Disk() + "RecordFile/20240101/cam07");  // nothing in it
    Pass();
    EXPECT_THAT(Deleted(), ElementsAre(Disk() + "RecordFile/20240305/cam01/20240305_080000.mp4"));
    EXPECT_FALSE(Exists(Disk() + "RecordFile/20240305"));
    EXPECT_FALSE(Exists(Disk() + "RecordFile/20240101"));
    EXPECT_THAT(RecordFiles(), SizeIs(1));
}

TEST_F(Overwriting, PicturesGoInsteadWhenAsked) {
    m_stInfo.enumStoreFileType = STORE_FILE_IMAGE;
    Start(LOCAL_STORAGE_CLIENT);
    char szPath[LOCALSTORAGE_PATH_SIZE];
    ASSERT_TRUE(m_pEngine->WriteImage("cam01", "jpg", 3, szPath));
    Record("cam01", Hour(1, 1));
    m_faults.AdvanceTime(24LL * 3600 * 1000);
    Said();
    Pass();
    const std::string strFile = "$/1/ImageFile/20240305/cam01/20240305_080000.jpg";
    const std::string strTag = "[wtb][CLocalStorage::DeleteImageFile] ";
    const Trace lsSaid = Said();
    EXPECT_THAT(Trace(lsSaid.begin(), lsSaid.end() - 3),
                ElementsAre("-> 4 " + strFile,
                            strTag + "pFunCallback MESSAGEVALUE_DELETEFILE, strImgFilePath [" +
                                strFile + "]",
                            strTag + "Delete Image File Path [" + strFile + "]",
                            strTag + "CleanUpDateDir Path [$/1/ImageFile/20240305/]"));
    EXPECT_FALSE(Exists(Disk() + "ImageFile"));
    EXPECT_THAT(RecordFiles(), SizeIs(1));
}

TEST_F(Overwriting, UnknownKindsDeleteNothing) {
    m_stInfo.enumStoreFileType = static_cast<StoreFileType>(2);
    Start();
    Record("cam01", Hour(1, 8));
    Pass();
    EXPECT_THAT(RecordFiles(), SizeIs(1));
}
