// Which record folder a start uses: when it goes over to "BackupFile", and how it comes back.

#include <cerrno>

#include <gtest/gtest.h>

#include "IndexMgr/Records.h"
#include "Support/FaultInjection.h"

namespace fs = std::filesystem;

namespace {

// Two recordings of two channels after a crash, and something that a repair removes.
class BackupFolder : public CRecordDirTest {
protected:
    BackupFolder() {
        Put("cam_1_0", FILE_1);
        Put("front_door", FILE_3);
        PutFile(m_strFolder + "/foreign");
        PutFile(m_strMarker);
        m_faults.SkipSleeps();
        m_faults.ShowEntryTypes(false);
    }
    void PutBackup(const std::string& strChannel, const std::string& strFile,
                   const std::string& strContent = "") {
        PutFile(m_dir / ("BackupFile/20240305/" + strChannel + "/" + strFile), strContent);
    }

    CFaultInjection m_faults;
};

}  // namespace

TEST_F(BackupFolder, OnlyWhatIsWrongWithTheWholeFolderSwitches) {
    const auto vBefore = Tree(m_dir.Path());
    const std::string strChannel = m_strFolder + "/20240305/cam_1_0";
    const struct {
        Op eOp;
        PathMatch match;
        int nError;
        std::uint64_t nTimes;
        int nResult;
        std::size_t nFiles;
        const char* pFolder;
    } cases[] = {
        // What says nothing of the disk.
        {Op::Open, Is(m_strFolder), EMFILE, 9, 1, 0, RECORD_FOLDER},
        {Op::Open, Is(strChannel), ENFILE, 9, 1, 0, RECORD_FOLDER},
        {Op::ReadDir, Is(m_strFolder), ENOMEM, 9, 1, 0, RECORD_FOLDER},
        {Op::ReadDir, Is(strChannel), EINTR, 9, 1, 0, RECORD_FOLDER},
        {Op::Stat, Ends(FILE_1), EAGAIN, 9, 1, 0, RECORD_FOLDER},
        // What cannot be read while the rest can.
        {Op::ReadDir, Is(strChannel), EIO, 9, 0, 1, RECORD_FOLDER},
        {Op::Open, Is(m_strFolder + "/20240306"), EACCES, 9, 0, 1, RECORD_FOLDER},
        {Op::Stat, Ends(FILE_1), EIO, 9, 0, 1, RECORD_FOLDER},
        // The folder itself.
        {Op::ReadDir, Is(m_strFolder), EIO, 9, 0, 0, BACKUP_FOLDER},
        {Op::Open, Is(m_strFolder), EACCES, 9, 0, 0, BACKUP_FOLDER},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.pFolder) + " error " + std::to_string(c.nError));
        m_faults.Fail(c.eOp, c.match, c.nError).Times(c.nTimes);
        EXPECT_EQ(Start(), c.nResult);
        EXPECT_STREQ(RecDirName(), c.pFolder);
        EXPECT_EQ(m_nFiles, c.nFiles);
        m_faults.ClearRules();
        for (const std::string& strPath : vBefore) {
            EXPECT_TRUE(fs::exists(m_dir / strPath)) << "nothing is removed, " << strPath;
        }
    }
    m_faults.Fail(Op::ReadDir, Any(), EIO).Times(1);
    EXPECT_EQ(Start(), 0) << "tried again";
    EXPECT_STREQ(RecDirName(), RECORD_FOLDER) << "and back from BackupFile";
    EXPECT_EQ(m_nFiles, 2u);
    EXPECT_FALSE(fs::exists(m_strFolder + "/foreign"));
    EXPECT_FALSE(fs::exists(m_strMarker));

    fs::remove_all(m_strFolder);
    PutFile(m_strFolder, "no folder");
    EXPECT_EQ(Start(), 0);
    EXPECT_STREQ(RecDirName(), BACKUP_FOLDER);
}

// An index whose files cannot be opened for want of a handle is not one to be made anew.
TEST_F(BackupFolder, AStartWithoutAHandleChangesNothingAndMayBeTriedAgain) {
    ASSERT_EQ(Start(), 0);
    const auto vBefore = Tree(m_dir.Path());
    CIndexMgr mgr;
    m_faults.Fail(Op::Open, Ends("index02.bin"), EMFILE).Times(1);
    EXPECT_EQ(mgr.Initialize({m_dir.Path()}), 1);
    EXPECT_EQ(Tree(m_dir.Path()), vBefore);
    mgr.Release();
    EXPECT_EQ(mgr.Initialize({m_dir.Path()}), 0);
    EXPECT_EQ(FindAll(mgr, "cam_1_0").size(), 1u);
    mgr.Release();
}

