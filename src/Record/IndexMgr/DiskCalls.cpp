#include "IndexMgr/DiskCalls.h"

#include <algorithm>
#include <exception>

CDiskCalls::CDiskCalls() = default;

CDiskCalls::~CDiskCalls() {
    Stop();
    Wait(OSL_FOREVER);
}

bool CDiskCalls::Start() {
    for (CLane* const pLane : {&m_use, &m_cleanUp}) {
        pLane->m_pQueue->Start();
        if (!pLane->StartThread()) {
            pLane->m_pQueue->Stop();
            return false;
        }
    }
    return true;
}

void CDiskCalls::Stop() {
    m_use.m_pQueue->Stop();
    m_cleanUp.m_pQueue->Stop();
}

bool CDiskCalls::Wait(std::int64_t nPatience) {
    const bool bUse = m_use.m_thread.Wait(nPatience);
    return m_cleanUp.m_thread.Wait(nPatience) && bUse;
}

bool CDiskCalls::AwaitIdle(DiskLane eLane, std::int64_t nPatience) {
    CQueue& queue = *Of(eLane).m_pQueue;
    return OSL_AwaitUnlessSilent(
        nPatience, [=, this] { return Silence(eLane); },
        [&queue](std::int64_t nLeft) { return queue.AwaitIdle(nLeft); });
}

std::int64_t CDiskCalls::Silence(DiskLane eLane) const {
    const std::int64_t nUse = m_use.m_thread.Silence();
    return eLane == DiskLane::Use ? nUse : std::max(nUse, m_cleanUp.m_thread.Silence());
}

// A queue without a thread would keep whoever waits for a job.
bool CDiskCalls::CLane::StartThread() try {
    return m_thread.Start([pQueue = m_pQueue] { pQueue->RunAll(); });
} catch (const std::exception&) {
    return false;
}

bool CDiskCalls::CQueue::Put(Call call) {
    OSL_Guard guard(m_mtx);
    if (m_bStop) return false;
    m_lsCalls.push_back(std::move(call));
    m_changed.notify_one();
    return true;
}

void CDiskCalls::CQueue::Start() {
    OSL_Guard guard(m_mtx);
    m_bStop = false;
}

void CDiskCalls::CQueue::Stop() {
    OSL_Guard guard(m_mtx);
    m_bStop = true;
    m_changed.notify_one();
    m_idle.notify_all();
}

bool CDiskCalls::CQueue::IsStopped() {
    OSL_Guard guard(m_mtx);
    return m_bStop;
}

bool CDiskCalls::CQueue::AwaitIdle(std::int64_t nMilliseconds) {
    OSL_Guard guard(m_mtx);
    OSL_WaitLock lock{m_mtx};
    const auto end = Clock::now() + std::chrono::milliseconds(nMilliseconds);
    while (!m_bStop && (m_bBusy || !m_lsCalls.empty())) {
        if (m_idle.wait_until(lock, end) == std::cv_status::timeout) return false;
    }
    return true;
}

std::int64_t CDiskCalls::CQueue::AtOneCall() {
    OSL_Guard guard(m_mtx);
    if (!m_bBusy) return 0;
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_busySince)
        .count();
}

void CDiskCalls::CQueue::RunAll() {
    while (Call call = Take()) {
        call();
        call = nullptr;  // with all that it owns
    }
    std::list<Call> lsDropped;  // here, since what they own may have to call the disk
    OSL_Guard guard(m_mtx);
    lsDropped.swap(m_lsCalls);
}

std::function<void()> CDiskCalls::CQueue::Take() {
    OSL_Guard guard(m_mtx);
    OSL_WaitLock lock{m_mtx};
    m_bBusy = false;
    if (m_lsCalls.empty()) m_idle.notify_all();
    OSL_WatchedThread::Rest();
    while (m_lsCalls.empty() && !m_bStop) m_changed.wait(lock);
    OSL_WatchedThread::EndSilence();
    if (m_bStop) return nullptr;
    m_bBusy = true;
    m_busySince = Clock::now();
    Call call = std::move(m_lsCalls.front());
    m_lsCalls.pop_front();
    return call;
}

CDiskTurn::CDiskTurn(CDiskCalls& calls, std::int64_t nPatience) : m_calls(calls) {
    constexpr std::int64_t LONGEST = 1000;  // ms, between two looks at the silence
    OSL_Guard guard(m_calls.m_mtx);
    OSL_WaitLock lock{m_calls.m_mtx};
    while (m_calls.m_bTaken) {
        const std::int64_t nLeft = nPatience - m_calls.Silence();
        if (nLeft <= 0) return;
        m_calls.m_given.wait_for(lock, std::chrono::milliseconds(std::min(nLeft, LONGEST)));
    }
    m_bHeld = m_calls.m_bTaken = true;
}

CDiskTurn::~CDiskTurn() {
    if (!m_bHeld) return;
    OSL_Guard guard(m_calls.m_mtx);
    m_calls.m_bTaken = false;
    m_calls.m_given.notify_all();
}
