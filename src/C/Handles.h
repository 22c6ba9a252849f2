// What the opaque types of the C interface are.

#ifndef LOCALSTORAGE_C_HANDLES_H
#define LOCALSTORAGE_C_HANDLES_H

#include <list>
#include <string>
#include <vector>

#include "LocalStorage/Engine.h"
#include "Osl/OslMutex.h"
#include "localstorage/localstorage.h"

/// A channel keeps what identifies it, so it is found whatever the host does with its own times.
struct ls_channel {
    ls_engine& stEngine;
    std::string strCamera;
    recFileInfo stFile;
    CLocalStorage::ChannelEntry* pEntry = nullptr;
};

struct ls_engine {
    CLocalStorage objStorage;
    std::vector<std::string> vDirs;
    bool bClientLayout = false;
    bool bAnalyse = false;
    ls_event_callback pfnOnEvent = nullptr;
    void* pUser = nullptr;

    OSL_Mutex mtx{OSL_LockRank::Handles, "handles"};
    std::list<ls_channel> lsChannels OSL_GUARDED_BY(mtx);
};

#endif  // LOCALSTORAGE_C_HANDLES_H
