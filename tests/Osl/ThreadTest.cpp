// Threads, forks and the order of mutexes.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Osl/Osl.h"
#include "Osl/OslMutex.h"

namespace {

std::uint32_t WaitForEvent(void* hEvent) {
    return OSL_WaitForSingleObject(static_cast<OSL_EventHandle>(hEvent), OSL_INFINITE);
}

std::uint32_t TellBlockedSignal(void* pBlocked) {
    sigset_t stBlocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &stBlocked);
    *static_cast<bool*>(pBlocked) = sigismember(&stBlocked, SIGTERM) == 1;
    return 0;
}

}  // namespace

TEST(ThreadTest, TheHostsSignalsStayOffTheLibrarysThreads) {
    bool bBlocked = false;
    OSL_Thread_Wait(OSL_Thread_Create(TellBlockedSignal, &bBlocked));
    EXPECT_TRUE(bBlocked);
    TellBlockedSignal(&bBlocked);
    EXPECT_FALSE(bBlocked);
}

TEST(ThreadTest, AForkedProcessWaitsNeitherForAThreadItDoesNotHaveNorForItsSleep) {
    const OSL_EventHandle hEvent = OSL_CreateEvent();
    const OSL_ThreadHandle hThread = OSL_Thread_Create(WaitForEvent, hEvent);
    const pid_t nChild = ::fork();
    if (nChild == 0) ::_exit(OSL_Thread_Wait(hThread) == -1 && OSL_CloseEvent(hEvent) == 0 ? 0 : 1);
    int nStatus = -1;
    ASSERT_EQ(::waitpid(nChild, &nStatus, 0), nChild);
    EXPECT_EQ(nStatus, 0);
    OSL_SetEvent(hEvent);
    EXPECT_EQ(OSL_Thread_Wait(hThread), 0);
    OSL_CloseEvent(hEvent);
}

#ifndef NDEBUG
namespace {

OSL_Mutex g_mtxFirst(OSL_LockRank::DiskCheck, "first");
OSL_Mutex g_mtxSecond(OSL_LockRank::Index, "second");
OSL_Mutex g_mtxPeer(OSL_LockRank::Index, "peer");

void LockBoth(OSL_Mutex& outer, OSL_Mutex& inner) {
    const OSL_Guard guardOuter(outer);
    const OSL_Guard guardInner(inner);
}

}  // namespace

TEST(MutexDeathTest, DisorderNamesBothMutexes) {
    LockBoth(g_mtxFirst, g_mtxSecond);
    EXPECT_DEATH(LockBoth(g_mtxSecond, g_mtxFirst), R"(holding \[second\], wanted \[first\])");
    EXPECT_DEATH(LockBoth(g_mtxSecond, g_mtxPeer), R"(holding \[second\], wanted \[peer\])");
}
#endif
