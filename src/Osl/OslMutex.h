// Recursive mutexes that know their rank, and the scoped lock on them.
//
// A thread takes mutexes in strictly ascending rank. Debug builds check this and abort, naming the
// mutex held and the mutex wanted; taking a mutex again that the thread holds is always in order.
// In release builds a mutex costs what a plain recursive mutex costs.

#ifndef LOCALSTORAGE_OSL_OSLMUTEX_H
#define LOCALSTORAGE_OSL_OSLMUTEX_H

#include <mutex>

#include "Osl/ThreadSafety.h"

/// The order of every lock in the library, first taken first.
enum class OSL_LockRank : int {
    Handles,
    DeletionPass,
    DiskCheck,
    ChannelMap,
    RecordFiles,
    DiskSync,
    Callback,
    CurrentDirectory,
    LastError,
    IndexMarker,
    Index,
    RecordDir,
    DiskAnswer,
    DiskCalls,
    LogService,
    LogFile,
    LogQueue
};

class OSL_CAPABILITY("mutex") OSL_Mutex {
public:
    /// `pName` must outlive the mutex.
    OSL_Mutex(OSL_LockRank eRank, const char* pName) : m_eRank(eRank), m_pName(pName) {}
    OSL_Mutex(const OSL_Mutex&) = delete;
    OSL_Mutex& operator=(const OSL_Mutex&) = delete;

    void Lock() OSL_ACQUIRE();
    void Unlock() OSL_RELEASE();

private:
    friend class OSL_HeldLocks;

    void LockContended();

    std::recursive_mutex m_mtx;
    [[maybe_unused]] const OSL_LockRank m_eRank;  // read in debug builds only, like the name
    [[maybe_unused]] const char* const m_pName;
};

/// Holds a mutex while it lives.
class OSL_SCOPED_CAPABILITY OSL_Guard {
public:
    explicit OSL_Guard(OSL_Mutex& mutex) OSL_ACQUIRE(mutex) : m_mtx(mutex) { m_mtx.Lock(); }
    ~OSL_Guard() OSL_RELEASE() { m_mtx.Unlock(); }
    OSL_Guard(const OSL_Guard&) = delete;
    OSL_Guard& operator=(const OSL_Guard&) = delete;

private:
    OSL_Mutex& m_mtx;
};

/// What a condition variable needs of a mutex that the caller holds.
struct OSL_WaitLock {
    OSL_Mutex& m_mtx;
    void lock() OSL_NO_THREAD_SAFETY_ANALYSIS { m_mtx.Lock(); }
    void unlock() OSL_NO_THREAD_SAFETY_ANALYSIS { m_mtx.Unlock(); }
};

/// What the calling thread holds; only debug builds keep count.
class OSL_HeldLocks {
public:
#ifdef NDEBUG
    static void Add(const OSL_Mutex&) {}
    static void Remove(const OSL_Mutex&) {}
#else
    /// Aborts when the mutex is out of order.
    static void Add(const OSL_Mutex& mutex);
    static void Remove(const OSL_Mutex& mutex);
#endif
};

inline void OSL_Mutex::Lock() OSL_NO_THREAD_SAFETY_ANALYSIS {
    OSL_HeldLocks::Add(*this);
    if (!m_mtx.try_lock()) LockContended();
}

inline void OSL_Mutex::Unlock() OSL_NO_THREAD_SAFETY_ANALYSIS {
    OSL_HeldLocks::Remove(*this);
    m_mtx.unlock();
}

#endif  // LOCALSTORAGE_OSL_OSLMUTEX_H
