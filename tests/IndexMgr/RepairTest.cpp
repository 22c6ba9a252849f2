// What a repair keeps, enters and removes; which record folder a start uses.

#include <cstdio>

#include "IndexMgr/Records.h"
#include "RecordTree/RepairPlan.h"

class Repair : public CRecordDirTest {};

TEST_F(Repair, KeepsRecordingsAndRemovesEverythingForeignButWhatLinksLeadTo) {
    const Texts vKept = {Path("cam_1_0", FILE_1), Path("front_door", FILE_1),
                         Path("cam_1_0", FILE_3)};
    for (const bool bTypes : {true, false}) {  // not every file system tells the types of entries
        m_faults.ShowEntryTypes(bTypes);
        for (const char* pForeign :
             {"stray.txt", "20240308", "index02.bin", "index01.bin.new", "2024030/x/y",
              "20240305/cam_1_3", "20240305/index02.bin.new", "20240305/cam_01_2/x",
              "20240305/bare/notes.txt", "20240305/cam_1_0/20240305090000_20240305100000_1.mp4/x",
              "20240305/cam_1_0/20240305_080000.mp4", "20240305/cam_1_0/index03.bin.new",
              "20240307/cam_2_0/index03.bin", "20240307/index02.bin"}) {
            PutFile(m_strFolder + "/" + pForeign);
        }
        PutFile(m_dir / "outside/cam_1_0/" + FILE_2);
        for (const char* pLink : {"/20240305/link_1_0", "/20240309"}) {
            fs::create_symlink(m_dir / "outside", m_strFolder + pLink);
        }
        for (const std::string& strPath : vKept) PutFile(strPath);
        PutFile(m_strMarker);
        ASSERT_EQ(Start(), 0);
        EXPECT_EQ(m_nFiles, 3u);
        for (const std::string& strPath : vKept) EXPECT_TRUE(fs::exists(strPath)) << strPath;
        EXPECT_EQ(Tree(m_strFolder).size(), 16u) << "7 folders, 3 recordings, 6 index files";
        EXPECT_TRUE(fs::exists(m_dir / "outside/cam_1_0/" + FILE_2));
        // A link to a larger disk is followed, but none in it.
        if (bTypes) fs::rename(m_strFolder, m_dir / "larger disk");
        if (bTypes) fs::create_directory_symlink(m_dir / "larger disk", m_strFolder);
    }
    EXPECT_TRUE(fs::is_symlink(m_strFolder));
}

// A start that trusted the old index beside a changed tree would lose recordings.
TEST_F(Repair, AnIndexThatCannotBeRemovedStaysBesideTheTreeItHadUnlessAMarkerCanBeMade) {
    Put("cam_1_0", FILE_1);
    ASSERT_EQ(Start(), 0);
    fs::remove(m_strFolder + "/20240305/index02.bin");
    PutFile(m_strFolder + "/20240305/stray");
    const auto vBefore = Tree(m_dir.Path());
    m_faults.Fail(Op::Unlink, Ends("index01.bin"), EROFS);
    m_faults.Fail(Op::Open, Is(m_strMarker), EROFS);
    for (const bool bMarker : {false, true}) {
        EXPECT_EQ(Start(), 0);
        EXPECT_STREQ(RecDirName(), RECORD_FOLDER);
        EXPECT_EQ(m_nFiles, 1u);
        EXPECT_EQ(Tree(m_dir.Path()) == vBefore, !bMarker);
        m_faults.ClearRules();
        m_faults.Fail(Op::Unlink, Ends("index01.bin"), EROFS);
    }
    EXPECT_FALSE(fs::exists(m_strMarker));
}

