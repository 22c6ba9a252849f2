#include "Support/AllocationFault.h"

#include <cstdlib>
#include <new>

static thread_local int s_nToGo = 0;  // allocations until one fails; 0: none does

CAllocationFault::CAllocationFault(int n, bool& bFailed) : m_bFailed(bFailed) {
    s_nToGo = n;
}

CAllocationFault::~CAllocationFault() {
    m_bFailed = s_nToGo == 0;
    s_nToGo = 0;
}

void* operator new(std::size_t nSize, const std::nothrow_t&) noexcept {
    return s_nToGo > 0 && --s_nToGo == 0 ? nullptr : std::malloc(nSize > 0 ? nSize : 1);
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
