// Pictures.

#include <cerrno>

#include "LocalStorage/EngineTest.h"

using testing::ElementsAre;

class Snapshot : public CEngineTest {
protected:
    bool Store(const char* pCamera, const std::string& strPicture) {
        return m_pEngine->WriteImage(pCamera, strPicture.data(),
                                     static_cast<unsigned>(strPicture.size()), m_szPath);
    }

    const std::string m_strFile = Disk() + "ImageFile/20240305/cam01/20240305_080000.jpg";
    const std::string m_strTag = "[wtb][CLocalStorage::WriteImage] ";
    char m_szPath[LOCALSTORAGE_PATH_SIZE] = {};
};

TEST_F(Snapshot, IsNamedByTheSecondAndReplacedInIt) {
    Start();
    EXPECT_TRUE(Store("cam01", "first and longer"));
    EXPECT_TRUE(Store("cam01", "second"));
    EXPECT_EQ(m_szPath, m_strFile);
    EXPECT_EQ(GetFile(m_strFile), "second");
    EXPECT_TRUE(Messages().empty());
}

TEST_F(Snapshot, RefusesBadRequests) {
    Start();
    EXPECT_FALSE(m_pEngine->WriteImage(nullptr, "", 0, m_szPath));
    EXPECT_FALSE(m_pEngine->WriteImage("cam01", nullptr, 0, m_szPath));
    EXPECT_FALSE(m_pEngine->WriteImage("cam01", "", 0, nullptr));
    EXPECT_FALSE(Store("..", "jpg"));
    EXPECT_FALSE(Exists(Disk() + "ImageFile"));
}

TEST_F(Snapshot, FailuresAreReported) {
    Start(LOCAL_STORAGE_CLIENT);  // whose disk check reports no full disk
    SetRoom(FULL);
    EXPECT_FALSE(Store("cam01", "jpg"));
    EXPECT_THAT(Said(), ElementsAre("-> 1",
                                    m_strTag + "pFunCallback MESSAGEVALUE_DISKFULL, "
                                               "pCameraID [cam01]",
                                    m_strTag + "IsDiskFull, m_strCurRecDir [$/1/], "
                                               "pCameraID [cam01]"));
    SetRoom(ROOM);
    m_faults.Fail(Op::Open, Ends(".jpg"), EMFILE).Times(1);
    EXPECT_FALSE(Store("cam01", "jpg"));
    EXPECT_STREQ(m_szPath, "");
    Said();
    for (const Op eOp : {Op::Write, Op::Close}) {
        m_faults.Fail(eOp, Ends(".jpg"), EFBIG).Times(1);
        EXPECT_FALSE(Store("cam01", "jpg"));
        EXPECT_EQ(m_szPath, m_strFile);  // what was written stays
        EXPECT_EQ(Said().at(0), "-> 6 cam01 27 [132]");
    }
}

TEST_F(Snapshot, DeletesThatDayAndAllBefore) {
    Start();
    const std::string strRoot = Disk() + "ImageFile/";
    for (const char* pDay : {"20240301", "20240305", "20240306", "0foreign"}) {
        PutFile(strRoot + pDay + "/cam01/a.jpg");
    }
    PutFile(strRoot + "00file");
    EXPECT_TRUE(m_pEngine->DeleteImagesByDay(Time(5, 0)));
    EXPECT_FALSE(Exists(strRoot + "20240301"));
    EXPECT_FALSE(Exists(strRoot + "20240305"));
    EXPECT_FALSE(Exists(strRoot + "0foreign"));
    EXPECT_TRUE(Exists(strRoot + "20240306/cam01/a.jpg"));
    EXPECT_TRUE(Exists(strRoot + "00file"));
    EXPECT_TRUE(Messages().empty());
}

TEST_F(Snapshot, WithoutACurrentDirectoryNothingIsDeleted) {
    const auto previous = std::filesystem::current_path();
    PutFile(m_dir / "ImageFile/20240101/cam01/a.jpg");
    std::filesystem::current_path(m_dir.Path());
    EXPECT_TRUE(m_pEngine->DeleteImagesByDay(Time(5, 0)));
    std::filesystem::current_path(previous);
    Start();
    EXPECT_TRUE(Exists(m_dir / "ImageFile/20240101/cam01/a.jpg"));

    // The pictures may have been moved to a larger disk; what a link among them leads to is none.
    PutFile(m_dir / "outside/cam01/a.jpg");
    const std::string strLarger = m_dir / "ImageFile";
    std::filesystem::create_directory_symlink(m_dir / "outside", strLarger + "/20240102");
    std::filesystem::create_directory_symlink(strLarger, Disk() + "ImageFile");
    EXPECT_TRUE(m_pEngine->DeleteImagesByDay(Time(5, 0)));
    EXPECT_FALSE(Exists(strLarger + "/20240101"));
    EXPECT_TRUE(Exists(m_dir / "outside/cam01/a.jpg"));
}
