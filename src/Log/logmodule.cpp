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
        if (OSL_IsForked()) return;  // the writer is not here, and its locks may be held for good
        m_service.SetCleanTag(true);
        m_service.ServiceStop();
    }
};

/// What a call does to the service; a forked process has none.
template <typename Call>
int OnService(Call call) {
    return OSL_IsForked() ? LOG_ERR_NOT_STARTED : call(*GetLogService());
}

int QueueLine(LogService& service, log_level eLevel, const char* pFormat, va_list args) {
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
    const int nResult =
        OnService([&](LogService& service) { return QueueLine(service, eLevel, pFormat, args); });
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
    return OnService([=](LogService& service) {
        return service.EnableTarget(eTarget, static_cast<const char*>(pParam), nSize, nCycle != 0);
    });
}

int DisableTarget(log_services eTarget) {
    if (eTarget < LOG_TARGET_CONSOLE || eTarget > LOG_TARGET_FILE) return LOG_ERR_PARAM;
    return OnService([=](LogService& service) { return service.DisableTarget(eTarget); });
}

int AdjustLogLevel(log_level eLevel) {
    return OnService([=](LogService& service) {
        service.SetLogLevel(NearestLevel(eLevel));
        return LOG_OK;
    });
}

int StartLogService() {
    return OnService([](LogService& service) {
        service.SetCleanTag(false);
        return LOG_OK;
    });
}

int StopLogService(bool bClean) {
    return OnService([=](LogService& service) {
        service.SetCleanTag(bClean);
        return service.ServiceStop();
    });
}
