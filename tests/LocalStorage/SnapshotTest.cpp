// Pictures.

#include <cerrno>

#include "LocalStorage/EngineTest.h"

using testing::ElementsAre;
using testing::SizeIs;

class Snapshot : public CEngineTest {
protected:
    bool Store(const std::string& strCamera, const std::string& strPicture) {
        return m_pEngine->WriteImage(strCamera.c_str(), strPicture.data(),
                                     static_cast<unsigned>(strPicture.size()), m_szPath);
    }
    std::string File(const std::string& strCamera = "cam01") const {
        return Disk() + "ImageFile/20240305/" + strCamera + "/20240305_080000.jpg";
    }

    char m_szPath[LOCALSTORAGE_PATH_SIZE] = {};
};

TEST_F(Snapshot, IsNamedByTheSecondAndReplacedInIt) {
    Start();
    EXPECT_TRUE(Store("cam01", "first and longer"));
    EXPECT_TRUE(Store("cam01", "second"));
    EXPECT_EQ(m_szPath, File());
    EXPECT_EQ(GetFile(File()), "second");
    EXPECT_TRUE(Store("cam02", ""));
    EXPECT_TRUE(Exists(File("cam02")));
    EXPECT_TRUE(Messages().empty());
    EXPECT_EQ(m_pEngine->GetLastError(), 0);
}

TEST_F(Snapshot, RefusesBadRequests) {
    Start();
    EXPECT_FALSE(m_pEngine->WriteImage(nullptr, "", 0, m_szPath));
    EXPECT_FALSE(m_pEngine->WriteImage("cam01", nullptr, 0, m_szPath));
    EXPECT_FALSE(m_pEngine->WriteImage("cam01", "", 0, nullptr));
    const std::string strNull =
        "[wtb][CLocalStorage::WriteImage] NULL == pCameraID || NULL == pBuf || NULL == pImgPath";
    EXPECT_THAT(Said(), ElementsAre(strNull, strNull, strNull));
    for (const char* pCamera : {"", "..", "a/b"}) EXPECT_FALSE(Store(pCamera, "jpg"));
    EXPECT_THAT(LinesWith("camera identifier refused"), SizeIs(3));
    EXPECT_FALSE(Exists(Disk() + "ImageFile"));
}

TEST_F(Snapshot, AFullDiskTakesNone) {
    Start(LOCAL_STORAGE_CLIENT);
    m_faults.SetFreeSpace(m_dir.Path(), 2048);
    EXPECT_FALSE(Store("cam01", "jpg"));
    EXPECT_THAT(LinesWith("[CLocalStorage::WriteImage]"),
                ElementsAre("[wtb][CLocalStorage::WriteImage] pFunCallback MESSAGEVALUE_DISKFULL, "
                            "pCameraID [cam01]",
                            "[wtb][CLocalStorage::WriteImage] IsDiskFull, m_strCurRecDir [" +
                                Disk() + "], pCameraID [cam01]"));
    EXPECT_EQ(Messages().size(), 1u);
}

TEST_F(Snapshot, FailuresAreReported) {
    Start();
    m_faults.Fail(Op::Open, Ends(".jpg"), EMFILE).Times(1);
    EXPECT_FALSE(Store("cam01", "jpg"));
    EXPECT_THAT(Said(), ElementsAre("[wtb][CLocalStorage::WriteImage] OpenImageFile fail, "
                                    "strImageFilePath[$/1/ImageFile/20240305/cam01/"
                                    "20240305_080000.jpg]"));
    EXPECT_STREQ(m_szPath, "");
    m_faults.Fail(Op::Write, Ends(".jpg"), EFBIG).Times(1);
    EXPECT_FALSE(Store("cam01", "jpg"));
    EXPECT_EQ(m_szPath, File());  // what was written stays
    EXPECT_THAT(LinesWith("[wtb][CLocalStorage::WriteImageData] OSL_WriteFile fail"), SizeIs(1));
    EXPECT_EQ(Messages().back().nType, MESSAGEVALUE_WRITEFAIL);
    EXPECT_EQ(Messages().back().strCamera, "cam01");
}

TEST_F(Snapshot, DeletesThatDayAndAllBefore) {
    Start();
    const std::string strRoot = Disk() + "ImageFile/";
    for (const char* pDay : {"20240301", "20240305", "20240306", "0foreign"})
        PutFile(strRoot + pDay + "/cam01/a.jpg");
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
    EXPECT_TRUE(Exists(m_dir / "ImageFile/20240101/cam01/a.jpg"));
}
