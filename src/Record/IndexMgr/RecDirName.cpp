#include "IndexMgr/RecDirName.h"

#include "RecordTree/Names.h"
#include "localstorage/LocalStorage.h"

const char* g_pRecDirName = RECORD_FOLDER;

const char* RecDirName() {
    return __atomic_load_n(&g_pRecDirName, __ATOMIC_ACQUIRE);
}

void SetRecDirName(const char* pName) {
    __atomic_store_n(&g_pRecDirName, pName, __ATOMIC_RELEASE);
}
