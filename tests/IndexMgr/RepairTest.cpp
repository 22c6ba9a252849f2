// What a repair keeps, enters and removes.

#include <cstdio>
#include <functional>

#include <gtest/gtest.h>

#include "IndexMgr/Records.h"
#include "RecordTree/RepairPlan.h"
#include "Support/FaultInjection.h"

namespace fs = std::filesystem;

class Repair : public CRecordDirTest {};

TEST_F(Repair, KeepsRecordingsAndRemovesEverythingForeign) {
    const std::vector<std::string> vKept = {Path("cam_1_0", FILE_1), Path("front_door", FILE_1),
                                            Path("cam_1_0", FILE_3)};
    CFaultInjection faults;
    for (const bool bTypes : {true, false}) {  // not every file system tells the types of entries
        faults.ShowEntryTypes(bTypes);
        for (const char* pForeign :
             {"stray.txt", "20240308", "index02.bin", "index01.bin.new", "2024030/x/y",
              "20240305/cam_1_3", "20240305/index02.bin.new", "20240305/cam_01_2/x",
              "20240305/bare/notes.txt", "20240305/cam_1_0/20240305090000_20240305100000_1.mp4/x",
              "20240305/cam_1_0/20240305_080000.mp4", "20240305/cam_1_0/index03.bin.new",
              "20240307/cam_2_0/index03.bin", "20240307/index02.bin"}) {
            PutFile(m_strFolder + "/" + pForeign);
        }
        PutFile(m_dir / "outside/precious");
        fs::create_symlink(m_dir / "outside", m_strFolder + "/20240305/link_1_0");
        for (const std::string& strPath : vKept) PutFile(strPath);
        PutFile(m_strMarker);
        ASSERT_EQ(Start(), 0);
        EXPECT_EQ(m_nFiles, 3u);
        for (const std::string& strPath : vKept) EXPECT_TRUE(fs::exists(strPath)) << strPath;
        EXPECT_EQ(Tree(m_strFolder).size(), 16u) << "7 folders, 3 recordings, 6 index files";
        EXPECT_TRUE(fs::exists(m_dir / "outside/precious"));
    }
}

// A start that trusted the old index beside a changed tree would lose recordings.
TEST_F(Repair, AnIndexThatCannotBeRemovedStaysBesideTheTreeItHadUnlessAMarkerCanBeMade) {
    Put("cam_1_0", FILE_1);
    ASSERT_EQ(Start(), 0);
    fs::remove(m_strFolder + "/20240305/index02.bin");
    PutFile(m_strFolder + "/20240305/stray");
    const auto vBefore = Tree(m_dir.Path());
    CFaultInjection faults;
    faults.SkipSleeps();
    faults.Fail(Op::Unlink, Ends("index01.bin"), EROFS);
    faults.Fail(Op::Open, Is(m_strMarker), EROFS);
    for (const bool bMarker : {false, true}) {
        EXPECT_EQ(Start(), 0);
        EXPECT_STREQ(RecDirName(), RECORD_FOLDER);
        EXPECT_EQ(m_nFiles, 1u);
        EXPECT_EQ(Tree(m_dir.Path()) == vBefore, !bMarker);
        faults.ClearRules();
        faults.Fail(Op::Unlink, Ends("index01.bin"), EROFS);
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

TEST_F(Repair, AnIndexFileThatDescribesNothingGoesAlsoWhereItIsALinkToNothing) {
    Put("cam_1_0", FILE_1);
    fs::create_directories(m_strFolder + "/20240307/cam_1_0");
    for (const char* pName : {"/20240307/index02.bin", "/20240307/cam_1_0/index03.bin"}) {
        fs::create_symlink("nowhere", m_strFolder + pName);
    }
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(Tree(m_strFolder + "/20240307"), std::vector<std::string>{"cam_1_0"});
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
        CFaultInjection faults;
        faults.SkipSleeps();
        faults.Fail(Op::RemoveDir, Is(m_strFolder), EBUSY);
        EXPECT_EQ(Start(), 0);
        EXPECT_STREQ(RecDirName(), RECORD_FOLDER);
        EXPECT_TRUE(fs::is_empty(m_strFolder));
        fs::remove(m_strFolder);
    }
}

TEST_F(Repair, ALinkedRecordFolderIsFollowedAndNothingInIt) {
    const std::string strTarget = m_dir / "larger disk";
    fs::create_directory(strTarget);
    fs::create_directory_symlink(strTarget, m_strFolder);
    PutFile(m_dir / "outside/cam_1_0/" + FILE_3);
    for (const char* pFile : {FILE_1, FILE_2}) Put("cam_1_0", pFile);
    fs::create_directory_symlink(m_dir / "outside", m_strFolder + "/20240306");
    PutFile(m_strMarker);
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 2u);
    EXPECT_FALSE(fs::exists(fs::symlink_status(strTarget + "/20240306")));
    EXPECT_TRUE(fs::exists(m_dir / "outside/cam_1_0/" + FILE_3));
    EXPECT_TRUE(fs::is_symlink(m_strFolder));
}
