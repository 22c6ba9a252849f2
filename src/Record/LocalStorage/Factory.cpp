// The two exported functions that make and destroy engines.

#include <new>

#include "LocalStorage/Engine.h"
#include "LocalStorage/LogOwner.h"
#include "Log/LogText.h"

namespace {

CLocalStorageInterface* NewEngine() noexcept {
    try {
        return new (std::nothrow) CLocalStorage;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

std::int32_t NewLocalStorageClass(CLocalStorageInterface** ppLocalStorage) {
    if (!ppLocalStorage) {
        LogText("[wtb][NewLocalStorageClass] return false, NULL == ppLocalStorage");
        return 0;
    }
    *ppLocalStorage = NewEngine();
    if (!*ppLocalStorage) {
        LogText("[wtb][NewLocalStorageClass] return false, NULL == *ppLocalStorage");
        return 0;
    }
    LogText("[wtb][NewLocalStorageClass] return true");
    return 1;
}

std::int32_t DelLocalStorageClass(CLocalStorageInterface** ppLocalStorage) {
    if (!ppLocalStorage) {
        LogText("[wtb][DelLocalStorageClass] return false, NULL == ppLocalStorage");
        return 0;
    }
    if (!*ppLocalStorage) {
        LogText("[wtb][DelLocalStorageClass] return false, NULL == *ppLocalStorage");
        g_objLogService.StopLog();
        return 0;
    }
    (*ppLocalStorage)->Release();
    delete *ppLocalStorage;  // Deliberate: the caller's pointer keeps its value
    LogText("[wtb][DelLocalStorageClass] return true");
    g_objLogService.StopLog();
    return 1;
}
