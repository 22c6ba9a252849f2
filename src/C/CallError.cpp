#include "C/CallError.h"

ls_error CallError(ls_error eRefused, int* pSystemError) {
    const callFailure st = t_stCallFailure;
    if (pSystemError) *pSystemError = st.nSystemError;
    switch (st.nCode) {
        case STORAGE_ERROR_NONE:
        case STORAGE_ERROR_PARAM:
            return eRefused;
        case STORAGE_ERROR_NO_MEMORY:
            return LS_ERROR_NO_MEMORY;
        case STORAGE_ERROR_INDEX:
        case STORAGE_ERROR_INDEX_REPAIR:
        case CALL_FAILED_DISK:
            return LS_ERROR_DIRECTORY;
        case STORAGE_ERROR_THREAD:
            return LS_ERROR_THREAD;
        case STORAGE_ERROR_DISK_FULL:
            return LS_ERROR_DISK_FULL;
        case STORAGE_ERROR_CHANNEL_OPEN:
            return LS_ERROR_CHANNEL_OPEN;
        case STORAGE_ERROR_OPEN_FILE:
            return LS_ERROR_FILE;
        case CALL_FAILED_WRITE:
            return LS_ERROR_WRITE;
        default:
            return LS_ERROR_INTERNAL;
    }
}
