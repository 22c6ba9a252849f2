// Pictures.

#include "LocalStorage/EngineTest.h"

class Snapshot : public CEngineTest {
protected:
    const std::string m_strTree = Disk() + "ImageFile/";
    const std::string m_strFile = m_strTree + "20240305/cam01/20240305_080000.jpg";
    std::string m_strPath;
};

TEST_F(Snapshot, IsNamedByTheSecondWhenItIsWholeAndAFailureIsTold) {
    Start();
    m_faults.Fail(Op::Open, Ends(".new-picture"), EMFILE).Times(1);
    EXPECT_FALSE(Picture("cam01", "jpg", &m_strPath));
    EXPECT_EQ(m_strPath, "");
    EXPECT_TRUE(Picture("cam01", "first and longer"));
    const auto before = [&] { EXPECT_EQ(GetFile(m_strFile), "first and longer"); };
    m_faults.Before(Op::Rename, Is(m_strFile), before).Times(1);
    EXPECT_TRUE(Picture("cam01", "second", &m_strPath));
    EXPECT_EQ(m_strPath, m_strFile);
    EXPECT_EQ(GetFile(m_strFile), "second");
    EXPECT_THAT(Said(), IsEmpty());
    for (const bool bThere : {true, false}) {
        for (const Op eOp : {Op::Write, Op::Close, Op::Rename}) {
            ForgetMessages();
            if (!bThere) fs::remove(m_strFile);
            m_faults.Fail(eOp, Ends(".new-picture"), EFBIG).Times(1);
            EXPECT_FALSE(Picture("cam01", "jpg", &m_strPath));
            EXPECT_EQ(m_strPath, m_strFile);
            EXPECT_THAT(Said(), ElementsAre("6 cam01 27 132 -"));
            EXPECT_EQ(Exists(m_strFile), bThere || eOp != Op::Rename) << "what was written stays";
            EXPECT_TRUE(!bThere || GetFile(m_strFile) == "second") << "but replaces none";
        }
    }
}

TEST_F(Snapshot, DeletesThatDayAndAllBeforeAlsoBehindALink) {
    for (const bool bLink : {false, true}) {
        Reset();
        Start();
        if (bLink) {
            // The pictures may have been moved to a larger disk; what a link among them leads to is
            // none.
            PutFile(m_dir / "outside/cam01/a.jpg");
            fs::create_directory(m_dir / "larger");
            fs::create_directory_symlink(m_dir / "larger", Disk() + "ImageFile");
            fs::create_directory_symlink(m_dir / "outside", m_strTree + "20240302");
        }
        for (const char* pDay : {"20240301", "20240305", "20240306", "0foreign"}) {
            PutFile(m_strTree + pDay + "/cam01/a.jpg");
        }
        PutFile(m_strTree + "00file");
        EXPECT_TRUE(m_pEngine->DeleteImagesByDay(Time(5, 0)));
        for (const char* pDay : {"20240301", "20240305", "0foreign"}) {
            EXPECT_FALSE(Exists(m_strTree + pDay)) << pDay;
        }
        EXPECT_TRUE(Exists(m_strTree + "20240306/cam01/a.jpg"));
        EXPECT_TRUE(Exists(m_strTree + "00file"));
        EXPECT_EQ(Exists(m_dir / "outside/cam01/a.jpg"), bLink);
        EXPECT_THAT(Said(), IsEmpty());
    }
}

TEST_F(Snapshot, WithoutACurrentDirectoryNothingIsDeleted) {
    const auto previous = fs::current_path();
    PutFile(m_dir / "ImageFile/20240101/cam01/a.jpg");
    fs::current_path(m_dir.Path());
    EXPECT_TRUE(m_pEngine->DeleteImagesByDay(Time(5, 0)));
    fs::current_path(previous);
    EXPECT_TRUE(Exists(m_dir / "ImageFile/20240101/cam01/a.jpg"));
}
