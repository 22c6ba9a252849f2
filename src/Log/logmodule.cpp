// The exported calls of the log.

#include <cerrno>
#include <cstdarg>
#include <new>

#include "Log/LogLine.h"
#include "Log/LogService.h"
#include "Log/LogText.h"

namespace {

/// Stops the service for good when the process ends or the library is unloaded.
struct StopAtExit {
    LogService& m_service;

    ~StopAtExit() {
        m_service.SetCleanTag(true);
        m_service.ServiceStop();
        m_service.SwitchFileService(false, nullptr, 0, false);
    }
};

/// Turns a target on or off; LOG_ERR_PARAM when there is no such target.
int SwitchTarget(log_services eTarget, bool bOn, const void* pParam, std::uint32_t nSize,
                 bool bCycle) {
    LogService& service = *GetLogService();
    switch (eTarget) {
        case LOG_TARGET_CONSOLE:
            service.SwitchConsoleService(bOn);
            return LOG_OK;
        case LOG_TARGET_DEBUG:
            service.SwitchDebugService(bOn);
            return LOG_OK;
        case LOG_TARGET_FILE:
            return service.SwitchFileService(bOn, static_cast<const char*>(pParam), nSize, bCycle);
    }
    return LOG_ERR_PARAM;
}

int QueueLine(log_level eLevel, const char* pFormat, va_list args) {
    LogService& service = *GetLogService();
    if (NearestLevel(eLevel) > service.GetLogLevel()) return LOG_ERR_LEVEL;
    if (!service.IsThereAnyDeviceEnabled()) return LOG_ERR_NO_TARGET;
    if (!service.IsServerStarted()) {
        const int nResult = service.ServiceStart();
        if (nResult != LOG_OK) return nResult;
    }
    char szLine[LOG_LINE_SIZE];  // not cleared: that would cost more than the line
    const int nLen = FormatLine(szLine, eLevel, pFormat, args);
    if (nLen < 0) return LOG_ERR_FORMAT;
    return service.PushData(szLine, static_cast<std::size_t>(nLen));
}

/// A caller may log first and ask for the error afterwards.
int WriteLine(log_level eLevel, const char* pFormat, va_list args) {
    const int nError = errno;
    const int nResult = QueueLine(eLevel, pFormat, args);
    errno = nError;
    return nResult;
}

}  // namespace

LogService* GetLogService() {
    // Deliberate: stopped at exit but never destroyed, since static objects may log later still.
    alignas(LogService) static unsigned char s_aMemory[sizeof(LogService)];
    static LogService* const s_pService = new (s_aMemory) LogService;
    static const StopAtExit s_stop{*s_pService};
    return s_pService;
}

int WriteLog(log_level eLevel, const char* pFile, int /*nLine*/, const char* pFormat, ...) {
    if (!pFile || !pFormat) return LOG_ERR_PARAM;
    va_list args;
    va_start(args, pFormat);
    const int nResult = WriteLine(eLevel, pFormat, args);
    va_end(args);
    return nResult;
}

void LogText(const char* pFormat, ...) {
    va_list args;
    va_start(args, pFormat);
    LogTextV(pFormat, args);
    va_end(args);
}

void LogTextV(const char* pFormat, va_list args) {
    WriteLine(LOG_LEVEL_DBG, pFormat, args);
}

int EnableTarget(log_services eTarget, const void* pParam, std::uint32_t nSize,
                 std::uint32_t nCycle) {
    return SwitchTarget(eTarget, true, pParam, nSize, nCycle != 0);
}

int DisableTarget(log_services eTarget) {
    if (eTarget < LOG_TARGET_CONSOLE || eTarget > LOG_TARGET_FILE) return LOG_ERR_PARAM;
    GetLogService()->FinishOutput();  // what is queued still reaches the target
    SwitchTarget(eTarget, false, nullptr, 0, false);
    return GetLogService()->IsThereAnyDeviceEnabled() ? LOG_OK : GetLogService()->ServiceStop();
}

int AdjustLogLevel(log_level eLevel) {
    GetLogService()->SetLogLevel(NearestLevel(eLevel));
    return LOG_OK;
}

int StartLogService() {
    GetLogService()->SetCleanTag(false);
    return LOG_OK;
}

int StopLogService(bool bClean) {
    GetLogService()->SetCleanTag(bClean);
    return GetLogService()->ServiceStop();
}
