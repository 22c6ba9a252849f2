#include "LocalStorage/LogOwner.h"

#include "Osl/Osl.h"
#include "localstorage/LocalStorageLog.h"

CLogService g_objLogService;

CLogService::CLogService() {
    OSL_Init();
    StartLogService();
    EnableTarget(LOG_TARGET_FILE, nullptr, 0, 1);
}

void CLogService::StopLog() {
    StopLogService(false);
    OSL_Fini();
}
