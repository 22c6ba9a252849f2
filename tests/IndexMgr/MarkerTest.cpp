// When an index is not to be trusted: the marker, and what a start makes of it.

#include <cerrno>

#include <gtest/gtest.h>

#include "IndexMgr/RecDirName.h"
#include "IndexMgr/Records.h"
#include "Support/FaultInjection.h"

namespace fs = std::filesystem;

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
    faults.Fail(Op::Access, Is(m_strMarker), EIO);
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(m_nFiles, 2u);
}

TEST_F(Marker, OutlivesARunWhoseRepairFailed) {
    PutUnknown();
    PutFile(m_strMarker);
    fs::rename(m_strFolder, m_dir / BACKUP_FOLDER);
    {
        CFaultInjection faults;
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
