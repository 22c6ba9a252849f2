#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <unistd.h>

#include "Osl/Osl.h"

struct OSL_Event {
    std::mutex m_mtx;
    std::condition_variable m_changed;
    bool m_bSet = false;
    const pid_t m_nProcess = getpid();
};

OSL_EventHandle OSL_CreateEvent() {
    return new (std::nothrow) OSL_Event;
}

int OSL_SetEvent(OSL_EventHandle hEvent) {
    if (!hEvent) return -1;
    const std::lock_guard<std::mutex> guard(hEvent->m_mtx);
    hEvent->m_bSet = true;
    hEvent->m_changed.notify_all();
    return 0;
}

int OSL_ResetEvent(OSL_EventHandle hEvent) {
    if (!hEvent) return -1;
    const std::lock_guard<std::mutex> guard(hEvent->m_mtx);
    hEvent->m_bSet = false;
    return 0;
}

int OSL_CloseEvent(OSL_EventHandle hEvent) {
    if (!hEvent) return -1;
    // In a forked process the event's sleepers are gone without having woken, and it would wait for
    // them.
    if (hEvent->m_nProcess == getpid()) delete hEvent;
    return 0;
}

std::uint32_t OSL_WaitForSingleObject(OSL_EventHandle hEvent, std::uint32_t nMilliseconds) {
    if (!hEvent) return OSL_WAIT_FAILED;
    std::unique_lock<std::mutex> lock(hEvent->m_mtx);
    const auto IsSet = [hEvent] { return hEvent->m_bSet; };
    if (nMilliseconds == OSL_INFINITE) {
        hEvent->m_changed.wait(lock, IsSet);
        return OSL_WAIT_OBJECT;
    }
    const auto tTimeout = std::chrono::milliseconds(nMilliseconds);
    return hEvent->m_changed.wait_for(lock, tTimeout, IsSet) ? OSL_WAIT_OBJECT : OSL_WAIT_TIMEOUT;
}
