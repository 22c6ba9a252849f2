// Memory that runs out where a test wants it. A program that uses CAllocationFault compiles
// Support/AllocationFault.cpp, too.

#ifndef LOCALSTORAGE_TESTS_SUPPORT_ALLOCATIONFAULT_H
#define LOCALSTORAGE_TESTS_SUPPORT_ALLOCATIONFAULT_H

/// A thread's allocations do not count while one of these lives on it: those of a test beside those
/// of what it tests.
class CUncounted {
public:
    CUncounted() { ++s_nAlive; }
    ~CUncounted() { --s_nAlive; }
    CUncounted(const CUncounted&) = delete;
    CUncounted& operator=(const CUncounted&) = delete;

    static bool IsAlive() { return s_nAlive > 0; }

private:
    static inline thread_local int s_nAlive = 0;
};

/// Of the process's allocations by operator new that count, fails the n-th (from 1) while it lives,
/// or that and all later ones. In the end `bFailed` tells whether there was one.
class CAllocationFault {
public:
    CAllocationFault(int n, bool& bFailed, bool bForEver = false);
    ~CAllocationFault();
    CAllocationFault(const CAllocationFault&) = delete;
    CAllocationFault& operator=(const CAllocationFault&) = delete;

private:
    bool& m_bFailed;
};

#endif  // LOCALSTORAGE_TESTS_SUPPORT_ALLOCATIONFAULT_H
