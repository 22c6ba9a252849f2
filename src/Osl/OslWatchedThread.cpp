#include "Osl/OslWatchedThread.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <utility>

#include "Osl/OslCalls.h"

[[gnu::tls_model("initial-exec")]] constinit thread_local std::atomic<std::int64_t>* t_pnLastCall =
    nullptr;

namespace {

constexpr std::int64_t NONE = std::numeric_limits<std::int64_t>::max();  // no call: no silence

// The system's own clock: a test that stops the library's must not hide that a call hangs.
std::int64_t Now() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

void OSL_NoteCall() {
    t_pnLastCall->store(Now(), std::memory_order_relaxed);
}

struct OSL_WatchedThread::State {
    std::function<void()> m_body;
    std::atomic<std::int64_t> m_nLastCall{NONE};
    std::mutex m_mtx;
    std::condition_variable m_ended;
    bool m_bEnded = false;
};

OSL_WatchedThread::~OSL_WatchedThread() {
    Wait(OSL_FOREVER);
}

bool OSL_WatchedThread::Start(std::function<void()> body) {
    m_pState = std::make_shared<State>();
    auto pForThread = std::make_unique<std::shared_ptr<State>>(m_pState);
    m_pState->m_body = std::move(body);
    m_hThread = OSL_Thread_Create(Run, pForThread.get());
    if (!m_hThread) {
        m_pState->m_body = nullptr;  // which may own this
        return false;
    }
    pForThread.release();
    return true;
}

std::uint32_t OSL_WatchedThread::Run(void* pState) {
    const std::unique_ptr<std::shared_ptr<State>> pForThread(
        static_cast<std::shared_ptr<State>*>(pState));
    State& state = **pForThread;
    t_pnLastCall = &state.m_nLastCall;
    OSL_NoteCall();
    state.m_body();
    state.m_body = nullptr;  // with all that it owns, while that is still watched
    Rest();
    t_pnLastCall = nullptr;
    const std::lock_guard<std::mutex> guard(state.m_mtx);
    state.m_bEnded = true;
    state.m_ended.notify_all();
    return 0;
}

std::int64_t OSL_WatchedThread::Silence() const {
    const std::int64_t nNow = Now();  // before: it may make a call meanwhile
    const std::int64_t nLastCall =
        m_pState ? m_pState->m_nLastCall.load(std::memory_order_relaxed) : NONE;
    return std::max<std::int64_t>(nNow - nLastCall, 0);
}

void OSL_WatchedThread::EndSilence() {
    if (t_pnLastCall) OSL_NoteCall();
}

void OSL_WatchedThread::Rest() {
    if (t_pnLastCall) t_pnLastCall->store(NONE, std::memory_order_relaxed);
}

bool OSL_WatchedThread::Wait(std::int64_t nPatience) {
    constexpr std::int64_t LONGEST = 1000;  // ms, between two looks at the silence
    if (!m_hThread) return true;
    const bool bItself = t_pnLastCall == &m_pState->m_nLastCall;  // it owns its owner, and ends
    const std::int64_t nBegin = Now();
    {
        std::unique_lock<std::mutex> lock(m_pState->m_mtx);
        while (!m_pState->m_bEnded && !OSL_IsOfAnotherProcess(m_hThread)) {
            const std::int64_t nLeft = nPatience - std::min(Silence(), Now() - nBegin);
            if (nLeft <= 0 || bItself) {
                OSL_Thread_Leave(std::exchange(m_hThread, nullptr));
                return false;
            }
            m_pState->m_ended.wait_for(lock, std::chrono::milliseconds(std::min(nLeft, LONGEST)));
        }
    }
    OSL_Thread_Wait(std::exchange(m_hThread, nullptr));
    return true;
}

namespace {

/// Work for a second thread.
struct helpedWork {
    const std::function<void(std::size_t)>& m_fnWork;
    const std::size_t m_n;
    std::atomic<std::int64_t>* const m_pnLastCall = t_pnLastCall;

    static std::uint32_t Run(void* pWork) {
        const auto& work = *static_cast<const helpedWork*>(pWork);
        t_pnLastCall = work.m_pnLastCall;
        work.m_fnWork(work.m_n);
        return 0;
    }
};

}  // namespace

void OSL_RunAtOnce(std::size_t nTimes, const std::function<void(std::size_t)>& fnWork) {
    if (nTimes == 1) return fnWork(0);
    helpedWork last{fnWork, nTimes - 1};
    const OSL_ThreadHandle hThread = OSL_Thread_Create(helpedWork::Run, &last);
    OSL_RunAtOnce(nTimes - 1, fnWork);
    if (hThread) {
        OSL_Thread_Wait(hThread);
    } else {
        fnWork(nTimes - 1);
    }
}
