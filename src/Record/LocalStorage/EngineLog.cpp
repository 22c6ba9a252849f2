#include "LocalStorage/EngineLog.h"

#include "LocalStorage/CallFailure.h"

bool Refuse(const char* pFormat, ...) {
    va_list args;
    va_start(args, pFormat);
    LogTextV(pFormat, args);
    va_end(args);
    return false;
}

bool OutOfMemory(const char* pMethod) noexcept {
    t_stCallFailure = {STORAGE_ERROR_NO_MEMORY, 0};
    LogText("[wtb][CLocalStorage::%s] out of memory", pMethod);
    return false;
}

void LogFailedWrite(const char* pMethod, const std::string& strCameraID, const char* pBuf,
                    std::size_t nSize, int nError) {
    LogText(
        "[wtb][CLocalStorage::%s] OSL_WriteFile fail, strCameraID [%s], pBuf [%p], nSize [%d], "
        "iErr [%d]",
        pMethod, strCameraID.c_str(), static_cast<const void*>(pBuf), static_cast<int>(nSize),
        nError);
}
