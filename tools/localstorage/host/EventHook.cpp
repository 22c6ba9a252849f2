#include "host/EventHook.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t MOST_WAITING = 1000;

}  // namespace

CEventHook::CEventHook(std::string strCommand, std::chrono::milliseconds patience)
    : m_strCommand(std::move(strCommand)), m_patience(patience) {
    for (std::size_t n = 0; n < m_aThreads.size(); ++n) {
        m_aThreads[n] = std::thread([this, n] { RunAll(m_aProcesses[n]); });
    }
}

CEventHook::~CEventHook() {
    {
        std::unique_lock lock(m_mtx);
        m_changed.wait_for(lock, m_patience, [this] { return IsIdle(); });
        m_bStop = true;
        for (const int nProcess : m_aProcesses) {
            if (nProcess > 0) EndProcess(nProcess);
        }
    }
    m_changed.notify_all();
    for (std::thread& thread : m_aThreads) thread.join();
}

bool CEventHook::Post(Environment vEvent) {
    const std::lock_guard lock(m_mtx);
    if (m_lsWaiting.size() >= MOST_WAITING) return !std::exchange(m_bBehind, true);
    m_lsWaiting.push_back(std::move(vEvent));
    m_changed.notify_one();
    return false;
}

bool CEventHook::IsIdle() const {
    return m_lsWaiting.empty() && std::all_of(m_aProcesses.begin(), m_aProcesses.end(),
                                              [](int nProcess) { return nProcess <= 0; });
}

// A process is ended, if need be, under the lock, and its number given back under it: it never
// belongs to another by then.
void CEventHook::RunAll(int& nProcess) {
    std::unique_lock lock(m_mtx);
    for (;;) {
        m_changed.wait(lock, [this] { return m_bStop || !m_lsWaiting.empty(); });
        if (m_bStop) return;
        const Environment vEvent = std::move(m_lsWaiting.front());
        m_lsWaiting.pop_front();
        if (m_lsWaiting.empty()) m_bBehind = false;
        nProcess = StartShell(m_strCommand, vEvent);
        if (nProcess > 0) {
            lock.unlock();
            AwaitProcess(nProcess);
            lock.lock();
            CollectProcess(nProcess);
        }
        nProcess = 0;
        m_changed.notify_all();
    }
}
