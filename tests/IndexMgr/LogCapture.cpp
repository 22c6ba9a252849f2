// The log of these tests: this room's lines, kept instead of written.

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include "IndexMgr/Records.h"
#include "localstorage/LocalStorageLog.h"

namespace {
std::mutex s_mutex;
std::vector<std::string> s_vLines;
}  // namespace

extern "C" int WriteLog(log_level, const char*, int, const char* pFormat, ...) {
    char szLine[1024];
    va_list args;
    va_start(args, pFormat);
    std::vsnprintf(szLine, sizeof(szLine), pFormat, args);
    va_end(args);
    const std::lock_guard<std::mutex> guard(s_mutex);
    s_vLines.emplace_back(szLine);
    return LOG_OK;
}

std::vector<std::string> TakeLog() {
    const std::lock_guard<std::mutex> guard(s_mutex);
    return std::exchange(s_vLines, {});
}
