#include "screen/PrintQueue.h"

#include <cstdlib>
#include <utility>

#include "base/Failure.h"
#include "base/Text.h"

namespace {

constexpr std::size_t MOST_WAITING = 1000;

}  // namespace

CPrintQueue::CPrintQueue() : m_thread([this] { Run(); }) {
    DivertPrinting([this](Print fnPrint) { Post(std::move(fnPrint)); });
}

CPrintQueue::~CPrintQueue() {
    if (!End()) std::_Exit(EXIT_FAILED);
}

void CPrintQueue::Post(Print fnPrint) {
    const std::lock_guard lock(m_mtx);
    if (m_lsWaiting.size() >= MOST_WAITING) {
        ++m_nDropped;
        return;
    }
    m_lsWaiting.push_back(std::move(fnPrint));
    m_changed.notify_all();
}

void CPrintQueue::Show(std::vector<std::string> vLines) {
    const std::lock_guard lock(m_mtx);
    m_optLive = std::move(vLines);
    m_changed.notify_all();
}

bool CPrintQueue::End(std::chrono::milliseconds nPatience) {
    DivertPrinting({});
    std::unique_lock lock(m_mtx);
    m_bStop = true;
    m_changed.notify_all();
    for (std::uint64_t nBefore = m_nPrinted;
         !m_changed.wait_for(lock, nPatience, [this] { return m_bEnded; });) {
        if (std::exchange(nBefore, m_nPrinted) == m_nPrinted) return false;
    }
    lock.unlock();
    if (m_thread.joinable()) m_thread.join();
    return true;
}

void CPrintQueue::Run() {
    std::unique_lock lock(m_mtx);
    for (;;) {
        m_changed.wait(lock, [this] { return m_bStop || m_optLive || !m_lsWaiting.empty(); });
        const auto optLive = std::exchange(m_optLive, std::nullopt);
        const auto lsPrint = std::exchange(m_lsWaiting, {});
        const std::uint64_t nDropped = std::exchange(m_nDropped, 0);
        if (m_bStop && lsPrint.empty()) break;
        for (const Print& fnPrint : lsPrint) {
            lock.unlock();
            fnPrint();
            lock.lock();
            ++m_nPrinted;
        }
        lock.unlock();
        if (nDropped > 0)
            PrintMessageNow(Count(nDropped, "line") + " could not be printed in time");
        if (optLive) m_objLines.Show(*optLive);
        lock.lock();
    }
    m_bEnded = true;
    m_changed.notify_all();
}
