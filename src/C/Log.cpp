// The log, for hosts in C.

#include "localstorage/LocalStorageLog.h"
#include "localstorage/localstorage.h"

namespace {

ls_error ErrorOf(int nResult) {
    if (nResult == LOG_OK) return LS_OK;
    return nResult == LOG_ERR_PARAM ? LS_ERROR_ARGUMENT : LS_ERROR_LOG;
}

bool IsTarget(int nTarget) {
    return nTarget >= LS_LOG_STANDARD_OUTPUT && nTarget <= LS_LOG_FILES;
}

bool IsLevel(int nLevel) {
    return nLevel >= LS_LOG_NOTHING && nLevel <= LS_LOG_DEBUGGING;
}

}  // namespace

static_assert(static_cast<int>(LS_LOG_FILES) == LOG_TARGET_FILE &&
              static_cast<int>(LS_LOG_STANDARD_ERROR) == LOG_TARGET_DEBUG &&
              static_cast<int>(LS_LOG_ERRORS) == LOG_LEVEL_ERR &&
              static_cast<int>(LS_LOG_DEBUGGING) == LOG_LEVEL_DBG);

ls_error ls_log_to_files(const char* directory, uint32_t file_size, bool two_in_turn) {
    return ErrorOf(EnableTarget(LOG_TARGET_FILE, directory, file_size, two_in_turn));
}

ls_error ls_log_to_stream(int stream) {
    if (!IsTarget(stream) || stream == LS_LOG_FILES) return LS_ERROR_ARGUMENT;
    return ErrorOf(EnableTarget(static_cast<log_services>(stream), nullptr, 0, 0));
}

ls_error ls_log_off(int target) {
    if (!IsTarget(target)) return LS_ERROR_ARGUMENT;
    return ErrorOf(DisableTarget(static_cast<log_services>(target)));
}

ls_error ls_log_limit(int level) {
    if (!IsLevel(level)) return LS_ERROR_ARGUMENT;
    return ErrorOf(AdjustLogLevel(static_cast<log_level>(level)));
}

ls_error ls_log_write(int level, const char* text) {
    if (!text || !IsLevel(level) || level == LS_LOG_NOTHING) return LS_ERROR_ARGUMENT;
    return ErrorOf(WriteLog(static_cast<log_level>(level), "", 0, "%s", text));
}
