// Trees made, walked and deleted, past links, failures and folders that cannot be read; free space.

#include <new>

#include "FileSystem/FileSystem.h"
#include "FileSystem/FolderFiles.h"
#include "Osl/OslCalls.h"
#include "Support/AllocationFault.h"
#include "Support/FaultInjection.h"
#include "Support/Test.h"

class DirectoryTreeTest : public testing::Test {
protected:
    DirectoryTreeTest() {
        for (const char* pName :
             {"tree/a/b/file", "tree/a/file", "tree/file", "outside/precious"}) {
            PutFile(m_dir / pName);
        }
    }

    const CTempDir m_dir;
    const std::string m_strTree = m_dir / "tree";
    std::list<std::string> m_lsDir, m_lsFile;
};

TEST_F(DirectoryTreeTest, DeleteLeavesNothingButWhatLinksPointTo) {
    fs::create_directory_symlink(m_dir / "outside", m_strTree + "/a/link");
    EXPECT_TRUE(DeleteDirectory(m_strTree + "/"));
    EXPECT_FALSE(fs::exists(m_strTree));

    fs::create_directory_symlink(m_dir / "outside", m_strTree);
    EXPECT_FALSE(DeleteDirectory(m_strTree + "/"));
    EXPECT_TRUE(fs::exists(m_dir / "outside/precious"));
}

TEST_F(DirectoryTreeTest, DeleteGoesOnBehindFailuresAndTells) {
    CFaultInjection faults;
    faults.Fail(Op::ReadDir, Is(m_strTree + "/a"), EIO).From(5).Times(1);
    EXPECT_FALSE(DeleteDirectory(m_strTree)) << "the walk broke off";
    EXPECT_FALSE(fs::exists(m_strTree + "/a/file"));
    PutFile(m_strTree + "/a/b/file");
    faults.Fail(Op::Unlink, Is(m_strTree + "/a/b/file"), EPERM);
    EXPECT_FALSE(DeleteDirectory(m_strTree));
    EXPECT_FALSE(fs::exists(m_strTree + "/file"));
}

TEST_F(DirectoryTreeTest, AWalkBeginsAtALinkOnlyWhereItIsToldToAndFollowsNoneInside) {
    const std::string strLink = m_dir / "link";
    fs::create_directory_symlink(m_strTree, strLink);
    fs::create_directory_symlink(m_dir / "outside", m_strTree + "/inside");
    EXPECT_FALSE(GetSubTargetList(strLink + "/", m_lsDir, m_lsFile));
    EXPECT_TRUE(GetSubTargetList(strLink + "/", m_lsDir, m_lsFile, OSL_LastLink::IsFollowed));
    EXPECT_THAT(m_lsDir, ElementsAre("a"));
    EXPECT_THAT(m_lsFile, UnorderedElementsAre("file", "inside"));
}

TEST_F(DirectoryTreeTest, NoFailingAllocationLeavesAFolderOpenOrClosesItTwice) {
    const auto OpenFiles = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    const std::string strOutside = m_dir / "outside/precious";
    const auto nBefore = OpenFiles();
    bool bFailed = true;
    for (int nTry = 1; bFailed; ++nTry) {
        try {
            CAllocationFault fault(nTry, bFailed);
            std::list<std::string> lsDir, lsFile;
            GetSubTargetList(m_strTree, lsDir, lsFile);
            CFolderFiles deleter;
            for (const std::string& strPath : {m_strTree + "/file", strOutside}) {
                deleter.Delete(strPath);
            }
        } catch (const std::bad_alloc&) {
        }
        ASSERT_EQ(OpenFiles(), nBefore) << "allocation " << nTry;
    }
    EXPECT_FALSE(fs::exists(strOutside));
}

TEST(DiskSpaceTest, MiBAreRoundedDownAndCountFragmentsThatThisUserMayFill) {
    static struct statvfs s_stAnswer;
    static uid_t s_nUser;
    OSL_Calls stCalls = OSL_SYSTEM_CALLS;
    stCalls.pfnStatVfs = [](const char*, struct statvfs* pStat) {
        *pStat = s_stAnswer;
        return 0;
    };
    stCalls.pfnUser = [] { return s_nUser; };
    g_pOslCalls.store(&stCalls);
    const struct {
        unsigned long nBlockSize, nFragmentSize;
        std::uint64_t nFree, nExpectedMiB;
        uid_t nUser;
    } ROWS[] = {{4096, 4096, 2049 * 256 - 1, 2048, 0},
                {4096, 4096, 2049 * 256 - 1, 2047, 1000},
                {1 << 20, 4096, 512, 2, 0},
                {4096, 0, 512, 2, 0},
                {0, 0, 512, 0, 0},
                {4096, 4096, std::uint64_t{1} << 60, UINT64_MAX >> 20, 0}};
    for (const auto& row : ROWS) {
        s_stAnswer.f_bsize = row.nBlockSize;
        s_stAnswer.f_frsize = row.nFragmentSize;
        s_stAnswer.f_bfree = row.nFree;
        s_stAnswer.f_bavail = row.nFree - 256;  // less what root keeps
        s_nUser = row.nUser;
        std::uint64_t nMiB = 4711;
        GetDiskUsableSpace("/", nMiB);
        EXPECT_EQ(nMiB, row.nExpectedMiB) << row.nFree << " of " << row.nFragmentSize;
    }
    g_pOslCalls.store(&OSL_SYSTEM_CALLS);
}
