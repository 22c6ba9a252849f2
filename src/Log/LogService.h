// The log service: a queue that callers put finished lines into, and a writer thread that outputs
// them to the enabled targets in that order.
//
// Callers never wait for output: a line is copied into the queue under a short lock, or refused
// when the queue is full. The writer thread outputs what has come, then naps for some milliseconds,
// unless the queue fills up meanwhile; a nap that brought nothing becomes a sleep until there is a
// line. So a line seldom pays for a wake-up, many share a write, and the writer keeps out of its
// callers' way.
//
// A line is taken while some target is enabled, and output to all that were: a target that is
// turned off takes no more lines first, then gets those that are queued, then is closed. Locks,
// first taken first: m_mtxService, m_mtxFile, m_mtxQueue.

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
    /// While set, the service does not start.
    void SetCleanTag(bool bClean) { m_bCleanTag = bClean; }
    bool IsServerStarted() const { return m_bStarted; }

    /// As the exported calls of these names.
    int EnableTarget(log_services eTarget, const char* pDir, std::uint32_t nSize, bool bCycle);
    int DisableTarget(log_services eTarget);
    bool IsThereAnyDeviceEnabled() const { return m_nTargets != 0; }

    void SetLogLevel(log_level eLevel) { m_eLevel = eLevel; }
    log_level GetLogLevel() const { return m_eLevel; }

    /// Queues a finished line of `nLen` bytes. A log_result: after LOG_OK it is output, whoever
    /// stops the service or turns targets off.
    int PushData(const char* pText, std::size_t nLen);

private:
    static constexpr std::uint64_t NEVER = std::numeric_limits<std::uint64_t>::max();

    static std::uint32_t WriteLogProc(void* pService);
    bool OpenQueue();
    void CloseQueue();
    bool StartWriter() OSL_REQUIRES(m_mtxService);
    void StopWriter(bool bTakeMore) OSL_REQUIRES(m_mtxService);
    void FinishOutput() OSL_REQUIRES(m_mtxService);
    void StopAtLastLine(bool bTakeMore);
    bool WaitForLines(LogLines& stLines);
    bool TakeLines(LogLines& stLines);
    bool IsFinished();
    std::uint64_t LastLine() const OSL_REQUIRES(m_mtxQueue) { return m_nOutput + m_ring.Lines(); }
    void Sleep(std::size_t nFill, std::uint32_t nMilliseconds);
    bool SetAlarm(std::size_t nFill);
    void Output(const LogLines& stLines);

    void TakeLinesFor(log_services eTarget, bool bOn);
    int SwitchOutput(log_services eTarget, bool bOn, const char* pDir, std::uint32_t nSize,
                     bool bCycle);
    int SwitchFileService(bool bOn, const char* pDir, std::uint32_t nSize, bool bCycle);

    // Read with every line, so apart from the queue, which every line changes.
    std::atomic<bool> m_bStarted{false};
    std::atomic<log_level> m_eLevel{LOG_LEVEL_DBG};
    std::atomic<bool> m_bCleanTag{false};
    std::atomic<unsigned> m_nTargets{0};  ///< lines are taken for these: 1 << log_services

    // Which targets get lines; the file knows by itself.
    std::atomic<bool> m_bConsole{false};
    std::atomic<bool> m_bDebug{false};

    OSL_Mutex m_mtxService{OSL_LockRank::LogService, "log service"};
    OSL_ThreadHandle m_hThread OSL_GUARDED_BY(m_mtxService) = nullptr;

    OSL_Mutex m_mtxFile{OSL_LockRank::LogFile, "log file"};
    CLogFile m_logFile OSL_GUARDED_BY(m_mtxFile);

    // What every line changes, in two lines of the cache, which go from one caller to the next.
    alignas(64) OSL_Mutex m_mtxQueue{OSL_LockRank::LogQueue, "log queue"};
    std::uint64_t m_nWakeAt OSL_GUARDED_BY(m_mtxQueue) = NEVER;  ///< bytes that wake the writer
    CLineRing m_ring OSL_GUARDED_BY(m_mtxQueue);
    std::uint64_t m_nOutput OSL_GUARDED_BY(m_mtxQueue) = 0;      ///< lines since it was opened
    std::uint64_t m_nDue OSL_GUARDED_BY(m_mtxQueue) = 0;         ///< the writer rests behind them
    std::uint64_t m_nStopAt OSL_GUARDED_BY(m_mtxQueue) = NEVER;  ///< and ends behind these
    OSL_EventHandle m_hWake = nullptr;                           ///< lives as long as the queue
};

#endif  // LOCALSTORAGE_LOG_LOGSERVICE_H
