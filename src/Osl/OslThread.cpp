#include <algorithm>
#include <atomic>
#include <cerrno>
#include <limits.h>
#include <new>
#include <signal.h>
#include <unistd.h>

#include "Osl/Osl.h"
#include "Osl/OslCalls.h"

struct OSL_Thread {
    OSL_ThreadProc m_pProc;
    void* m_pArg;
    pthread_t m_stThread;
    pid_t m_nProcess;  ///< a process forked from the creator has no such thread
};

namespace {

constinit std::atomic<bool> s_bForked{false};

void* Run(void* pArg) {
    const auto* pThread = static_cast<const OSL_Thread*>(pArg);
    pThread->m_pProc(pThread->m_pArg);
    return nullptr;
}

/// Blocks every signal of the calling thread while it lives. A thread made meanwhile inherits that
/// for good, so that the host's signal handlers never run on a thread of the library.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t stAll;
        sigfillset(&stAll);
        pthread_sigmask(SIG_SETMASK, &stAll, &m_stBefore);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_stBefore, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t m_stBefore;
};

/// Starts the thread; 0 or an error number.
int Start(OSL_Thread& stThread, std::size_t nStackSize) {
    pthread_attr_t stAttr;
    if (const int nError = pthread_attr_init(&stAttr)) return nError;
    const auto nLeast = static_cast<std::size_t>(PTHREAD_STACK_MIN);
    if (nStackSize != 0) pthread_attr_setstacksize(&stAttr, std::max(nStackSize, nLeast));
    const SignalsBlocked blocked;
    const int nError = OSL_Call().pfnThreadCreate(&stThread.m_stThread, &stAttr, Run, &stThread);
    pthread_attr_destroy(&stAttr);
    return nError;
}

}  // namespace

OSL_ThreadHandle OSL_Thread_Create(OSL_ThreadProc pProc, void* pArg, std::size_t nStackSize) {
    OSL_ThreadHandle hThread = new (std::nothrow) OSL_Thread{pProc, pArg, {}, getpid()};
    const int nError = hThread ? Start(*hThread, nStackSize) : ENOMEM;
    if (nError != 0) {
        delete hThread;
        errno = nError;
        return nullptr;
    }
    return hThread;
}

int OSL_Thread_Wait(OSL_ThreadHandle hThread) {
    if (!hThread) return -1;
    const int nError =
        OSL_IsOfAnotherProcess(hThread) ? ESRCH : pthread_join(hThread->m_stThread, nullptr);
    delete hThread;
    errno = nError;
    return nError == 0 ? 0 : -1;
}

void OSL_Thread_Leave(OSL_ThreadHandle hThread) {
    pthread_detach(hThread->m_stThread);
    delete hThread;
}

bool OSL_IsOfAnotherProcess(OSL_ThreadHandle hThread) {
    return hThread->m_nProcess != getpid();
}

bool OSL_IsForked() {
    // Asked with every line of the log, so a handler sets a flag: getpid() would cost a system
    // call.
    [[maybe_unused]] static const int s_nWatching =
        pthread_atfork(nullptr, nullptr, [] { s_bForked = true; });
    return s_bForked.load(std::memory_order_relaxed);
}

void OSL_Sleep(std::uint32_t nMilliseconds) {
    OSL_Call().pfnSleep(nMilliseconds);
}
