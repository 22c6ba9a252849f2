#include "Log/LogService.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "Log/LogLine.h"

namespace {

constexpr std::size_t WRITER_STACK = 131072;
constexpr std::uint32_t NAP_MS = 5;
constexpr std::size_t ANY_LINE = 1;
constexpr std::size_t FILLING_UP = CLineRing::CAPACITY / 4;

void OutputToConsole(const LogLines& stLines) {
    std::fwrite(stLines.m_pText, 1, stLines.Bytes(), stdout);
    std::fflush(stdout);
}

void OutputToDebug(LogLines stLines) {
    const bool bTimes = !OSL_IsDebugOutputJournal();
    char szLine[LOG_LINE_SIZE];
    for (; !stLines.m_vecLen.empty(); stLines = stLines.Behind(1)) {
        const std::size_t nLen = std::min<std::size_t>(stLines.m_vecLen[0], sizeof(szLine) - 1);
        std::memcpy(szLine, stLines.m_pText, nLen);
        szLine[nLen] = '\0';
        OSL_OutputDebugString(bTimes ? szLine : BehindTime(szLine));
    }
}

}  // namespace

int LogService::ServiceStart() {
    const OSL_Guard guard(m_mtxService);
    if (m_bStarted) return LOG_OK;
    if (m_bCleanTag) return LOG_ERR_NOT_STARTED;
    if (!IsThereAnyDeviceEnabled()) return LOG_ERR_NO_TARGET;
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
    TakeLinesFor(LOG_TARGET_FILE, false);
    return SwitchOutput(LOG_TARGET_FILE, false, nullptr, 0, false);
}

int LogService::EnableTarget(log_services eTarget, const char* pDir, std::uint32_t nSize,
                             bool bCycle) {
    const OSL_Guard guard(m_mtxService);
    const int nResult = SwitchOutput(eTarget, true, pDir, nSize, bCycle);
    if (nResult == LOG_OK) TakeLinesFor(eTarget, true);
    return nResult;
}

int LogService::DisableTarget(log_services eTarget) {
    const OSL_Guard guard(m_mtxService);
    TakeLinesFor(eTarget, false);
    if (IsThereAnyDeviceEnabled()) {
        FinishOutput();
    } else {
        ServiceStop();
    }
    return SwitchOutput(eTarget, false, nullptr, 0, false);
}

void LogService::TakeLinesFor(log_services eTarget, bool bOn) {
    const OSL_Guard guard(m_mtxQueue);
    const unsigned nTarget = 1u << eTarget;
    m_nTargets = bOn ? m_nTargets | nTarget : m_nTargets & ~nTarget;
}

int LogService::SwitchOutput(log_services eTarget, bool bOn, const char* pDir, std::uint32_t nSize,
                             bool bCycle) {
    switch (eTarget) {
        case LOG_TARGET_CONSOLE:
            m_bConsole = bOn;
            return LOG_OK;
        case LOG_TARGET_DEBUG:
            m_bDebug = bOn;
            return LOG_OK;
        case LOG_TARGET_FILE:
            return SwitchFileService(bOn, pDir, nSize, bCycle);
    }
    return LOG_ERR_PARAM;
}

int LogService::SwitchFileService(bool bOn, const char* pDir, std::uint32_t nSize, bool bCycle) {
    const OSL_Guard guard(m_mtxFile);
    if (bOn) return m_logFile.StartWriteFile(pDir, nSize, bCycle);
    m_logFile.StopWriteFile();
    return LOG_OK;
}

/// Outputs what is queued by now; lines may come meanwhile.
void LogService::FinishOutput() {
    if (!m_bStarted) return;
    StopWriter(true);
    if (StartWriter()) return;
    // Without a thread the service ends, but what it has taken is output: here.
    StopAtLastLine(false);
    WriteLogProc(this);
    CloseQueue();
}

bool LogService::OpenQueue() {
    const OSL_Guard guard(m_mtxQueue);
    m_nOutput = m_nDue = 0;
    m_hWake = OSL_CreateEvent();
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
        m_nWakeAt = NEVER;
        m_nStopAt = NEVER;
    }
    m_hThread = OSL_Thread_Create(WriteLogProc, this, WRITER_STACK);
    return m_hThread != nullptr;
}

/// Ends the writer when it has output all lines there are by now. Those that come later wait in the
/// queue for the next writer, or are refused.
void LogService::StopWriter(bool bTakeMore) {
    StopAtLastLine(bTakeMore);
    OSL_Thread_Wait(m_hThread);
    m_hThread = nullptr;
}

void LogService::StopAtLastLine(bool bTakeMore) {
    const OSL_Guard guard(m_mtxQueue);
    m_bStarted = bTakeMore;
    m_nStopAt = LastLine();
    OSL_SetEvent(m_hWake);
}

int LogService::PushData(const char* pText, std::size_t nLen) {
    const OSL_Guard guard(m_mtxQueue);
    if (!m_bStarted) return LOG_ERR_NOT_STARTED;
    if (!IsThereAnyDeviceEnabled()) return LOG_ERR_NO_TARGET;
    if (!m_ring.Push(pText, nLen)) return LOG_ERR_FULL;
    if (m_ring.Used() >= m_nWakeAt) {
        m_nWakeAt = NEVER;
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
    for (bool bNapped = false; !TakeLines(stLines); bNapped = true) {
        if (IsFinished()) return false;
        if (bNapped) Sleep(ANY_LINE, OSL_INFINITE);
        Sleep(FILLING_UP, NAP_MS);
    }
    return true;
}

/// Gives back the lines that have been output and takes those that are due.
bool LogService::TakeLines(LogLines& stLines) {
    const OSL_Guard guard(m_mtxQueue);
    m_nOutput += stLines.m_vecLen.size();
    m_ring.GiveBack(stLines);
    stLines = m_nOutput < m_nDue ? m_ring.Oldest() : LogLines();
    return !stLines.m_vecLen.empty();
}

bool LogService::IsFinished() {
    const OSL_Guard guard(m_mtxQueue);
    return m_nOutput >= m_nStopAt;
}

/// Sleeps until the queue holds so many bytes, or so long, or until the service stops. Then all
/// lines in the queue are due.
void LogService::Sleep(std::size_t nFill, std::uint32_t nMilliseconds) {
    if (SetAlarm(nFill)) OSL_WaitForSingleObject(m_hWake, nMilliseconds);
    const OSL_Guard guard(m_mtxQueue);
    m_nWakeAt = NEVER;
    m_nDue = LastLine();
}

/// False when there is nothing to wait for.
bool LogService::SetAlarm(std::size_t nFill) {
    const OSL_Guard guard(m_mtxQueue);
    if (m_ring.Used() >= nFill || m_nStopAt != NEVER) return false;
    m_nWakeAt = nFill;
    OSL_ResetEvent(m_hWake);
    return true;
}

void LogService::Output(const LogLines& stLines) {
    if (m_bConsole) OutputToConsole(stLines);
    if (m_bDebug) OutputToDebug(stLines);
    const OSL_Guard guard(m_mtxFile);
    m_logFile.InputDataToFile(stLines);
}
