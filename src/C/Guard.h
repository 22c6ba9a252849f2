// The edge of the C interface: no exception leaves it.

#ifndef LOCALSTORAGE_C_GUARD_H
#define LOCALSTORAGE_C_GUARD_H

#include <new>
#include <system_error>

#include "localstorage/localstorage.h"

/// What `fnWork` returns, or what it threw.
template <typename Work>
ls_error Guarded(int* pSystemError, const Work& fnWork) noexcept {
    if (pSystemError) *pSystemError = 0;
    try {
        return fnWork();
    } catch (const std::bad_alloc&) {
        return LS_ERROR_NO_MEMORY;
    } catch (const std::system_error& error) {  // of a directory that cannot be read
        if (pSystemError) *pSystemError = error.code().value();
        return LS_ERROR_DIRECTORY;
    } catch (...) {
        return LS_ERROR_INTERNAL;
    }
}

#endif  // LOCALSTORAGE_C_GUARD_H
