#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "Osl/Osl.h"

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

TEST(ThreadTest, AnEventStaysSetUntilItIsReset) {
    const OSL_EventHandle hEvent = OSL_CreateEvent(0);
    EXPECT_EQ(OSL_WaitForSingleObject(hEvent, 1), OSL_WAIT_TIMEOUT);
    OSL_SetEvent(hEvent);
    EXPECT_EQ(WaitForEvent(hEvent), OSL_WAIT_OBJECT);
    EXPECT_EQ(WaitForEvent(hEvent), OSL_WAIT_OBJECT);
    OSL_ResetEvent(hEvent);
    EXPECT_EQ(OSL_WaitForSingleObject(hEvent, 0), OSL_WAIT_TIMEOUT);
    OSL_CloseEvent(hEvent);
}

TEST(ThreadTest, TheHostsSignalsStayOffTheLibrarysThreads) {
    bool bBlocked = false;
    OSL_Thread_Wait(OSL_Thread_Create(TellBlockedSignal, &bBlocked, 0, 0, 0, nullptr));
    EXPECT_TRUE(bBlocked);
    TellBlockedSignal(&bBlocked);
    EXPECT_FALSE(bBlocked);
}

TEST(ThreadTest, AForkedProcessDoesNotWaitForAThreadItDoesNotHave) {
    const OSL_EventHandle hEvent = OSL_CreateEvent(0);
    const OSL_ThreadHandle hThread = OSL_Thread_Create(WaitForEvent, hEvent, 0, 0, 0, nullptr);
    const pid_t nChild = ::fork();
    if (nChild == 0) ::_exit(OSL_Thread_Wait(hThread) == -1 ? 0 : 1);
    int nStatus = -1;
    ASSERT_EQ(::waitpid(nChild, &nStatus, 0), nChild);
    EXPECT_EQ(nStatus, 0);
    OSL_SetEvent(hEvent);
    EXPECT_EQ(OSL_Thread_Wait(hThread), 0);
    OSL_CloseEvent(hEvent);
}
