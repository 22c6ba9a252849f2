#include <gtest/gtest.h>

#include "FileSystem/FileSystem.h"
#include "Osl/OslCalls.h"

namespace {

struct statvfs g_stAnswer;

std::uint64_t UsableSpace(const char* pPath) {
    std::uint64_t nMiB = 4711;
    GetDiskUsableSpace(pPath, nMiB);
    return nMiB;
}

}  // namespace

TEST(DiskSpaceTest, MiBAreRoundedDownAndCountFragments) {
    EXPECT_EQ(UsableSpace("/no/such/path"), 0u);
    OSL_Calls stCalls = OSL_SYSTEM_CALLS;
    stCalls.pfnStatVfs = [](const char*, struct statvfs* pStat) {
        *pStat = g_stAnswer;
        return 0;
    };
    g_pOslCalls.store(&stCalls);
    const struct {
        unsigned long nBlockSize, nFragmentSize;
        std::uint64_t nFree, nExpectedMiB;
    } cases[] = {{4096, 4096, 255, 0},    {4096, 4096, 2049 * 256 - 1, 2048},
                 {1 << 20, 4096, 512, 2}, {4096, 0, 512, 2},
                 {0, 0, 512, 0},          {4096, 4096, std::uint64_t{1} << 60, UINT64_MAX >> 20}};
    for (const auto& c : cases) {
        g_stAnswer.f_bsize = c.nBlockSize;
        g_stAnswer.f_frsize = c.nFragmentSize;
        g_stAnswer.f_bfree = c.nFree;
        EXPECT_EQ(UsableSpace("/"), c.nExpectedMiB) << c.nFree << " of " << c.nFragmentSize;
    }
    g_pOslCalls.store(&OSL_SYSTEM_CALLS);
}

TEST(DiskSpaceTest, ADirectoryNamedTwiceIsNoReasonToRejectTheList) {
    EXPECT_TRUE(VerifyDuplicateDisk({}));
    EXPECT_FALSE(VerifyDuplicateDisk({"/a/", "/a/"}));
}
