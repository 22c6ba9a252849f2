// What a host may set for the whole process before it initialises an engine.

#ifndef LOCALSTORAGE_RECORD_STORAGEOPTIONS_H
#define LOCALSTORAGE_RECORD_STORAGEOPTIONS_H

#include "localstorage/LocalStorage.h"

/// The value of an option: what SetStorageOption took last, or its default. Any thread.
int GetStorageOption(StorageOption eOption);

#endif  // LOCALSTORAGE_RECORD_STORAGEOPTIONS_H
