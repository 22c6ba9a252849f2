// How this room writes to the log.

#ifndef LOCALSTORAGE_INDEXMGR_INDEXLOG_H
#define LOCALSTORAGE_INDEXMGR_INDEXLOG_H

#include "localstorage/LocalStorageLog.h"

/// The source position of this room's log calls: WriteLog(LOG_LEVEL_DBG, INDEX_LOG_SOURCE,
/// __LINE__, ...).
inline constexpr char INDEX_LOG_SOURCE[] = "../../../src/Record/IndexMgr";

#endif  // LOCALSTORAGE_INDEXMGR_INDEXLOG_H
