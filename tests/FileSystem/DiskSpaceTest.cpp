#include <gtest/gtest.h>

#include "FileSystem/FileSystem.h"
#include "Osl/OslCalls.h"

namespace {

struct statvfs g_stAnswer;

std::uint64_t UsableSpace(const std::string& strPath) {
    std::uint64_t nMiB = 4711;
    GetDiskUsableSpace(strPath.c_str(), nMiB);
    return nMiB;
}

}  // namespace

TEST(DiskSpaceTest, MiBAreRoundedDownAndCountFragments) {
    struct Case {
        unsigned long nBlockSize, nFragmentSize;
        std::uint64_t nFree, nExpectedMiB;
    };
    OSL_Calls stCalls = OSL_SYSTEM_CALLS;
    stCalls.pfnStatVfs = [](const char*, struct statvfs* pStat) {
        *pStat = g_stAnswer;
        return 0;
    };
    g_pOslCalls.store(&stCalls);
    const std::uint64_t HUGE_COUNT = std::uint64_t{1} << 60;
    for (const Case& c : {Case{4096, 4096, 255, 0}, Case{4096, 4096, 256, 1},
                          Case{4096, 4096, 2049 * 256 - 1, 2048}, Case{1 << 20, 4096, 512, 2},
                          Case{4096, 0, 512, 2}, Case{1 << 22, 1 << 22, 3, 12},
                          Case{4096, 4096, HUGE_COUNT, UINT64_MAX >> 20}, Case{0, 0, 512, 0}}) {
        g_stAnswer.f_bsize = c.nBlockSize;
        g_stAnswer.f_frsize = c.nFragmentSize;
        g_stAnswer.f_bfree = c.nFree;
        g_stAnswer.f_bavail = 0;
        EXPECT_EQ(UsableSpace("/"), c.nExpectedMiB) << c.nFree << " of " << c.nFragmentSize;
    }
    g_pOslCalls.store(&OSL_SYSTEM_CALLS);
}

TEST(DiskSpaceTest, WhatTheSystemCannotTellIsNoSpace) {
    EXPECT_EQ(UsableSpace("/no/such/path"), 0u);
}

TEST(DiskSpaceTest, ADirectoryNamedTwiceIsNoReasonToRejectTheList) {
    EXPECT_TRUE(VerifyDuplicateDisk({}));
    EXPECT_FALSE(VerifyDuplicateDisk({"/a/", "/a/"}));
}
