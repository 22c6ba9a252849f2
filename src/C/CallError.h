// Why a call to the engine failed, as the C interface tells it.

#ifndef LOCALSTORAGE_C_CALLERROR_H
#define LOCALSTORAGE_C_CALLERROR_H

#include "LocalStorage/CallFailure.h"
#include "localstorage/localstorage.h"

/// Of the calling thread's failed call; `eRefused` where it was not let in. The system's reason
/// goes to `pSystemError`, which may be null.
ls_error CallError(ls_error eRefused, int* pSystemError);

/// Before the call.
inline void ForgetCallError() {
    t_stCallFailure = {};
}

#endif  // LOCALSTORAGE_C_CALLERROR_H
