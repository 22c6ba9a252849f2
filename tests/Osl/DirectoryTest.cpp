#include <cerrno>
#include <map>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Osl/Osl.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"

namespace {

using Entries = std::map<std::string, unsigned>;

/// Lists the directory; the walk must end so.
Entries List(const std::string& strDir, int nExpectedEnd) {
    Entries mEntry;
    const OSL_DirHandle hDir = OSL_OpenDir(strDir.c_str());
    OSL_FIND_DATA stData;
    int nEnd = 0;
    while ((nEnd = OSL_FindFileInDir(hDir, stData)) == 0) mEntry[stData.szName] = stData.wFileType;
    OSL_CloseDir(hDir);
    EXPECT_EQ(nEnd, nExpectedEnd);
    return mEntry;
}

}  // namespace

TEST(DirectoryTest, TypesAreTheSameWhetherTheListingTellsThemOrNot) {
    CTempDir dir;
    PutFile(dir / "folder/inside");
    PutFile(dir / "file");
    ASSERT_EQ(::symlink("folder", (dir / "link").c_str()), 0);
    CFaultInjection faults;
    for (const bool bShow : {true, false}) {
        faults.ShowEntryTypes(bShow);
        EXPECT_EQ(List(dir.Path(), OSL_DIR_END), (Entries{{".", OSL_TYPE_DIR},
                                                          {"..", OSL_TYPE_DIR},
                                                          {"file", OSL_TYPE_FILE},
                                                          {"folder", OSL_TYPE_DIR},
                                                          {"link", OSL_TYPE_LINK}}));
    }
    faults.Fail(Op::Stat, Ends("/file"), ENOENT);
    EXPECT_EQ(List(dir.Path(), OSL_DIR_END).count("file"), 0u) << "it has gone meanwhile";
    faults.ClearRules();
    faults.Fail(Op::Stat, Ends("/file"), EIO);
    List(dir.Path(), OSL_DIR_ERROR);
}
