// What went wrong, in words, and which library it is.

#include "localstorage/localstorage.h"

const char* ls_error_text(int error) {
    switch (error) {
        case LS_OK:
            return "no error";
        case LS_ERROR_ARGUMENT:
            return "an argument is missing or out of its bounds";
        case LS_ERROR_TIME:
            return "a time is in no calendar, or an end lies before its begin";
        case LS_ERROR_CAMERA:
            return "the camera identifier is refused";
        case LS_ERROR_NO_MEMORY:
            return "no memory";
        case LS_ERROR_THREAD:
            return "no thread could be started";
        case LS_ERROR_DIRECTORY:
            return "a record directory cannot be used";
        case LS_ERROR_IN_USE:
            return "another engine has a record directory";
        case LS_ERROR_DISK_FULL:
            return "no disk has room";
        case LS_ERROR_FILE:
            return "the file could not be opened";
        case LS_ERROR_WRITE:
            return "not all of it was written";
        case LS_ERROR_STREAM:
            return "the analyser does not take the data";
        case LS_ERROR_CHANNEL_OPEN:
            return "the channel is open already";
        case LS_ERROR_NO_CHANNEL:
            return "no such channel is open";
        case LS_ERROR_TIMES_CHANGED:
            return "the camera's channel is open for another recording";
        case LS_ERROR_LOG:
            return "the log takes no line";
        case LS_ERROR_INTERNAL:
            return "a mistake of the library";
        default:
            return "unknown error";
    }
}

const char* ls_version() {
    return LOCALSTORAGE_VERSION;
}
