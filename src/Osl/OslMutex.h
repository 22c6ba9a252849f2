// Recursive mutexes that know their rank, and the scoped lock on them.
//
// A thread takes mutexes in ascending rank. Debug builds check this and abort, naming the mutex
// held and the mutex wanted; taking a mutex again that the thread holds is always in order.

#ifndef LOCALSTORAGE_OSL_OSLMUTEX_H
#define LOCALSTORAGE_OSL_OSLMUTEX_H

#include "Osl/ThreadSafety.h"

/// The order of every lock in the library, first taken first.
enum class OSL_LockRank : int {
    DiskCheck,
    ChannelMap,
    Callback,
    CurrentDirectory,
    LastError,
    Index,
    LogService,
    LogFile,
    LogQueue
};

using OSL_MutexHandle = struct OSL_RawMutex*;

/// A recursive mutex; null when there is no memory. `pName` must outlive it.
OSL_MutexHandle OSL_MutexCreate(OSL_LockRank eRank, const char* pName);
void OSL_MutexLock(OSL_MutexHandle hMutex);
void OSL_MutexUnlock(OSL_MutexHandle hMutex);
void OSL_MutexDestroy(OSL_MutexHandle hMutex);

class OSL_CAPABILITY("mutex") OSL_Mutex {
public:
    OSL_Mutex(OSL_LockRank eRank, const char* pName);
    ~OSL_Mutex();
    OSL_Mutex(const OSL_Mutex&) = delete;
    OSL_Mutex& operator=(const OSL_Mutex&) = delete;

    void Lock() OSL_ACQUIRE();
    void Unlock() OSL_RELEASE();

private:
    OSL_MutexHandle m_hMutex;
};

class OSL_SCOPED_CAPABILITY OSL_Guard {
public:
    explicit OSL_Guard(OSL_Mutex& mutex) OSL_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.Lock(); }
    ~OSL_Guard() OSL_RELEASE() { m_mutex.Unlock(); }
    OSL_Guard(const OSL_Guard&) = delete;
    OSL_Guard& operator=(const OSL_Guard&) = delete;

private:
    OSL_Mutex& m_mutex;
};

#endif  // LOCALSTORAGE_OSL_OSLMUTEX_H
