#include "Log/LogService.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "Log/LogLine.h"

namespace {

constexpr std::size_t WRITER_STACK = 131072;
constexpr std::uint32_t NAP_MS = 1;

void OutputToConsole(const LogLines& stLines) {
    std::fwrite(stLines.m_pText, 1, stLines.Bytes(), stdout);
    std::fflush(stdout);
}

void OutputToDebug(LogLines stLines) {
    char szLine[LOG_LINE_SIZE];
    for (; !stLines.m_vecLen.empty(); stLines = stLines.Behind(1)) {
        const std::size_t nLen = std::min<std::size_t>(stLines.m_vecLen[0], sizeof(szLine) - 1);
        std::memcpy(szLine, stLines.m_pText, nLen);
        szLine[nLen] = '\0';
        OSL_OutputDebugString(szLine);
    }
}

}  // namespace

int LogService::ServiceStart() {
    const OSL_Guard guard(m_mtxService);
    if (m_bStarted) return LOG_OK;
    if (m_bCleanTag) return LOG_ERR_NOT_STARTED;
    if (!OpenQueue() || !StartWriter()) {
        CloseQueue();
        return LOG_ERR_START;
    }
    m_bStarted = true;
    return LOG_OK;
}

int LogService::ServiceStop() {
    const OSL_Guard guard(m_mtxService);
    if (!m_bStarted) return LOG_OK;
    StopWriter(false);
    CloseQueue();
    return SwitchFileService(false, nullptr, 0, false);
}

void LogService::FinishOutput() {
    const OSL_Guard guard(m_mtxService);
    if (!m_bStarted) return;
    StopWriter(true);
    if (StartWriter()) return;
    m_bStarted = false;
    CloseQueue();
}

bool LogService::OpenQueue() {
    const OSL_Guard guard(m_mtxQueue);
    m_nPushed = m_nOutput = 0;
    m_hWake = OSL_CreateEvent(0);
    return m_hWake && m_ring.Create();
}

void LogService::CloseQueue() {
    const OSL_Guard guard(m_mtxQueue);
    m_ring.Destroy();
    OSL_CloseEvent(m_hWake);
    m_hWake = nullptr;
}

bool LogService::StartWriter() {
    {
        const OSL_Guard guard(m_mtxQueue);
        m_bAsleep = false;
        m_nStopAt = NEVER;
    }
    m_hThread = OSL_Thread_Create(WriteLogProc, this, WRITER_STACK, 0, 0, nullptr);
    return m_hThread != nullptr;
}

/// Ends the writer when it has output all lines there are by now. Those that come later wait in the
/// queue for the next writer, or are refused.
void LogService::StopWriter(bool bTakeMore) {
    {
        const OSL_Guard guard(m_mtxQueue);
        m_bStarted = bTakeMore;
        m_nStopAt = m_nPushed;
        OSL_SetEvent(m_hWake);
    }
    OSL_Thread_Wait(m_hThread);
    m_hThread = nullptr;
}

void LogService::SwitchConsoleService(bool bOn) {
    m_bConsole = bOn;
}

void LogService::SwitchDebugService(bool bOn) {
    m_bDebug = bOn;
}

int LogService::SwitchFileService(bool bOn, const char* pDir, std::uint32_t nSize, bool bCycle) {
    const OSL_Guard guard(m_mtxFile);
    if (!bOn) {
        m_bFile = false;
        m_logFile.StopWriteFile();
        return LOG_OK;
    }
    const int nResult = m_logFile.StartWriteFile(pDir, nSize, bCycle);
    if (nResult == LOG_OK) m_bFile = true;
    return nResult;
}

int LogService::PushData(const char* pText, std::size_t nLen) {
    const OSL_Guard guard(m_mtxQueue);
    if (!m_bStarted) return LOG_ERR_NOT_STARTED;
    if (!m_ring.Push(pText, nLen)) return LOG_ERR_FULL;
    ++m_nPushed;
    if (m_bAsleep) {
        m_bAsleep = false;
        OSL_SetEvent(m_hWake);
    }
    return LOG_OK;
}

std::uint32_t LogService::WriteLogProc(void* pService) {
    auto* pThis = static_cast<LogService*>(pService);
    LogLines stLines;
    while (pThis->WaitForLines(stLines)) pThis->Output(stLines);
    return 0;
}

/// Waits for the next lines; false when the service stops and none are left.
bool LogService::WaitForLines(LogLines& stLines) {
    while (!TakeLines(stLines)) {
        if (!SleepUntilWoken()) return false;
        OSL_Sleep(NAP_MS);
    }
    return true;
}

/// Gives back the lines that have been output and takes those that have come since.
bool LogService::TakeLines(LogLines& stLines) {
    const OSL_Guard guard(m_mtxQueue);
    m_nOutput += stLines.m_vecLen.size();
    m_ring.GiveBack(stLines);
    stLines = m_nOutput < m_nStopAt ? m_ring.Oldest() : LogLines();
    return !stLines.m_vecLen.empty();
}

/// Sleeps until there is a line or a stop; false when all lines in front of a stop are output.
bool LogService::SleepUntilWoken() {
    {
        const OSL_Guard guard(m_mtxQueue);
        if (m_nOutput >= m_nStopAt) return false;
        if (m_nOutput < m_nPushed) return true;
        m_bAsleep = true;
        OSL_ResetEvent(m_hWake);
    }
    OSL_WaitForSingleObject(m_hWake, OSL_INFINITE);
    return true;
}

void LogService::Output(const LogLines& stLines) {
    if (m_bConsole) OutputToConsole(stLines);
    if (m_bDebug) OutputToDebug(stLines);
    const OSL_Guard guard(m_mtxFile);
    m_logFile.InputDataToFile(stLines);
}
