// Folders that hold index files only.

#include <filesystem>

#include <gtest/gtest.h>

#include "RecordTree/Tidying.h"
#include "Support/TempDir.h"

namespace fs = std::filesystem;

TEST(Tidying, AFolderGoesWithItsIndexFilesAndStaysWithAnythingElse) {
    const CTempDir dir;
    const std::string strChannel = dir / "channel/", strDay = dir / "day";
    for (const char* pOther : {"20240305080000_20240305090000_1.mp4", "notes", "folder/x",
                               "index02.bin", "index03.bin.old", ""}) {
        PutFile(strChannel + "index03.bin");
        PutFile(strChannel + "index03.bin.new");
        PutFile(strChannel + pOther);
        EXPECT_EQ(RemoveIfIndexOnly(dir / "channel", TreeLevel::Channel), *pOther == '\0');
        EXPECT_EQ(fs::exists(strChannel + "index03.bin"), *pOther != '\0') << pOther;
        fs::remove_all(strChannel);
    }
    PutFile(strDay + "/index02.bin");
    EXPECT_TRUE(RemoveIfIndexOnly(strDay, TreeLevel::Day));
    EXPECT_FALSE(RemoveIfIndexOnly(strDay, TreeLevel::Day)) << "there is none";
}
