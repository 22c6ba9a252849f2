#include "IndexMgr/DiskCalls.h"

#include <algorithm>

CDiskCalls::CDiskCalls() = default;

CDiskCalls::~CDiskCalls() {
    Stop();
    Wait(OSL_FOREVER);
}

bool CDiskCalls::Start() {
    for (CLane* const pLane : {&m_use, &m_cleanUp}) {
        pLane->m_pQueue->Start();
        if (!pLane->m_thread.Start([pQueue = pLane->m_pQueue] { pQueue->RunAll(); })) {
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

std::int64_t CDiskCalls::Silence(DiskLane eLane) const {
    const std::int64_t nUse = m_use.Silence();
    return eLane == DiskLane::Use ? nUse : std::max(nUse, m_cleanUp.Silence());
}

std::int64_t CDiskCalls::CLane::Silence() const {
    return m_pQueue->IsBusy() ? std::max<std::int64_t>(m_thread.Silence(), 0) : 0;
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
}

void CDiskCalls::CQueue::RunAll() {
    while (Call call = Take()) {
        OSL_WatchedThread::EndSilence();
        m_bBusy = true;
        call();
        call = nullptr;  // with all that it owns
        m_bBusy = false;
    }
    std::deque<Call> lsDropped;  // here, since what they own may have to call the disk
    OSL_Guard guard(m_mtx);
    lsDropped.swap(m_lsCalls);
}

std::function<void()> CDiskCalls::CQueue::Take() {
    OSL_Guard guard(m_mtx);
    OSL_WaitLock lock{m_mtx};
    while (m_lsCalls.empty() && !m_bStop) m_changed.wait(lock);
    if (m_bStop) return nullptr;
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
