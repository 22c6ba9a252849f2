// One camera being recorded, on a thread of its own: tried, recorded, and tried again when it went
// away.

#ifndef LOCALSTORAGE_TOOL_HOST_CAMERARECORDER_H
#define LOCALSTORAGE_TOOL_HOST_CAMERARECORDER_H

#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>

#include "base/Heartbeat.h"
#include "host/Backoff.h"
#include "host/CameraListener.h"
#include "host/CameraPlan.h"
#include "host/Host.h"
#include "host/SnapshotTaker.h"

class CCameraRecorder {
public:
    /// Starts the thread. The references must outlive the object.
    CCameraRecorder(cameraPlan stPlan, CHost& objHost, CCameraListener& objListener);
    /// Stops, and waits for the thread.
    ~CCameraRecorder();
    CCameraRecorder(const CCameraRecorder&) = delete;
    CCameraRecorder& operator=(const CCameraRecorder&) = delete;

    /// Ends the recording soon, whatever it waits for. Any thread.
    void Stop() { m_bStop = true; }

    /// A new file was begun; called from inside the engine's message.
    void OnFileCreated(const std::string& strPath);

    /// Nothing more will come. A live camera that was not stopped is never done.
    bool IsDone() const { return m_bDone; }
    /// It ended by a failure.
    bool HasFailed() const { return m_bFailed; }
    bool HasBroughtPictures() const { return m_nConnections > 0; }
    /// How long its thread has not answered.
    CHeartbeat::Clock::duration Silence() const { return m_objHeartbeat.Age(); }
    liveCamera Status();
    /// State, file, size and rate since the last call, for the terminal.
    std::string LiveLine();

private:
    using Clock = std::chrono::steady_clock;

    void Run();
    bool TryOnce();
    void Record();
    void Note(std::size_t nWritten);
    bool ComesBack() const;
    bool GoDown(ECameraState eState, const std::string& strWhy);
    void Tell(ECameraState eState, const std::string& strWhy = {}, CBackoff::Span nWait = {});
    void SetState(ECameraState eState, const std::string& strShown);
    double Rate();

    CHeartbeat m_objHeartbeat;
    const cameraPlan m_stPlan;
    CHost& m_objHost;
    CCameraListener& m_objListener;
    CSnapshotTaker m_objSnapshots;
    std::atomic<bool> m_bStop = false, m_bDone = false, m_bFailed = false;

    // Of the thread alone.
    ESource m_eSource = ESource::Live;
    CBackoff m_objBackoff;
    std::minstd_rand m_objRandom{std::random_device()()};
    std::optional<Clock::time_point> m_optConnected;  ///< since when pictures come, while they do
    std::string m_strToldTrouble;            ///< of what is left out while recording goes on
    std::string m_strWhy;                    ///< why the last try failed
    std::set<std::string> m_setToldReasons;  ///< since pictures came last

    std::atomic<unsigned> m_nTries = 0, m_nConnections = 0;
    std::atomic<std::uint64_t> m_nBytes = 0, m_nFileBytes = 0, m_nFiles = 0;
    std::atomic<std::chrono::system_clock::time_point> m_tLastWrite{};
    std::mutex m_mtxShown;
    ECameraState m_eState = ECameraState::Connecting;  ///< guarded by m_mtxShown
    std::string m_strFile;                             ///< being written; guarded by m_mtxShown
    std::string m_strState;  ///< for the terminal, empty while pictures come; guarded by m_mtxShown

    std::uint64_t m_nShownBytes = 0;  ///< for the rate on the terminal
    Clock::time_point m_tShown = Clock::now();
    double m_fRate = 0;

    std::thread m_thread;  ///< last: it uses everything above
};

#endif  // LOCALSTORAGE_TOOL_HOST_CAMERARECORDER_H
