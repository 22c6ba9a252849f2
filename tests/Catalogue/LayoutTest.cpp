// Which layout a record directory holds.

#include <cerrno>

#include <gtest/gtest.h>

#include "Catalogue/Catalogue.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"

TEST(Layout, IsToldByWhatCanBeReadAndNoBadFolderIsAnError) {
    const CTempDir dir;
    const std::string strFolder = dir / "RecordFile/";
    const std::string strClient = strFolder + "20240305/cam/20240305_080000.mp4";
    PutFile(strClient);
    PutFile(strFolder + "20240306/cam/20240306_080000.mp4");
    CFaultInjection faults;
    for (const char* pBad : {"20240306", "20240306/cam"}) {
        faults.Reset();
        faults.Fail(Op::ReadDir, Is(strFolder + pBad), EIO);
        EXPECT_EQ(FindLayout(dir.Path(), LOCAL_STORAGE_CLIENT), strClient);
    }
    faults.Fail(Op::OpenDir, Is(strFolder), EIO);
    EXPECT_EQ(FindLayout(dir.Path(), LOCAL_STORAGE_CLIENT), std::nullopt);
    EXPECT_THROW(FindRecordings({dir.Path()}, {}), std::system_error);
}
