// The log service: a queue that callers put finished lines into, and a writer thread that outputs
// them to the enabled targets in that order.
//
// Callers never wait for output: a line is copied into the queue under a short lock, or refused
// when the queue is full. The writer thread sleeps until there is a line; woken, it naps for
// another millisecond, so that a burst of lines pays for one wake-up and one write, and then
// outputs until the queue is empty. Locks, first taken first: m_mtxService, m_mtxFile, m_mtxQueue.

#ifndef LOCALSTORAGE_LOG_LOGSERVICE_H
#define LOCALSTORAGE_LOG_LOGSERVICE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "Log/LineRing.h"
#include "Log/LogFile.h"
#include "Osl/Osl.h"
#include "localstorage/LocalStorageLog.h"

class LogService {
public:
    LogService() = default;
    LogService(const LogService&) = delete;
    LogService& operator=(const LogService&) = delete;

    /// Starts queue and writer thread where they do not run. A log_result.
    int ServiceStart();
    /// Outputs what is queued, ends the writer thread and turns the file target off.
    int ServiceStop();
    /// Outputs what is queued by now; lines may come meanwhile.
    void FinishOutput();
    /// While set, the service does not start.
    void SetCleanTag(bool bClean) { m_bCleanTag = bClean; }
    bool IsServerStarted() const { return m_bStarted; }

    void SwitchConsoleService(bool bOn);
    void SwitchDebugService(bool bOn);
    /// As EnableTarget and DisableTarget for files.
    int SwitchFileService(bool bOn, const char* pDir, std::uint32_t nSize, bool bCycle);
    bool IsThereAnyDeviceEnabled() const { return m_bConsole || m_bDebug || m_bFile; }

    void SetLogLevel(log_level eLevel) { m_eLevel = eLevel; }
    log_level GetLogLevel() const { return m_eLevel; }

    /// Queues a finished line of `nLen` bytes. A log_result.
    int PushData(const char* pText, std::size_t nLen);

private:
    static constexpr std::uint64_t NEVER = std::numeric_limits<std::uint64_t>::max();

    static std::uint32_t WriteLogProc(void* pService);
    bool OpenQueue();
    void CloseQueue();
    bool StartWriter() OSL_REQUIRES(m_mtxService);
    void StopWriter(bool bTakeMore) OSL_REQUIRES(m_mtxService);
    bool WaitForLines(LogLines& stLines);
    bool TakeLines(LogLines& stLines);
    bool SleepUntilWoken();
    void Output(const LogLines& stLines);

    // Read with every line, so apart from the queue, which every line changes.
    std::atomic<bool> m_bStarted{false};
    std::atomic<log_level> m_eLevel{LOG_LEVEL_DBG};
    std::atomic<bool> m_bCleanTag{false};
    std::atomic<bool> m_bConsole{false};
    std::atomic<bool> m_bDebug{false};
    std::atomic<bool> m_bFile{false};

    OSL_Mutex m_mtxService{OSL_LockRank::LogService, "log service"};
    OSL_ThreadHandle m_hThread OSL_GUARDED_BY(m_mtxService) = nullptr;

    OSL_Mutex m_mtxFile{OSL_LockRank::LogFile, "log file"};
    CLogFile m_logFile OSL_GUARDED_BY(m_mtxFile);

    OSL_Mutex m_mtxQueue{OSL_LockRank::LogQueue, "log queue"};
    CLineRing m_ring OSL_GUARDED_BY(m_mtxQueue);
    std::uint64_t m_nPushed OSL_GUARDED_BY(m_mtxQueue) = 0;      ///< lines since it was opened
    std::uint64_t m_nOutput OSL_GUARDED_BY(m_mtxQueue) = 0;      ///< of those
    std::uint64_t m_nStopAt OSL_GUARDED_BY(m_mtxQueue) = NEVER;  ///< the writer ends behind them
    bool m_bAsleep OSL_GUARDED_BY(m_mtxQueue) = false;           ///< the writer waits for m_hWake
    OSL_EventHandle m_hWake = nullptr;                           ///< lives as long as the queue
};

#endif  // LOCALSTORAGE_LOG_LOGSERVICE_H
