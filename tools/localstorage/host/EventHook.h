// A command of the operator's that runs for every event.

#ifndef LOCALSTORAGE_TOOL_HOST_EVENTHOOK_H
#define LOCALSTORAGE_TOOL_HOST_EVENTHOOK_H

#include <array>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

#include "base/System.h"

/// Runs the command by the shell, at most four at once, in the order of the events. Nobody waits
/// for it: where commands take longer than events come, what is beyond 1000 waiting ones is
/// dropped. What a command prints goes where this program's own output goes; its result counts for
/// nothing.
class CEventHook {
public:
    explicit CEventHook(std::string strCommand,
                        std::chrono::milliseconds patience = std::chrono::seconds(5));
    /// Lets the commands that are left run for that long, then ends them.
    ~CEventHook();
    CEventHook(const CEventHook&) = delete;
    CEventHook& operator=(const CEventHook&) = delete;

    /// An event, as variables of the command's environment. True when it is the first to be dropped
    /// since none waited. Any thread.
    bool Post(Environment vEvent);

private:
    void RunAll(int& nProcess);
    bool IsIdle() const;

    const std::string m_strCommand;
    const std::chrono::milliseconds m_patience;

    std::mutex m_mtx;
    std::condition_variable m_changed;
    std::deque<Environment> m_lsWaiting;
    std::array<int, 4> m_aProcesses{};  ///< 0: none runs
    bool m_bBehind = false;             ///< events were dropped since none waited
    bool m_bStop = false;

    std::array<std::thread, 4> m_aThreads;  ///< last: they use everything above
};

#endif  // LOCALSTORAGE_TOOL_HOST_EVENTHOOK_H
