// A thread that may be left behind: a call to the system that does not come back, on a disk that
// hangs, ends no thread, and whoever waits for the thread need not wait for that.

#ifndef LOCALSTORAGE_OSL_OSLWATCHEDTHREAD_H
#define LOCALSTORAGE_OSL_OSLWATCHEDTHREAD_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>

#include "Osl/Osl.h"

/// Milliseconds that do not pass.
constexpr std::int64_t OSL_FOREVER = std::numeric_limits<std::int64_t>::max() / 2;

class OSL_WatchedThread {
public:
    OSL_WatchedThread() = default;
    /// Waits for the end, however long that takes, unless Wait left the thread behind.
    ~OSL_WatchedThread();
    OSL_WatchedThread(const OSL_WatchedThread&) = delete;
    OSL_WatchedThread& operator=(const OSL_WatchedThread&) = delete;

    /// Runs `body` on a thread. What that uses it must own, since the thread may be left behind.
    /// False: no thread. Throws std::bad_alloc.
    bool Start(std::function<void()> body);

    /// For so many milliseconds the thread has made no call to the system, or been inside one; none
    /// while it rests, and while there is none that runs. Any thread.
    std::int64_t Silence() const;
    /// Begins the calling thread's silence anew.
    static void EndSilence();
    /// The calling thread has nothing to do, and is not silent, until EndSilence.
    static void Rest();

    /// Waits for the end of the thread. False: it was silent for so many milliseconds of that, and
    /// is left behind; and so it is by itself. True at once when there is none, or it was left
    /// behind before.
    bool Wait(std::int64_t nPatience);

private:
    struct State;

    static std::uint32_t Run(void* pState);

    std::shared_ptr<State> m_pState;
    OSL_ThreadHandle m_hThread = nullptr;
};

/// Asks `IsReadyIn`, which waits for so many milliseconds, until it is ready. False: for so many
/// milliseconds of `SilenceNow` there has been silence.
template <typename SilenceFunction, typename ReadyFunction>
bool OSL_AwaitUnlessSilent(std::int64_t nPatience, const SilenceFunction& SilenceNow,
                           const ReadyFunction& IsReadyIn) {
    for (std::int64_t nLeft = 0; !IsReadyIn(nLeft);) {
        nLeft = nPatience - SilenceNow();
        if (nLeft <= 0) return false;
    }
    return true;
}

/// Runs `fnWork(0)`, `fnWork(1)` and so on at once, so many; none may throw. The first runs on the
/// calling thread, each other on one that ends before this returns and ends the silence of the
/// calling one; where there is none to be had, after the others. At least one.
void OSL_RunAtOnce(std::size_t nTimes, const std::function<void(std::size_t n)>& fnWork);

#endif  // LOCALSTORAGE_OSL_OSLWATCHEDTHREAD_H
