// Signs of life of a thread that may wait for long.

#ifndef LOCALSTORAGE_TOOL_BASE_HEARTBEAT_H
#define LOCALSTORAGE_TOOL_BASE_HEARTBEAT_H

#include <atomic>
#include <chrono>

/// Any thread.
class CHeartbeat {
public:
    using Clock = std::chrono::steady_clock;

    void Beat() { m_tLast = Clock::now(); }
    Clock::duration Age() const { return Clock::now() - m_tLast.load(); }

private:
    std::atomic<Clock::time_point> m_tLast = Clock::now();
};

#endif  // LOCALSTORAGE_TOOL_BASE_HEARTBEAT_H
