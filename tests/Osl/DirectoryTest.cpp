#include <cerrno>
#include <map>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Osl/Osl.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"

namespace {

using Entries = std::map<std::string, unsigned>;

class DirectoryTest : public testing::Test {
protected:
    DirectoryTest() {
        PutFile(m_dir / "folder/inside");
        PutFile(m_dir / "file");
        EXPECT_EQ(::symlink("folder", (m_dir / "link").c_str()), 0);
    }

    /// Lists the directory; the walk must end so.
    Entries List(int nExpectedEnd) {
        Entries mEntry;
        const OSL_DirHandle hDir = OSL_OpenDir(m_dir.Path().c_str());
        OSL_FIND_DATA stData;
        int nEnd = 0;
        while ((nEnd = OSL_FindFileInDir(hDir, stData)) == 0) {
            mEntry[stData.szName] = stData.wFileType;
        }
        OSL_CloseDir(hDir);
        EXPECT_EQ(nEnd, nExpectedEnd);
        return mEntry;
    }

    CTempDir m_dir;
    CFaultInjection m_faults;
    const Entries m_mAll = {{".", OSL_TYPE_DIR},
                            {"..", OSL_TYPE_DIR},
                            {"file", OSL_TYPE_FILE},
                            {"folder", OSL_TYPE_DIR},
                            {"link", OSL_TYPE_LINK}};
};

}  // namespace

TEST_F(DirectoryTest, TypesAreTheSameWhetherTheListingTellsThemOrNot) {
    EXPECT_EQ(List(OSL_DIR_END), m_mAll);
    m_faults.ShowEntryTypes(false);
    EXPECT_EQ(List(OSL_DIR_END), m_mAll);

    m_faults.Fail(Op::Stat, Ends("/file"), ENOENT);
    EXPECT_EQ(List(OSL_DIR_END).count("file"), 0u) << "it has gone meanwhile";
    m_faults.ClearRules();
    m_faults.Fail(Op::Stat, Ends("/file"), EIO);
    List(OSL_DIR_ERROR);
}

TEST_F(DirectoryTest, MakeDirTellsMadeFromThere) {
    EXPECT_EQ(OSL_MakeDir((m_dir / "new").c_str()), 0);
    EXPECT_EQ(OSL_MakeDir((m_dir / "new").c_str()), 1);
    EXPECT_EQ(OSL_MakeDir((m_dir / "missing/new").c_str()), -1);
}

TEST_F(DirectoryTest, ADirectoryHasOneLock) {
    for (int i = 0; i < 2; ++i) {
        const OSL_FileHandle hLock = OSL_LockDir(m_dir.Path().c_str());
        EXPECT_NE(hLock, OSL_INVALID_FILE);
        EXPECT_EQ(OSL_LockDir(m_dir.Path().c_str()), OSL_INVALID_FILE);
        EXPECT_EQ(OSL_GetSystemLastError(), EWOULDBLOCK);
        OSL_UnlockDir(hLock);
    }
}

TEST_F(DirectoryTest, SyncTellsFailure) {
    EXPECT_EQ(OSL_SyncFileSystem(m_dir.Path().c_str()), 0);
    m_faults.Fail(Op::Sync, Is(m_dir.Path()), EIO);
    EXPECT_EQ(OSL_SyncFileSystem(m_dir.Path().c_str()), -1);
    EXPECT_EQ(OSL_GetSystemLastError(), EIO);
}
