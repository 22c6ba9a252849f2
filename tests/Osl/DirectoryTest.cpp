#include <cerrno>
#include <map>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Osl/Osl.h"
#include "Support/FaultInjection.h"
#include "Support/TempDir.h"

namespace {

/// Lists a directory; `nEnd` receives how the walk ended.
std::map<std::string, unsigned> List(const std::string& strDir, int& nEnd) {
    std::map<std::string, unsigned> mEntry;
    const OSL_DirHandle hDir = OSL_OpenDir(strDir.c_str());
    OSL_FIND_DATA stData;
    while ((nEnd = OSL_FindFileInDir(hDir, stData)) == 0) mEntry[stData.szName] = stData.wFileType;
    OSL_CloseDir(hDir);
    return mEntry;
}

class DirectoryTest : public testing::Test {
protected:
    DirectoryTest() {
        PutFile(m_dir / "folder/inside");
        PutFile(m_dir / "file");
        EXPECT_EQ(::symlink("folder", (m_dir / "link").c_str()), 0);
    }

    CTempDir m_dir;
    CFaultInjection m_faults;
};

}  // namespace

TEST_F(DirectoryTest, TypesAreTheSameWhetherTheListingTellsThemOrNot) {
    for (const bool bShow : {true, false}) {
        m_faults.ShowEntryTypes(bShow);
        int nEnd = 0;
        const auto mEntry = List(m_dir.Path(), nEnd);
        EXPECT_EQ(nEnd, OSL_DIR_END);
        const std::map<std::string, unsigned> mExpected = {{".", OSL_TYPE_DIR},
                                                           {"..", OSL_TYPE_DIR},
                                                           {"file", OSL_TYPE_FILE},
                                                           {"folder", OSL_TYPE_DIR},
                                                           {"link", OSL_TYPE_LINK}};
        EXPECT_EQ(mEntry, mExpected) << bShow;
    }
}

TEST_F(DirectoryTest, AWalkThatBreaksOffIsNoEnd) {
    m_faults.Fail(Op::ReadDir, Is(m_dir.Path()), EIO).From(3);
    int nEnd = 0;
    EXPECT_EQ(List(m_dir.Path(), nEnd).size(), 2u);
    EXPECT_EQ(nEnd, OSL_DIR_ERROR);
    EXPECT_EQ(OSL_GetSystemLastError(), EIO);
}

TEST_F(DirectoryTest, AnEntryWhoseTypeCannotBeToldBreaksTheWalkOffUnlessItIsGone) {
    m_faults.ShowEntryTypes(false);
    int nEnd = 0;
    m_faults.Fail(Op::Stat, Ends("/file"), ENOENT);
    EXPECT_EQ(List(m_dir.Path(), nEnd).count("file"), 0u);
    EXPECT_EQ(nEnd, OSL_DIR_END);
    m_faults.ClearRules();
    m_faults.Fail(Op::Stat, Ends("/file"), EIO);
    List(m_dir.Path(), nEnd);
    EXPECT_EQ(nEnd, OSL_DIR_ERROR);
}

TEST_F(DirectoryTest, ALinkIsNoDirectory) {
    EXPECT_EQ(OSL_OpenDir((m_dir / "link").c_str()), nullptr);
}

TEST_F(DirectoryTest, MakeDirTellsMadeFromThere) {
    EXPECT_EQ(OSL_MakeDir((m_dir / "new").c_str()), 0);
    EXPECT_EQ(OSL_MakeDir((m_dir / "new").c_str()), 1);
    EXPECT_EQ(OSL_MakeDir((m_dir / "missing/new").c_str()), -1);
}

TEST_F(DirectoryTest, ADirectoryHasOneLock) {
    const OSL_FileHandle hLock = OSL_LockDir(m_dir.Path().c_str());
    ASSERT_NE(hLock, OSL_INVALID_FILE);
    EXPECT_EQ(OSL_LockDir(m_dir.Path().c_str()), OSL_INVALID_FILE);
    EXPECT_EQ(OSL_GetSystemLastError(), EWOULDBLOCK);
    OSL_UnlockDir(hLock);
    const OSL_FileHandle hAgain = OSL_LockDir(m_dir.Path().c_str());
    EXPECT_NE(hAgain, OSL_INVALID_FILE);
    OSL_UnlockDir(hAgain);
}

TEST_F(DirectoryTest, SyncReachesTheFileSystem) {
    EXPECT_EQ(OSL_SyncFileSystem(m_dir.Path().c_str()), 0);
    m_faults.Fail(Op::Sync, Is(m_dir.Path()), EIO);
    EXPECT_EQ(OSL_SyncFileSystem(m_dir.Path().c_str()), -1);
    EXPECT_EQ(OSL_GetSystemLastError(), EIO);
}

TEST_F(DirectoryTest, TheDeviceOfAPathCanBeFaked) {
    m_faults.SetDevice(m_dir / "folder", 4711);
    OSL_FINFO_S stInfo;
    ASSERT_EQ(OSL_GetTargetInfo((m_dir / "folder//inside").c_str(), stInfo), 0);
    EXPECT_EQ(stInfo.nDevice, 4711u);
    ASSERT_EQ(OSL_GetTargetInfo((m_dir / "file").c_str(), stInfo), 0);
    EXPECT_NE(stInfo.nDevice, 4711u);
}
