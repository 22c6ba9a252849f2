#include <fstream>

#include <gtest/gtest.h>

#include "IndexMgr/Index.h"
#include "IndexMgr/LogCapture.h"
#include "IndexMgr/RecDirName.h"
#include "IndexMgr/Records.h"
#include "IndexMgr/RepairPlan.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"
#include "localstorage/LocalStorage.h"

namespace fs = std::filesystem;

namespace {

const char* const FILE_1 = "20240305080000_20240305090000_1.mp4";
const char* const TWIN_1 = "20240305080000_20240305090000_2.mp4";
const char* const FILE_2 = "20240306080000_20240306090000_1.mp4";

class Repair : public testing::Test {
protected:
    ~Repair() override { g_pRecDirName = RECORD_FOLDER; }

    int Start() {
        CIndex index;
        const int nResult = index.Initialize(m_dir.Path());
        m_nFiles = index.CountFiles();
        index.Release();
        return nResult;
    }
    repairPlan Plan() {
        repairPlan plan;
        std::string strUnreadable;
        EXPECT_TRUE(MakeRepairPlan(m_strFolder, plan, strUnreadable)) << strUnreadable;
        return plan;
    }

    CTempDir m_dir;
    const std::string m_strFolder = m_dir / "RecordFile";
    std::size_t m_nFiles = 0;
};

}  // namespace

TEST(JudgeEntry, DecidesByLevelNameAndKind) {
    using L = TreeLevel;
    using V = EntryVerdict;
    const struct {
        L eLevel;
        const char* pName;
        bool bDirectory;
        V eVerdict;
    } cases[] = {
        {L::RecordFolder, "20240305", true, V::Keep},
        {L::RecordFolder, "20231399", true, V::Keep},
        {L::RecordFolder, "2023131", true, V::NotADay},
        {L::RecordFolder, "index01.bin", true, V::NotADay},
        {L::RecordFolder, "20240305", false, V::OutsideChannel},
        {L::RecordFolder, "index01.bin", false, V::IndexFile},
        {L::RecordFolder, "index.dirty", false, V::IndexFile},
        {L::RecordFolder, "index01.bin.new", false, V::LeftOver},
        {L::RecordFolder, "index02.bin", false, V::OutsideChannel},
        {L::Day, "cam_1_2", true, V::Keep},
        {L::Day, "front_door", true, V::KeepIfRecorded},
        {L::Day, "cam_01_2", true, V::NotAChannel},
        {L::Day, "cam_1_2", false, V::OutsideChannel},
        {L::Day, "index02.bin", false, V::IndexFile},
        {L::Day, "index02.bin.new", false, V::LeftOver},
        {L::Channel, FILE_1, false, V::Keep},
        {L::Channel, FILE_1, true, V::FolderInChannel},
        {L::Channel, "index03.bin", false, V::IndexFile},
        {L::Channel, "index03.bin.new", false, V::LeftOver},
        {L::Channel, "20240305_080000.mp4", false, V::NotARecording},
        {L::Channel, "20240305080000_20240305090000_10.mp4", false, V::NotARecording},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(JudgeEntry(c.eLevel, c.pName, c.bDirectory), c.eVerdict)
            << c.pName << ": " << VerdictText(c.eVerdict);
    }
}

TEST_F(Repair, KeepsRecordingsAndRemovesEverythingForeign) {
    PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_1));
    PutFile(RecPath(m_dir.Path(), "front_door", FILE_1));
    PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_2));
    for (const char* pForeign : {"stray.txt", "2024/x/y", "20240305/stray", "20240305/cam_01_2/x",
                                 "20240305/bare/notes.txt", "20240305/cam_1_0/sub/x",
                                 "20240305/cam_1_0/x.mp4", "20240305/cam_1_0/index03.bin.new",
                                 "20240307/cam_2_0/index03.bin", "20240307/index02.bin"}) {
        PutFile(m_strFolder + "/" + pForeign);
    }
    fs::create_symlink("/", m_strFolder + "/20240305/link_1_0");
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 3u);
    const std::string strDay = "20240305/", strCam = "20240305/cam_1_0/";
    EXPECT_EQ(Tree(m_strFolder),
              (std::vector<std::string>{
                  "20240305", strDay + "cam_1_0", strCam + FILE_1, strCam + "index03.bin",
                  strDay + "front_door", strDay + "front_door/" + FILE_1,
                  strDay + "front_door/index03.bin", strDay + "index02.bin", "20240306",
                  "20240306/cam_1_0", std::string("20240306/cam_1_0/") + FILE_2,
                  "20240306/cam_1_0/index03.bin", "20240306/index02.bin", "20240307",
                  "20240307/cam_2_0", "index01.bin"}));
    TakeLog();
    ASSERT_EQ(Start(), 0);
    EXPECT_TRUE(TakeLog().empty()) << "what it wrote passes the check";
}