TEST_F(Repair, OfTooManyRecordingsThatBeginTogetherOnlyThoseBeyondStayOut) {
    char szName[64];
    for (unsigned n = 0; n < CFileList::MAX_TOGETHER + 2; ++n) {
        std::snprintf(szName, sizeof(szName), "20240305080000_202403051%05u_1.mp4", n);
        Put("cam_1_0", szName);
    }
    Put("cam_1_0", FILE_2);
    repairPlan plan;
    ASSERT_TRUE(MakeRepairPlan(m_strFolder, plan));
    EXPECT_EQ(plan.vCrowded.size(), 2u);
    EXPECT_EQ(plan.vCrowded.back(), std::string("20240305/cam_1_0/") + szName);
    ASSERT_EQ(Open(), 0);
    EXPECT_EQ(m_index.CountFiles(), CFileList::MAX_TOGETHER + 1);
    EXPECT_EQ(FindAll(m_index, Channel("cam_1_0")).back(), Path("cam_1_0", FILE_2));
    EXPECT_EQ(Tree(m_strFolder + "/20240305/cam_1_0").size(), CFileList::MAX_TOGETHER + 4);
}

// Whatever cannot be removed of it: it is a mount point, its disk is read-only, its parent is
// root's, or it is a link.
TEST_F(Repair, ARecordFolderThatHoldsNothingCountsAsNew) {
    const std::string strTarget = m_dir / "larger disk";
    const std::function<void()> makers[] = {
        [&] { fs::create_directories(m_strFolder + "/20240305/bare"); },
        [&] { fs::create_directory_symlink(strTarget, m_strFolder); },
    };
    fs::create_directory(strTarget);
    PutFile(strTarget + "/foreign");
    for (const auto& make : makers) {
        make();
        m_faults.Fail(Op::RemoveDir, Is(m_strFolder), EBUSY);
        EXPECT_EQ(Start(), 0);
        EXPECT_STREQ(RecDirName(), RECORD_FOLDER);
        EXPECT_TRUE(fs::is_empty(m_strFolder));
        fs::remove(m_strFolder);
    }
}

// Two recordings of two channels after a crash, and something that a repair removes.
class BackupFolder : public CRecordDirTest {
protected:
    BackupFolder() {
        Put("cam_1_0", FILE_1);
        Put("front_door", FILE_3);
        PutFile(m_strFolder + "/foreign");
        PutFile(m_strMarker);
        m_faults.ShowEntryTypes(false);
    }
    std::string Backup(const char* pChannel, const char* pFile) {
        return RecPath(m_dir.Path(), pChannel, pFile, BACKUP_FOLDER);
    }
};

TEST_F(BackupFolder, OnlyWhatIsWrongWithTheWholeFolderSwitches) {
    const auto vBefore = Tree(m_dir.Path());
    const std::string strChannel = m_strFolder + "/20240305/cam_1_0";
    const struct {
        Op eOp;
        PathMatch match;
        int nError;
        int nResult;
        std::size_t nFiles;
        const char* pFolder;
    } cases[] = {
        // What says nothing of the disk.
        {Op::Open, Is(m_strFolder), EMFILE, 1, 0, RECORD_FOLDER},
        {Op::Open, Is(strChannel), ENFILE, 1, 0, RECORD_FOLDER},
        {Op::ReadDir, Is(m_strFolder), ENOMEM, 1, 0, RECORD_FOLDER},
        {Op::ReadDir, Is(strChannel), EINTR, 1, 0, RECORD_FOLDER},
        {Op::Stat, Ends(FILE_1), EAGAIN, 1, 0, RECORD_FOLDER},
        // What cannot be read while the rest can.
        {Op::ReadDir, Is(strChannel), EIO, 0, 1, RECORD_FOLDER},
        {Op::Open, Is(m_strFolder + "/20240306"), EACCES, 0, 1, RECORD_FOLDER},
        {Op::Stat, Ends(FILE_1), EIO, 0, 1, RECORD_FOLDER},
        // The folder itself.
        {Op::ReadDir, Is(m_strFolder), EIO, 0, 0, BACKUP_FOLDER},
        {Op::Open, Is(m_strFolder), EACCES, 0, 0, BACKUP_FOLDER},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.pFolder) + " error " + std::to_string(c.nError));
        m_faults.Fail(c.eOp, c.match, c.nError);
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
    m_faults.Fail(Op::Open, Ends("index02.bin"), EMFILE).Times(1);
    EXPECT_EQ(m_mgr.Initialize({m_dir.Path()}), 1);
    EXPECT_EQ(Tree(m_dir.Path()), vBefore);
    m_mgr.Release();
    EXPECT_EQ(m_mgr.Initialize({m_dir.Path()}), 0);
    EXPECT_EQ(FindAll(m_mgr, "cam_1_0").size(), 1u);
}

