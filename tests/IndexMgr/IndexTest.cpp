// The live index of one directory: changes, flushes, days that go, and its marker.

#include <functional>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "IndexMgr/Records.h"
#include "Support/FaultInjection.h"

namespace fs = std::filesystem;

class Index : public CRecordDirTest {};

TEST_F(Index, AFlushDuringAChangeLeavesTheMarker) {
    ASSERT_EQ(Open(), 0);
    CFaultInjection faults;
    faults.Before(Op::Sync, Any(), [this] { Record("cam_1_0", FILE_2); });
    Record("cam_1_0", FILE_1);
    m_index.WriteIndexToFile();
    EXPECT_TRUE(fs::exists(m_strMarker));
    faults.ClearRules();
    m_index.BeginChange();
    Put("cam_1_0", FILE_3);
    m_index.WriteIndexToFile();
    m_index.Abandon();                                  // killed before the entry came
    faults.Fail(Op::Access, Ends("/RecordFile"), EIO);  // a folder that is there all the same
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 3u);
}

TEST_F(Index, AFirstDayWhoseFolderIsGoneLeavesTheIndexAndTheQueryFailsThatOnce) {
    ASSERT_EQ(Open(), 0);
    for (const char* pFile : {FILE_1, FILE_3}) Record("cam_1_0", pFile);
    fs::remove_all(m_strFolder + "/20240305");
    dayOffer offer;
    EXPECT_FALSE(m_index.GetOldestDate({}, offer));
    EXPECT_EQ(m_index.CountFiles(), 1u);
    EXPECT_TRUE(m_index.GetOldestDate({}, offer));
    EXPECT_EQ(offer.stDay.Path(), m_strFolder + "/20240306");

    CFaultInjection faults;  // a folder that cannot be asked is not gone
    faults.Fail(Op::Stat, Ends("20240306"), EIO);
    EXPECT_FALSE(m_index.GetOldestDate({}, offer));
    EXPECT_EQ(m_index.CountFiles(), 1u);
}

// When an index is not to be trusted: the marker, and what a start makes of it.
class Marker : public CRecordDirTest {
protected:
    /// Recordings of which the index files know nothing, and no marker that would say so.
    void PutUnknown() {
        ASSERT_EQ(Open(), 0);
        Record("cam_1_0", FILE_1);
        m_index.Release();
        Put("cam_1_0", FILE_2);
    }
};

TEST_F(Marker, IsMadeAgainByEveryFlush) {
    ASSERT_EQ(Open(), 0);
    Record("cam_1_0", FILE_1);
    fs::remove(m_strMarker);
    m_index.BeginChange();
    m_index.WriteIndexToFile();
    EXPECT_TRUE(fs::exists(m_strMarker));
    m_index.EndChange();
}

TEST_F(Marker, ThatCannotBeAskedForCountsAsStanding) {
    PutUnknown();
    PutFile(m_strMarker);
    CFaultInjection faults;
    faults.Fail(Op::Stat, Is(m_strMarker), EIO);
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 2u);
}

TEST_F(Marker, StandsWhateverHasItsNameAndIsNeverOpenedThroughALink) {
    PutUnknown();
    const std::string strOutside = m_dir / "outside";
    PutFile(strOutside, "precious");
    const std::function<void()> kinds[] = {
        [&] { fs::create_symlink(strOutside, m_strMarker); },
        [&] { fs::create_symlink("nowhere", m_strMarker); },
        [&] { ::mkfifo(m_strMarker.c_str(), 0666); },
        [&] { PutFile(m_strMarker + "/x"); },
    };
    std::size_t nFiles = 2;
    for (const auto& make : kinds) {
        SCOPED_TRACE(&make - kinds);
        make();
        EXPECT_EQ(Start(), 0);
        EXPECT_EQ(m_nFiles, nFiles) << "the start repaired";
        EXPECT_FALSE(fs::exists(fs::symlink_status(m_strMarker)));
        CIndex index;
        ASSERT_EQ(index.Initialize(m_dir.Path()), 0);
        make();
        index.BeginChange();
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(m_strMarker)));
        index.EndChange();
        index.Release();
        Put("cam_1_0", "2024030600000" + std::to_string(++nFiles) + "_20240306090000_1.mp4");
    }
    EXPECT_EQ(GetFile(strOutside), "precious");
}

TEST_F(Marker, OutlivesARunWhoseRepairFailed) {
    PutUnknown();
    PutFile(m_strMarker);
    fs::rename(m_strFolder, m_dir / BACKUP_FOLDER);
    {
        CFaultInjection faults;
        faults.SkipSleeps();
        faults.Fail(Op::ReadDir, Any(), EIO);
        EXPECT_EQ(Start(), 0);
        EXPECT_EQ(m_nFiles, 1u) << "better than nothing";
    }
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 2u);
}

TEST_F(Marker, IsNotNeededWhereAReadOnlyDiskHasNoIndex) {
    PutUnknown();
    fs::remove(m_strFolder + "/index01.bin");
    CFaultInjection faults;
    for (const Op eOp : {Op::Unlink, Op::Open}) {
        faults.Fail(
            eOp, [](const auto& strPath) { return strPath.find("index") != strPath.npos; }, EROFS);
    }
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 2u);
    EXPECT_STREQ(RecDirName(), RECORD_FOLDER);
}