TEST_F(Repair, APlanChangesNothingAndSaysWhatAndWhy) {
    PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_1));
    PutFile(m_strFolder + "/20240305/cam_01_2/a", std::string(700, 'x'));
    PutFile(m_strFolder + "/20240305/cam_01_2/b/c", std::string(300, 'x'));
    const auto vBefore = Tree(m_dir.Path());
    const repairPlan plan = Plan();
    EXPECT_EQ(Tree(m_dir.Path()), vBefore);
    ASSERT_EQ(plan.vFindings.size(), 1u);
    EXPECT_EQ(plan.vFindings[0].eVerdict, EntryVerdict::NotAChannel);
    EXPECT_EQ(plan.vFindings[0].strPath, m_strFolder + "/20240305/cam_01_2");
    const findingSize size = MeasureFinding(plan.vFindings[0]);
    EXPECT_EQ(size.nBytes, 1000u);
    EXPECT_EQ(size.nFiles, 2u);
    EXPECT_EQ(size.nLargest, 700u);
}

TEST_F(Repair, TwoRecordingsWithTheSameTimesAreOneEntryAndBothStay) {
    PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_1));
    PutFile(RecPath(m_dir.Path(), "cam_1_0", TWIN_1));
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 1u);
    EXPECT_TRUE(fs::exists(RecPath(m_dir.Path(), "cam_1_0", FILE_1)));
    EXPECT_TRUE(fs::exists(RecPath(m_dir.Path(), "cam_1_0", TWIN_1)));
    EXPECT_EQ(Plan().setTwins.size(), 1u);
}

TEST_F(Repair, WithoutRecordingsItBeginsAnewAndSaysSo) {
    fs::create_directories(m_strFolder + "/20240305/cam_1_0");
    PutFile(m_strFolder + "/20240306/stray");
    TakeLog();
    EXPECT_EQ(Start(), 0);
    const auto vLog = TakeLog();
    ASSERT_EQ(vLog.size(), 4u);
    EXPECT_EQ(vLog[2],
              "[wtb][CIndex::RepairIndex] mChannel.size() [2], mRecFile.size() [1], "
              "m_strPrevRecPath [" +
                  m_dir.Path() + "]");
    EXPECT_FALSE(fs::exists(m_strFolder));
    EXPECT_STREQ(RecDirName(), RECORD_FOLDER) << "it must not hide other disks' recordings";

    fs::create_directories(m_strFolder);
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(TakeLog()[2], "[wtb][CIndex::RepairIndex] 0 == lsDate.size(), m_strPrevRecPath [" +
                                m_dir.Path() + "]");
}

TEST_F(Repair, WhatCannotBeRemovedSwitchesTheFolder) {
    PutFile(m_strFolder + "/stray");
    CFaultInjection faults;
    faults.Fail(Op::Unlink, Ends("stray"), EACCES);
    EXPECT_EQ(Start(), 0);
    EXPECT_STREQ(RecDirName(), BACKUP_FOLDER);
    EXPECT_TRUE(fs::exists(m_strFolder + "/stray"));
}

TEST_F(Repair, AnIndexThatCannotBeWrittenIsUsedAllTheSame) {
    PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_1));
    {
        CFaultInjection faults;
        faults.Fail(Op::Open, Ends(".new"), ENOSPC);
        EXPECT_EQ(Start(), 0);
        EXPECT_EQ(m_nFiles, 1u);
        EXPECT_FALSE(fs::exists(m_strFolder + "/index01.bin")) << "so the next start repairs again";
    }
    EXPECT_EQ(Start(), 0);
    EXPECT_TRUE(fs::exists(m_strFolder + "/index01.bin"));
}

TEST_F(Repair, WalksWhereTheFileSystemTellsNoTypes) {
    PutFile(RecPath(m_dir.Path(), "cam_1_0", FILE_1));
    fs::create_symlink("/", m_strFolder + "/20240306");
    CFaultInjection faults;
    faults.ShowEntryTypes(false);
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 1u);
    EXPECT_FALSE(fs::is_symlink(m_strFolder + "/20240306"));
    EXPECT_TRUE(fs::exists("/tmp"));
}

TEST_F(Repair, TheDifferenceOfIndexAndTree) {
    for (const char* pFile : {FILE_1, FILE_2, TWIN_1}) {
        PutFile(RecPath(m_dir.Path(), "cam_1_0", pFile));
    }
    ASSERT_EQ(Start(), 0);
    CIndexTree index;
    indexFileFault fault;
    ASSERT_TRUE(LoadIndex(m_strFolder, IndexLength::Exact, index, fault));
    indexDifference none = CompareWithTree(index, Plan());
    EXPECT_TRUE(none.vGone.empty() && none.vUnlisted.empty());

    fs::remove(RecPath(m_dir.Path(), "cam_1_0", FILE_2));
    PutFile(RecPath(m_dir.Path(), "other", FILE_2));
    const indexDifference difference = CompareWithTree(index, Plan());
    EXPECT_EQ(difference.vGone,
              std::vector<std::string>{std::string("20240306/cam_1_0/") + FILE_2});
    EXPECT_EQ(difference.vUnlisted,
              std::vector<std::string>{std::string("20240306/other/") + FILE_2});
}
