// Memory that runs out where a test wants it. A program that includes this compiles
// Support/AllocationFault.cpp, too.

#ifndef LOCALSTORAGE_TESTS_SUPPORT_ALLOCATIONFAULT_H
#define LOCALSTORAGE_TESTS_SUPPORT_ALLOCATIONFAULT_H

/// Of this thread's allocations by operator new, counted from 1, fails the n-th while it lives. In
/// the end `bFailed` tells whether there was one.
class CAllocationFault {
public:
    CAllocationFault(int n, bool& bFailed);
    ~CAllocationFault();
    CAllocationFault(const CAllocationFault&) = delete;
    CAllocationFault& operator=(const CAllocationFault&) = delete;

private:
    bool& m_bFailed;
};

#endif  // LOCALSTORAGE_TESTS_SUPPORT_ALLOCATIONFAULT_H