TEST_F(BackupFolder, WhatItHoldsIsMovedBackButWhatIsTakenOrNoRecording) {
    PutFile(Backup("cam_1_0", FILE_1), "taken");
    PutFile(Backup("cam_1_0", FILE_2), "moved");
    PutFile(Backup("cam_300_7", FILE_2));
    PutFile(m_dir / "BackupFile/20240305/cam_300_7/index03.bin");
    PutFile(m_dir / "BackupFile/index01.bin");
    for (int nStart = 0; nStart < 2; ++nStart) {
        ASSERT_EQ(Start(), 0);
        EXPECT_STREQ(RecDirName(), RECORD_FOLDER);
        EXPECT_EQ(m_nFiles, 4u);
        EXPECT_EQ(GetFile(Path("cam_1_0", FILE_1)), "");
        EXPECT_EQ(GetFile(Path("cam_1_0", FILE_2)), "moved");
        EXPECT_EQ(Tree(m_dir / "BackupFile"), (Texts{"20240305", "20240305/cam_1_0",
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
    PutFile(Backup("any name", "20240305_080000.mp4"));
    PutFile(Backup("cam_1_0", FILE_2));
    CIndexMgr mgr(CIndexMgr::STORAGE_TYPE_KESTREL);
    ASSERT_EQ(mgr.Initialize({m_dir.Path()}), 0);
    EXPECT_TRUE(fs::exists(m_strFolder + "/20240305/any name/20240305_080000.mp4"));
    EXPECT_TRUE(fs::exists(Backup("cam_1_0", FILE_2)));
    EXPECT_STREQ(mgr.RecordFolder(), RECORD_FOLDER);
    mgr.Release();
}

// The other engine's paths stay true, and all disks of one engine go together.
TEST_F(BackupFolder, OneEngineGoesOverAllDisksAndNoOtherEngine) {
    ASSERT_EQ(Start(), 0);
    const std::string strBad = m_dir / "bad", strGood = m_dir / "good";
    for (const std::string& strDir : {strBad, strGood}) PutFile(RecPath(strDir, "cam_1_0", FILE_1));
    CIndexMgr second;
    ASSERT_EQ(m_mgr.Initialize({m_dir.Path()}), 0);
    m_faults.Fail(Op::ReadDir, Is(strBad + "/RecordFile"), EIO);
    ASSERT_EQ(second.Initialize({strGood, strBad}), 0);
    EXPECT_STREQ(RecDirName(), BACKUP_FOLDER);
    EXPECT_STREQ(second.RecordFolder(), BACKUP_FOLDER);
    EXPECT_EQ(FindAll(second, "cam_1_0"), Paths()) << "of the good disk, too";
    const recordPath stPath = RecordBy(second, strGood, FILE_2);
    EXPECT_EQ(FindAll(second, "cam_1_0"), Paths{stPath.strPath});
    EXPECT_EQ(FindAll(m_mgr, "cam_1_0"), Paths{Path("cam_1_0", FILE_1)});
    oldestDay day;
    ASSERT_TRUE(m_mgr.QueryOldestRecFile(day));
    EXPECT_EQ(day.stDay.Tree(), m_strFolder);
    m_mgr.Release();
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
    ASSERT_EQ(m_mgr.Initialize({strGood}), 0) << "with nothing to come back to";
    EXPECT_STREQ(m_mgr.RecordFolder(), BACKUP_FOLDER);
    EXPECT_EQ(FindAll(m_mgr, "cam_1_0").size(), 2u);
}
