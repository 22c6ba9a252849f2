// What files, threads, forks and mutexes promise.

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Osl/Osl.h"
#include "Osl/OslMutex.h"
#include "Support/FaultInjection.h"
#include "Support/Test.h"

namespace {

class FileTest : public testing::Test {
protected:
    OSL_FileHandle Open(unsigned nFlags, unsigned nAttribute = 0) {
        return OSL_OpenFile(m_strPath.c_str(), nFlags, nAttribute);
    }

    const CTempDir m_dir;
    const std::string m_strPath = m_dir / "file";
};

TEST_F(FileTest, NeitherALinkNorAPipeIsOpened) {
    PutFile(m_dir / "target", "precious");
    ASSERT_EQ(::symlink("target", m_strPath.c_str()), 0);
    for (const unsigned nFlags : {1u, OSL_OPEN_CONTINUE, OSL_OPEN_NEW, OSL_OPEN_LOG}) {
        EXPECT_EQ(Open(nFlags, OSL_FILE_SHARED), OSL_INVALID_FILE) << nFlags;
    }
    EXPECT_EQ(GetFile(m_dir / "target"), "precious");
    OSL_DeleteFile(m_strPath.c_str());
    ASSERT_EQ(::mkfifo(m_strPath.c_str(), 0600), 0);
    EXPECT_EQ(Open(OSL_OPEN_CONTINUE), OSL_INVALID_FILE) << "and does not hang";
}

TEST_F(FileTest, AFileNeverTakesTheNumberOfAClosedStandardStream) {
    const int nSaved = ::dup(STDIN_FILENO);
    ::close(STDIN_FILENO);
    const OSL_FileHandle hFile = Open(OSL_OPEN_NEW);
    ::dup2(nSaved, STDIN_FILENO);
    ::close(nSaved);
    EXPECT_GT(hFile, STDERR_FILENO);
    OSL_CloseFile(hFile);
}

TEST_F(FileTest, AWriteIsWholeOrFailedAndOnlyAnInterruptedOneIsRepeated) {
    CFaultInjection faults;
    const OSL_FileHandle hFile = Open(OSL_OPEN_NEW);
    EXPECT_EQ(::fcntl(static_cast<int>(hFile), F_GETFD), FD_CLOEXEC);
    std::size_t nWritten = 0;
    faults.Fail(Op::Write, Is(m_strPath), EINTR).Times(2);
    faults.ShortWrite(Is(m_strPath), 3).From(3);
    EXPECT_EQ(OSL_WriteFile(hFile, "0123456789", 10, nullptr), 0);
    faults.ClearRules();
    faults.ShortWrite(Is(m_strPath), 3).Times(1);
    faults.Fail(Op::Write, Is(m_strPath), ENOSPC).Times(2);
    EXPECT_EQ(OSL_WriteFile(hFile, "abcdef", 6, &nWritten), -1);
    EXPECT_EQ(nWritten, 3u);
    OSL_CloseFile(hFile);
    EXPECT_EQ(GetFile(m_strPath), "0123456789abc");
}

std::uint32_t TellBlockedSignal(void* pBlocked) {
    sigset_t stBlocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &stBlocked);
    *static_cast<bool*>(pBlocked) = sigismember(&stBlocked, SIGTERM) == 1;
    return 0;
}

TEST(ThreadTest, TheHostsSignalsStayOffTheLibrarysThreads) {
    bool bBlocked = false;
    OSL_Thread_Wait(OSL_Thread_Create(TellBlockedSignal, &bBlocked));
    EXPECT_TRUE(bBlocked);
    TellBlockedSignal(&bBlocked);
    EXPECT_FALSE(bBlocked);
}

TEST(ThreadTest, AForkedProcessWaitsNeitherForAThreadItDoesNotHaveNorForItsSleep) {
    const OSL_EventHandle hEvent = OSL_CreateEvent();
    const auto wait = [](void* pEvent) {
        return OSL_WaitForSingleObject(static_cast<OSL_EventHandle>(pEvent), OSL_INFINITE);
    };
    const OSL_ThreadHandle hThread = OSL_Thread_Create(wait, hEvent);
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
void LockBoth(OSL_Mutex& outer, OSL_Mutex& inner) {
    const OSL_Guard guardOuter(outer);
    const OSL_Guard guardInner(inner);
}

TEST(MutexDeathTest, DisorderNamesBothMutexes) {
    OSL_Mutex first(OSL_LockRank::DiskCheck, "first"), second(OSL_LockRank::Index, "second"),
        peer(OSL_LockRank::Index, "peer");
    LockBoth(first, second);
    EXPECT_DEATH(LockBoth(second, first), R"(holding \[second\], wanted \[first\])");
    EXPECT_DEATH(LockBoth(second, peer), R"(holding \[second\], wanted \[peer\])");
}
#endif

}  // namespace
