// Free space of the file system, as this user may fill it.

#include <gtest/gtest.h>

#include "FileSystem/FileSystem.h"
#include "Osl/OslCalls.h"

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
    } cases[] = {{4096, 4096, 2049 * 256 - 1, 2048, 0},
                 {4096, 4096, 2049 * 256 - 1, 2047, 1000},
                 {1 << 20, 4096, 512, 2, 0},
                 {4096, 0, 512, 2, 0},
                 {0, 0, 512, 0, 0},
                 {4096, 4096, std::uint64_t{1} << 60, UINT64_MAX >> 20, 0}};
    for (const auto& c : cases) {
        s_stAnswer.f_bsize = c.nBlockSize;
        s_stAnswer.f_frsize = c.nFragmentSize;
        s_stAnswer.f_bfree = c.nFree;
        s_stAnswer.f_bavail = c.nFree - 256;  // less what root keeps
        s_nUser = c.nUser;
        std::uint64_t nMiB = 4711;
        GetDiskUsableSpace("/", nMiB);
        EXPECT_EQ(nMiB, c.nExpectedMiB) << c.nFree << " of " << c.nFragmentSize;
    }
    g_pOslCalls.store(&OSL_SYSTEM_CALLS);
}
