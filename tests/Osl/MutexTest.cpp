#include <gtest/gtest.h>

#include "Osl/OslMutex.h"

namespace {

OSL_Mutex g_mtxFirst(OSL_LockRank::DiskCheck, "first");
OSL_Mutex g_mtxSecond(OSL_LockRank::Index, "second");
OSL_Mutex g_mtxPeer(OSL_LockRank::Index, "peer");

void LockBoth(OSL_Mutex& outer, OSL_Mutex& inner) {
    const OSL_Guard guardOuter(outer);
    const OSL_Guard guardInner(inner);
}

}  // namespace

TEST(MutexTest, AscendingOrderReentryAndReleaseInAnyOrderAreAllowed) {
    g_mtxFirst.Lock();
    g_mtxSecond.Lock();
    LockBoth(g_mtxFirst, g_mtxSecond);
    g_mtxFirst.Unlock();
    g_mtxSecond.Unlock();
    LockBoth(g_mtxFirst, g_mtxSecond);
}

#ifndef NDEBUG
TEST(MutexDeathTest, DisorderNamesBothMutexes) {
    EXPECT_DEATH(LockBoth(g_mtxSecond, g_mtxFirst), R"(holding \[second\], wanted \[first\])");
    EXPECT_DEATH(LockBoth(g_mtxSecond, g_mtxPeer), R"(holding \[second\], wanted \[peer\])");
}
#endif
