#include <map>

#include <gtest/gtest.h>

#include "IndexMgr/Records.h"
#include "IndexMgr/RepairPlan.h"
#include "Support/FaultInjection.h"

namespace fs = std::filesystem;

class Repair : public CRecordDirTest {
protected:
    repairPlan Plan() {
        repairPlan plan;
        std::string strUnreadable;
        EXPECT_TRUE(MakeRepairPlan(m_strFolder, plan, strUnreadable)) << strUnreadable;
        return plan;
    }
};

TEST_F(Repair, KeepsRecordingsAndRemovesEverythingForeign) {
    using V = EntryVerdict;
    const struct {
        std::string strFinding, strBelow;
        EntryVerdict eVerdict;
    } cases[] = {
        {"stray.txt", "", V::OutsideChannel},
        {"20240308", "", V::OutsideChannel},
        {"index02.bin", "", V::OutsideChannel},
        {"index01.bin.new", "", V::LeftOver},
        {"2024030", "/x/y", V::NotADay},
        {"20240305/cam_1_3", "", V::OutsideChannel},
        {"20240305/index02.bin.new", "", V::LeftOver},
        {"20240305/cam_01_2", "/x", V::NotAChannel},
        {"20240305/bare", "/notes.txt", V::NotRecorded},
        {std::string("20240305/cam_1_0/") + FILE_2, "/x", V::FolderInChannel},
        {"20240305/cam_1_0/20240305_080000.mp4", "", V::NotARecording},
        {"20240305/cam_1_0/index03.bin.new", "", V::LeftOver},
        {"20240307/cam_2_0/index03.bin", "", V::LeftOver},  // of a channel without recordings
        {"20240307/index02.bin", "", V::LeftOver},
    };
    std::map<std::string, EntryVerdict> mExpected, mFound;
    for (const auto& c : cases) {
        PutFile(m_strFolder + "/" + c.strFinding + c.strBelow);
        mExpected[m_strFolder + "/" + c.strFinding] = c.eVerdict;
    }
    fs::create_symlink("/", m_strFolder + "/20240305/link_1_0");
    mExpected[m_strFolder + "/20240305/link_1_0"] = V::OutsideChannel;
    const std::vector<std::string> vKept = {Path("cam_1_0", FILE_1), Path("front_door", FILE_1),
                                            Path("cam_1_0", FILE_3)};
    for (const std::string& strPath : vKept) PutFile(strPath);

    const auto vBefore = Tree(m_dir.Path());
    CFaultInjection faults;
    for (const bool bTypes : {true, false}) {  // not every file system tells the types of entries
        faults.ShowEntryTypes(bTypes);
        mFound.clear();
        for (const auto& finding : Plan().vFindings) mFound[finding.strPath] = finding.eVerdict;
        EXPECT_EQ(mFound, mExpected);
    }
    EXPECT_EQ(Tree(m_dir.Path()), vBefore) << "a plan changes nothing";

    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 3u);
    for (const auto& [strPath, eVerdict] : mExpected) EXPECT_FALSE(fs::exists(strPath)) << strPath;
    for (const std::string& strPath : vKept) EXPECT_TRUE(fs::exists(strPath)) << strPath;
    EXPECT_TRUE(Plan().vFindings.empty());
    TakeLog();
    ASSERT_EQ(Start(), 0);
    EXPECT_TRUE(TakeLog().empty()) << "what it wrote passes the check";
    PutFile(m_strMarker);
    EXPECT_TRUE(Plan().vFindings.empty()) << "index files and marker are its own";
}

TEST_F(Repair, MeasuresWhatItWouldRemove) {
    for (const auto& [pName, nSize] : {std::pair("a", 300), {"b/c", 700}, {"d", 300}}) {
        PutFile(m_strFolder + "/x/" + pName, std::string(nSize, 'x'));
    }
    const findingSize size = MeasureFinding(Plan().vFindings.at(0));
    EXPECT_EQ(size.nBytes, 1300u);
    EXPECT_EQ(size.nFiles, 3u);
    EXPECT_EQ(size.nLargest, 700u);
}

