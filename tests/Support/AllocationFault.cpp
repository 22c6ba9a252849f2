#include "Support/AllocationFault.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include <climits>

static constinit std::atomic<int> s_nToGo{
    INT_MAX};  // allocations; the one that takes it to 0 fails
static constinit std::atomic<bool> s_bForEver{false};

CAllocationFault::CAllocationFault(int n, bool& bFailed, bool bForEver) : m_bFailed(bFailed) {
    s_bForEver = bForEver;
    s_nToGo = n;
}

CAllocationFault::~CAllocationFault() {
    m_bFailed = s_nToGo.exchange(INT_MAX) <= 0;
}

static bool Fails() {
    if (CUncounted::IsAlive() || s_nToGo == INT_MAX) return false;
    const int nLeft = --s_nToGo;
    return nLeft == 0 || (nLeft < 0 && s_bForEver);
}

void* operator new(std::size_t nSize, const std::nothrow_t&) noexcept {
    return Fails() ? nullptr : std::malloc(nSize > 0 ? nSize : 1);
}

void* operator new(std::size_t nSize) {
    if (void* pMemory = operator new(nSize, std::nothrow)) return pMemory;
    throw std::bad_alloc();
}

void operator delete(void* pMemory) noexcept {
    std::free(pMemory);
}

void operator delete(void* pMemory, std::size_t) noexcept {
    std::free(pMemory);
}

void operator delete(void* pMemory, const std::nothrow_t&) noexcept {
    std::free(pMemory);
}
