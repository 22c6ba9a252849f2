#include "Osl/OslMutex.h"

#include <atomic>

/// Most locks of this library are held for less time than it takes to put a thread to sleep and to
/// wake it, so a short wait comes first: about two microseconds in all. Its pauses grow, since
/// every try takes the mutex's memory away from the processor that is to unlock it.
void OSL_Mutex::LockContended() OSL_NO_THREAD_SAFETY_ANALYSIS {
    for (int nPause = 100; nPause <= 3200; nPause *= 2) {
        for (int i = 0; i < nPause; ++i) std::atomic_signal_fence(std::memory_order_seq_cst);
        if (m_mtx.try_lock()) return;
    }
    m_mtx.lock();
}

#ifndef NDEBUG

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <iterator>

namespace {

/// The mutexes that a thread holds, in the order in which it took them, one entry per Lock.
struct HeldStack {
    static constexpr std::size_t CAPACITY = 64;
    const OSL_Mutex* m_apMutex[CAPACITY];
    std::size_t m_nCount;

    const OSL_Mutex** begin() { return m_apMutex; }
    const OSL_Mutex** end() { return m_apMutex + m_nCount; }
};

thread_local HeldStack t_stHeld;

[[noreturn]] void Fail(const char* pProblem, const char* pHeld, const char* pWanted) {
    std::fprintf(stderr, "%s: holding [%s], wanted [%s]\n", pProblem, pHeld, pWanted);
    std::abort();
}

}  // namespace

void OSL_HeldLocks::Add(const OSL_Mutex& mutex) {
    const auto IsBelow = [&mutex](const OSL_Mutex* p) { return p->m_eRank < mutex.m_eRank; };
    const auto itAbove = std::find_if_not(t_stHeld.begin(), t_stHeld.end(), IsBelow);
    const bool bAgain = std::find(t_stHeld.begin(), t_stHeld.end(), &mutex) != t_stHeld.end();
    if (itAbove != t_stHeld.end() && !bAgain) {
        Fail("mutex out of order", (*itAbove)->m_pName, mutex.m_pName);
    }
    if (t_stHeld.m_nCount == HeldStack::CAPACITY) {
        Fail("too many mutexes held", t_stHeld.m_apMutex[0]->m_pName, mutex.m_pName);
    }
    t_stHeld.m_apMutex[t_stHeld.m_nCount++] = &mutex;
}

void OSL_HeldLocks::Remove(const OSL_Mutex& mutex) {
    const auto itLast = std::find(std::make_reverse_iterator(t_stHeld.end()),
                                  std::make_reverse_iterator(t_stHeld.begin()), &mutex);
    if (itLast.base() == t_stHeld.begin()) Fail("mutex not held", "nothing of it", mutex.m_pName);
    std::copy(itLast.base(), t_stHeld.end(), itLast.base() - 1);
    --t_stHeld.m_nCount;
}

#endif
