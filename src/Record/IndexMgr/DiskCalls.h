// The threads of one record directory's disk, on which calls are made that nobody may wait for
// without a limit: a disk that hangs holds up these threads and whoever waits for them, who may
// give up.
//
// There are two lanes, each a thread that runs its jobs one after the other. What clean-ups do has
// a lane of its own, so that the disk is asked, and files are opened on it, while many files go.
//
// A disk hangs when a call to it does not come back. So what is limited is not how long a job
// takes, which on a good disk may be long, but the lane's silence: how long it has been inside one
// call.

#ifndef LOCALSTORAGE_INDEXMGR_DISKCALLS_H
#define LOCALSTORAGE_INDEXMGR_DISKCALLS_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <list>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "Osl/OslMutex.h"
#include "Osl/OslWatchedThread.h"

/// After so many milliseconds of silence a disk counts as full, and whoever can go elsewhere does.
constexpr std::int64_t DISK_PATIENCE = 5000;
/// After so many nobody waits for it any more: a start or an end goes on within ten seconds.
constexpr std::int64_t LAST_PATIENCE = 9700;
/// So long a host waits that has other cameras to feed: also for a lane that is not silent, but has
/// been at one job for so long.
constexpr std::int64_t SWITCH_PATIENCE = 30;
/// For a disk that nobody waits for any more: time for a thread to see that it is to end.
constexpr std::int64_t NO_PATIENCE = 100;

enum class DiskLane { Use, CleanUp };

/// Any thread, but for Start, Stop and Wait, which one thread calls.
class CDiskCalls {
public:
    CDiskCalls();
    /// Stops, and waits for the jobs under way unless Wait left them behind.
    ~CDiskCalls();
    CDiskCalls(const CDiskCalls&) = delete;
    CDiskCalls& operator=(const CDiskCalls&) = delete;

    /// False: no thread.
    bool Start();
    /// No further job runs than those under way; the others are dropped.
    void Stop();
    /// Until Stop; false where Start failed.
    bool IsRunning() const { return !m_use.m_pQueue->IsStopped(); }
    /// Waits, after Stop, for the jobs under way. False: they are left behind, after so many
    /// milliseconds of silence.
    bool Wait(std::int64_t nPatience);

    /// Runs a job on a lane. What it uses it must own, since it may end after everything else; what
    /// it throws comes out of the future. A future that nobody waits for may be dropped. After Stop
    /// there is none. Throws std::bad_alloc.
    template <typename Job>
    auto Post(DiskLane eLane, Job job) {
        using Result = std::invoke_result_t<Job&>;
        auto pTask = std::make_shared<std::packaged_task<Result()>>(std::move(job));
        std::future<Result> future = pTask->get_future();
        const bool bTaken = Of(eLane).m_pQueue->Put([pTask] { (*pTask)(); });
        return bTaken ? std::move(future) : std::future<Result>();
    }
    /// Waits for a job of this lane. False: the lane has been silent for so many milliseconds, or
    /// there is no job.
    template <typename Result>
    bool Await(DiskLane eLane, const std::future<Result>& future, std::int64_t nPatience) const {
        const auto IsReadyIn = [&future](std::int64_t nMilliseconds) {
            return future.wait_for(std::chrono::milliseconds(nMilliseconds)) ==
                   std::future_status::ready;
        };
        return future.valid() &&
               OSL_AwaitUnlessSilent(
                   nPatience, [=, this] { return Delay(eLane, nPatience); }, IsReadyIn);
    }
    /// Waits until a lane has nothing to do, as one without a thread has. False: it has been silent
    /// for so many milliseconds. Allocates nothing.
    bool AwaitIdle(DiskLane eLane, std::int64_t nPatience);
    /// Both; what the job returns, nothing when it was not waited for to its end. A silent lane
    /// gets no job.
    template <typename Job>
    auto Run(DiskLane eLane, Job job, std::int64_t nPatience = DISK_PATIENCE) {
        std::optional<std::invoke_result_t<Job&>> result;
        if (IsTooLong(eLane, nPatience)) return result;
        auto future = Post(eLane, std::move(job));
        if (Await(eLane, future, nPatience)) result = future.get();
        return result;
    }

    /// Milliseconds for which the lane has been inside one call; 0 while it has nothing to do. A
    /// clean-up is held up by a disk that does not answer otherwise, so for its lane that counts.
    std::int64_t Silence(DiskLane eLane) const;
    /// Of the disk, whatever it was asked.
    std::int64_t Silence() const { return Silence(DiskLane::CleanUp); }
    /// Whether the lane gives no answer now to who has so much patience.
    bool IsTooLong(DiskLane eLane, std::int64_t nPatience) const {
        return Delay(eLane, nPatience) >= nPatience;
    }

private:
    friend class CDiskTurn;

    using Call = std::function<void()>;

    /// What of the patience is used up.
    std::int64_t Delay(DiskLane eLane, std::int64_t nPatience) const {
        return nPatience > SWITCH_PATIENCE ? Silence(eLane) : Of(eLane).m_pQueue->AtOneCall();
    }

    // The lane's thread shares it.
    class CQueue {
    public:
        void Start();
        bool Put(Call call);
        void RunAll();
        void Stop();
        bool IsStopped();
        /// False: not within so many milliseconds.
        bool AwaitIdle(std::int64_t nMilliseconds);
        /// Milliseconds that the job in hand has taken so far; 0 when there is none.
        std::int64_t AtOneCall();

    private:
        using Clock = std::chrono::steady_clock;

        Call Take();

        OSL_Mutex m_mtx{OSL_LockRank::DiskCalls, "disk calls"};
        std::condition_variable_any m_changed, m_idle;
        std::list<Call> m_lsCalls OSL_GUARDED_BY(m_mtx);
        bool m_bStop OSL_GUARDED_BY(m_mtx) = true;
        bool m_bBusy OSL_GUARDED_BY(m_mtx) = false;
        Clock::time_point m_busySince OSL_GUARDED_BY(m_mtx);
    };
    struct CLane {
        const std::shared_ptr<CQueue> m_pQueue = std::make_shared<CQueue>();
        OSL_WatchedThread m_thread;

        bool StartThread();
    };

    CLane& Of(DiskLane eLane) { return eLane == DiskLane::Use ? m_use : m_cleanUp; }
    const CLane& Of(DiskLane eLane) const { return eLane == DiskLane::Use ? m_use : m_cleanUp; }

    CLane m_use, m_cleanUp;

    OSL_Mutex m_mtx{OSL_LockRank::DiskCalls, "turn of a disk"};
    std::condition_variable_any m_given;
    bool m_bTaken OSL_GUARDED_BY(m_mtx) = false;
};

/// The lock of one disk: who opens a file on it, from the choice of its name to its entry in the
/// index, and who deletes from it, have it for that time. No lock but DeletionPass is held when it
/// is taken, and that is not taken while it is held.
class CDiskTurn {
public:
    /// Waits for it, until the disk has been silent for so many milliseconds.
    CDiskTurn(CDiskCalls& calls, std::int64_t nPatience = DISK_PATIENCE);
    ~CDiskTurn();
    CDiskTurn(const CDiskTurn&) = delete;
    CDiskTurn& operator=(const CDiskTurn&) = delete;

    explicit operator bool() const { return m_bHeld; }

private:
    CDiskCalls& m_calls;
    bool m_bHeld = false;
};

#endif  // LOCALSTORAGE_INDEXMGR_DISKCALLS_H
