// In place of the log room: keeps the newest lines, in memory of its own, since tests count
// allocations.

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "LocalStorage/EngineTest.h"
#include "Log/LogText.h"

static constexpr std::size_t MAX_LINES = 1 << 11;
static constinit std::mutex g_mtx;
static std::size_t g_nLines;
static char g_szLines[MAX_LINES][1024];

std::size_t LinesWith(const std::string& strPart) {
    const std::lock_guard<std::mutex> guard(g_mtx);
    return static_cast<std::size_t>(std::count_if(
        g_szLines, g_szLines + std::min(g_nLines, MAX_LINES),
        [&](const char* pLine) { return std::string(pLine).find(strPart) != std::string::npos; }));
}

void ForgetLines() {
    const std::lock_guard<std::mutex> guard(g_mtx);
    g_nLines = 0;
}

void LogTextV(const char* pFormat, std::va_list args) {
    const std::lock_guard<std::mutex> guard(g_mtx);
    std::vsnprintf(g_szLines[g_nLines++ % MAX_LINES], sizeof(g_szLines[0]), pFormat, args);
}

void LogText(const char* pFormat, ...) {
    std::va_list args;
    va_start(args, pFormat);
    LogTextV(pFormat, args);
    va_end(args);
}

int EnableTarget(log_services, const void*, std::uint32_t, std::uint32_t) {
    return LOG_OK;
}

int StartLogService() {
    return LOG_OK;
}

int StopLogService(bool) {
    LogText("log stopped");
    return LOG_OK;
}