TEST_F(BackupFolder, WhatItHoldsIsMovedBackButWhatIsTakenOrNoRecording) {
    PutBackup("cam_1_0", FILE_1, "taken");
    PutBackup("cam_1_0", FILE_2, "moved");
    PutBackup("cam_300_7", FILE_2);
    PutBackup("cam_300_7", "index03.bin");
    PutFile(m_dir / "BackupFile/index01.bin");
    for (int nStart = 0; nStart < 2; ++nStart) {
        ASSERT_EQ(Start(), 0);
        EXPECT_STREQ(RecDirName(), RECORD_FOLDER);
        EXPECT_EQ(m_nFiles, 4u);
        EXPECT_EQ(GetFile(Path("cam_1_0", FILE_1)), "");
        EXPECT_EQ(GetFile(Path("cam_1_0", FILE_2)), "moved");
        EXPECT_EQ(Tree(m_dir / "BackupFile"),
                  (std::vector<std::string>{"20240305", "20240305/cam_1_0",
                                            std::string("20240305/cam_1_0/") + FILE_1}));
    }
    fs::remove(Path("cam_1_0", FILE_1));
    PutFile(m_strMarker);
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 4u);
    EXPECT_FALSE(fs::exists(m_dir / "BackupFile"));
    EXPECT_FALSE(fs::exists(m_strMarker));
}

TEST_F(BackupFolder, OfTheClientLayoutIsMovedBackToo) {
    PutBackup("any name", "20240305_080000.mp4");
    PutBackup("cam_1_0", FILE_2);
    CIndexMgr mgr(CIndexMgr::STORAGE_TYPE_KESTREL);
    ASSERT_EQ(mgr.Initialize({m_dir.Path()}), 0);
    EXPECT_TRUE(fs::exists(m_strFolder + "/20240305/any name/20240305_080000.mp4"));
    EXPECT_TRUE(fs::exists(m_dir / ("BackupFile/20240305/cam_1_0/" + std::string(FILE_2))));
    EXPECT_STREQ(mgr.RecordFolder(), RECORD_FOLDER);
    mgr.Release();
}

// The other engine's paths stay true, and all disks of one engine go together.
TEST_F(BackupFolder, OneEngineGoesOverAllDisksAndNoOtherEngine) {
    ASSERT_EQ(Start(), 0);
    const std::string strBad = m_dir / "bad", strGood = m_dir / "good";
    for (const std::string& strDir : {strBad, strGood}) PutFile(RecPath(strDir, "cam_1_0", FILE_1));
    CIndexMgr first, second;
    ASSERT_EQ(first.Initialize({m_dir.Path()}), 0);
    m_faults.Fail(Op::ReadDir, Is(strBad + "/RecordFile"), EIO);
    ASSERT_EQ(second.Initialize({strGood, strBad}), 0);
    EXPECT_STREQ(RecDirName(), BACKUP_FOLDER);
    EXPECT_STREQ(second.RecordFolder(), BACKUP_FOLDER);
    EXPECT_EQ(FindAll(second, "cam_1_0"), Paths()) << "of the good disk, too";
    const auto path = TypedPath(strGood, "cam_1_0", FILE_2, BACKUP_FOLDER);
    PutFile(path.strPath);
    second.WriteIndex(path, CIndexMgr::INDEX_TYPE_ADD);
    EXPECT_EQ(FindAll(second, "cam_1_0"), Paths{path.strPath});

    EXPECT_EQ(FindAll(first, "cam_1_0"), Paths{Path("cam_1_0", FILE_1)});
    oldestDay day;
    ASSERT_TRUE(first.QueryOldestRecFile(day));
    EXPECT_EQ(day.stDay.Tree(), m_strFolder);
    first.Release();
    second.Release();

    m_faults.ClearRules();
    ASSERT_EQ(second.Initialize({strGood, strBad}), 0);
    EXPECT_STREQ(RecDirName(), RECORD_FOLDER);
    EXPECT_EQ(FindAll(second, "cam_1_0"),
              (Paths{RecPath(strBad, "cam_1_0", FILE_1), RecPath(strGood, "cam_1_0", FILE_1),
                     RecPath(strGood, "cam_1_0", FILE_2)}));
    EXPECT_FALSE(fs::exists(strGood + "/BackupFile"));
    second.Release();

    fs::rename(strGood + "/RecordFile", strGood + "/BackupFile");
    ASSERT_EQ(first.Initialize({strGood}), 0) << "with nothing to come back to";
    EXPECT_STREQ(first.RecordFolder(), BACKUP_FOLDER);
    EXPECT_EQ(FindAll(first, "cam_1_0").size(), 2u);
    first.Release();
}