TEST_F(Repair, WithoutRecordingsItBeginsAnewAndSaysSo) {
    const std::string strPath = ", m_strPrevRecPath [" + m_dir.Path() + "]";
    const auto expectAnew = [&](const std::string& strLog) {
        TakeLog();
        EXPECT_EQ(Start(), 0);
        EXPECT_EQ(TakeLog().at(2), "[wtb][CIndex::RepairIndex] " + strLog + strPath);
        EXPECT_FALSE(fs::exists(m_strFolder));
        EXPECT_STREQ(RecDirName(), RECORD_FOLDER) << "it must not hide other disks' recordings";
    };
    fs::create_directories(m_strFolder + "/20240305/cam_1_0");
    PutFile(m_strFolder + "/20240306/stray");
    expectAnew("mChannel.size() [2], mRecFile.size() [1]");
    fs::create_directories(m_strFolder);
    expectAnew("0 == lsDate.size()");

    PutFile(m_strFolder + "/stray");
    CFaultInjection faults;
    faults.Fail(Op::Unlink, Ends("stray"), EACCES);
    EXPECT_EQ(Start(), 0);
    EXPECT_STREQ(RecDirName(), BACKUP_FOLDER) << "what cannot be removed switches the folder";
    EXPECT_TRUE(fs::exists(m_strFolder + "/stray"));
}

// A start that trusted the old index beside a changed tree would lose recordings.
TEST_F(Repair, AnIndexThatCannotBeRemovedStaysBesideTheTreeItHadUnlessTheMarkerStands) {
    Put("cam_1_0", FILE_1);
    ASSERT_EQ(Start(), 0);
    fs::remove(m_strFolder + "/20240305/index02.bin");
    PutFile(m_strFolder + "/20240305/stray");
    const auto vBefore = Tree(m_dir.Path());
    CFaultInjection faults;
    faults.Fail(Op::Unlink, Ends("index01.bin"), EROFS);
    EXPECT_EQ(Start(), 0);
    EXPECT_NE(TakeLog().back().find("/index01.bin], error ["), std::string::npos);
    EXPECT_EQ(Tree(m_dir.Path()), vBefore);

    g_pRecDirName = RECORD_FOLDER;
    PutFile(m_strMarker);
    EXPECT_EQ(Start(), 0);
    EXPECT_STREQ(RecDirName(), RECORD_FOLDER);
    EXPECT_EQ(m_nFiles, 1u);
    EXPECT_FALSE(fs::exists(m_strMarker));
}

TEST_F(Repair, AnIndexThatCannotBeWrittenIsUsedAllTheSame) {
    Put("cam_1_0", FILE_1);
    CFaultInjection faults;
    faults.Fail(Op::Open, Ends(".new"), ENOSPC);
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 1u);
    EXPECT_FALSE(fs::exists(m_strFolder + "/index01.bin")) << "so the next start repairs again";
}

TEST_F(Repair, TheDifferenceOfIndexAndTree) {
    // Two recordings with the same times are one entry, and both stay.
    for (const char* pFile : {FILE_1, FILE_2, FILE_3, TWIN_1}) Put("cam_1_0", pFile);
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 3u);
    EXPECT_EQ(Plan().setTwins.size(), 1u);
    CIndexTree index;
    indexFileFault fault;
    ASSERT_TRUE(LoadIndex(m_strFolder, IndexLength::Exact, index, fault));
    const indexDifference none = CompareWithTree(index, Plan());
    EXPECT_TRUE(none.vGone.empty() && none.vUnlisted.empty());

    fs::remove(Path("cam_1_0", FILE_3));
    Put("other", FILE_3);
    const indexDifference difference = CompareWithTree(index, Plan());
    const auto name = [](const char* pChannel) {
        return std::vector{std::string("20240306/") + pChannel + "/" + FILE_3};
    };
    EXPECT_EQ(difference.vGone, name("cam_1_0"));
    EXPECT_EQ(difference.vUnlisted, name("other"));
}
