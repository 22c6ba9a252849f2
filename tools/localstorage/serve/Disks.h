// The record directories, each asked by threads of its own. A disk that hangs keeps the threads
// that are at work on it then, and is not asked again before they have come back: nobody else waits
// for it, and no more of them are lost to it.

#ifndef LOCALSTORAGE_TOOL_SERVE_DISKS_H
#define LOCALSTORAGE_TOOL_SERVE_DISKS_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <semaphore>
#include <set>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include "Osl/OslWatchedThread.h"

/// The threads that work on one disk. Any thread.
class CDiskThreads {
public:
    using Thread = std::shared_ptr<const OSL_WatchedThread>;

    /// In milliseconds: a disk hangs when one call to it takes so long.
    static constexpr std::int64_t PATIENCE = 2000;

    /// Works on a thread, which may be left behind: it owns what it uses. Null: the disk hangs.
    /// Throws CFailure when there can be no more threads.
    Thread Start(std::function<void()> fnWork) const;

private:
    /// Nothing that takes time is done under the mutex: who waits for it would seem to hang.
    struct running {
        bool IsSilent();
        void Add(const Thread& pThread);
        void Remove(const Thread& pThread);

        std::mutex mutex;
        std::set<Thread> setThreads;
    };
    const std::shared_ptr<running> m_pRunning = std::make_shared<running>();
};

class CDisks {
public:
    /// Throws CFailure for a directory that is none. One that does not answer may be there.
    explicit CDisks(const std::vector<std::string>& vDirs);

    /// All of them.
    const std::vector<std::string>& Dirs() const { return m_vDirs; }
    /// Those whose entries can be read now. Any thread.
    std::vector<std::string> Readable() const;
    /// All but these.
    std::vector<std::string> AllBut(const std::vector<std::string>& vDirs) const;

    /// One more who watches recordings in these directories, while the result lives. Throws
    /// CFailure where so many do already that more could leave no threads for others, if the disk
    /// hung. Any thread.
    std::vector<std::shared_ptr<void>> BeginWatching(const std::set<std::string>& setDirs) const;

    /// What `fnAsk` returns of each of these directories, which are asked at once. Those that
    /// cannot be read, which it tells by std::system_error, and those that hang are taken out of
    /// `vDirs`. What it uses it owns. Any thread.
    template <typename Function>
    auto Ask(std::vector<std::string>& vDirs, const Function& fnAsk) const;

private:
    static constexpr int MOST_WATCHING = 128;  // in one directory
    using Room = std::counting_semaphore<MOST_WATCHING>;

    struct disk {
        CDiskThreads objThreads;
        std::shared_ptr<Room> pRoom = std::make_shared<Room>(MOST_WATCHING);  ///< for who watches
    };
    const std::vector<std::string> m_vDirs;
    std::map<std::string, disk> m_mDisks;
    std::set<std::string> m_setMounted;  ///< those on a disk of their own
};

template <typename Function>
auto CDisks::Ask(std::vector<std::string>& vDirs, const Function& fnAsk) const {
    using Result = std::invoke_result_t<Function, const std::string&>;
    std::vector<std::pair<CDiskThreads::Thread, std::future<Result>>> vAsked;
    for (const std::string& strDir : vDirs) {
        const auto pTask =
            std::make_shared<std::packaged_task<Result()>>([=] { return fnAsk(strDir); });
        auto objResult = pTask->get_future();
        vAsked.emplace_back(m_mDisks.at(strDir).objThreads.Start([=] { (*pTask)(); }),
                            std::move(objResult));
    }
    std::vector<Result> vResults;
    std::vector<std::string> vAnswered;
    for (std::size_t n = 0; n < vAsked.size(); ++n) {
        const CDiskThreads::Thread& pThread = vAsked[n].first;
        std::future<Result>& objResult = vAsked[n].second;
        const auto IsReadyIn = [&](std::int64_t nMilliseconds) {
            return objResult.wait_for(std::chrono::milliseconds(nMilliseconds)) ==
                   std::future_status::ready;
        };
        const auto SilenceNow = [&] { return pThread->Silence(); };
        if (!pThread || !OSL_AwaitUnlessSilent(CDiskThreads::PATIENCE, SilenceNow, IsReadyIn)) {
            continue;
        }
        try {
            vResults.push_back(objResult.get());
            vAnswered.push_back(vDirs[n]);
        } catch (const std::system_error&) {
            // It cannot be read.
        }
    }
    vDirs = std::move(vAnswered);
    return vResults;
}

#endif  // LOCALSTORAGE_TOOL_SERVE_DISKS_H
