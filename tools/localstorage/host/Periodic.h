// Something done again and again, on a thread of its own: it may wait for a disk that does not
// answer.

#ifndef LOCALSTORAGE_TOOL_HOST_PERIODIC_H
#define LOCALSTORAGE_TOOL_HOST_PERIODIC_H

#include <condition_variable>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>

class CPeriodic {
public:
    /// Calls `fn`, which must not throw, now and every so often.
    template <typename Span>
    CPeriodic(Span nEvery, std::function<void()> fn)
        : m_thread([this, nEvery, fn = std::move(fn)](const std::stop_token& objStop) {
              std::unique_lock lock(m_mtx);
              do {
                  fn();
                  m_changed.wait_for(lock, objStop, nEvery, [] { return false; });
              } while (!objStop.stop_requested());
          }) {}

private:
    std::mutex m_mtx;
    std::condition_variable_any m_changed;
    std::jthread m_thread;  ///< last: it uses everything above; stopped and waited for at the end
};

#endif  // LOCALSTORAGE_TOOL_HOST_PERIODIC_H
