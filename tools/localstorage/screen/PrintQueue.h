// What is printed while others must not wait: by a thread of its own, since whoever reads it may
// stop to read, as a terminal that is held or a journal whose disk hangs.

#ifndef LOCALSTORAGE_TOOL_SCREEN_PRINTQUEUE_H
#define LOCALSTORAGE_TOOL_SCREEN_PRINTQUEUE_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "screen/Terminal.h"

/// Takes over PrintLine and PrintMessage while it lives. What is beyond 1000 waiting lines is
/// dropped, and how many of them is told. One instance at a time; any thread.
class CPrintQueue {
public:
    CPrintQueue();
    /// Ends the process where End fails.
    ~CPrintQueue();
    CPrintQueue(const CPrintQueue&) = delete;
    CPrintQueue& operator=(const CPrintQueue&) = delete;

    bool HasLiveLines() const { return m_objLines.Enabled(); }
    /// As CLiveLines::Show.
    void Show(std::vector<std::string> vLines);

    /// Has all printed, and ends. False: nothing was read for so long. The thread waits in the
    /// system then, with the streams' locks, and only ends with the process (std::_Exit).
    bool End(std::chrono::milliseconds nPatience = std::chrono::seconds(2));

private:
    using Print = std::function<void()>;

    void Post(Print fnPrint);
    void Run();

    CLiveLines m_objLines;
    std::mutex m_mtx;
    std::condition_variable m_changed;
    std::deque<Print> m_lsWaiting;
    std::optional<std::vector<std::string>> m_optLive;  ///< to be shown next
    std::uint64_t m_nPrinted = 0, m_nDropped = 0;
    bool m_bStop = false, m_bEnded = false;

    std::thread m_thread;  ///< last: it uses everything above
};

#endif  // LOCALSTORAGE_TOOL_SCREEN_PRINTQUEUE_H
