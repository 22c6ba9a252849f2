// One camera being recorded, on a thread of its own, from its first picture to its last.

#ifndef LOCALSTORAGE_TOOL_HOST_CAMERARECORDER_H
#define LOCALSTORAGE_TOOL_HOST_CAMERARECORDER_H

#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "host/Host.h"
#include "media/MediaInput.h"

/// What a camera is recorded with.
struct cameraPlan {
    std::string strCamera;
    std::string strInput;
    bool bRealTime = true;
    Seconds nSnapshotEvery{0};  ///< 0: no snapshots
};

/// How a camera's recording ended.
struct cameraResult {
    std::string strReason;
    std::uint64_t nBytes = 0, nFiles = 0;
};

/// Is told what becomes of cameras, each from its own thread.
class CCameraListener {
public:
    virtual ~CCameraListener() = default;
    virtual void OnSnapshot(const std::string& strCamera, const std::string& strPath,
                            std::uint64_t nBytes) = 0;
    /// Something failed, in words.
    virtual void OnTrouble(const std::string& strCamera, const std::string& strText) = 0;
    virtual void OnEnded(const std::string& strCamera, const cameraResult& stResult) = 0;
};

class CCameraRecorder {
public:
    /// Starts the thread. The references must outlive the object.
    CCameraRecorder(cameraPlan stPlan, CHost& objHost, CCameraListener& objListener,
                    const std::atomic<bool>& bStop);
    /// Waits for the thread.
    ~CCameraRecorder() { m_thread.join(); }
    CCameraRecorder(const CCameraRecorder&) = delete;
    CCameraRecorder& operator=(const CCameraRecorder&) = delete;

    /// A new file was begun; called from inside the engine's message.
    void OnFileCreated(const std::string& strPath);

    bool IsDone() const { return m_bDone; }
    bool HasFailed() const { return m_bFailed; }
    /// File, size and rate since the last call, for the terminal.
    std::string LiveLine();

private:
    void Run();
    void Record();
    void Write(CHostChannel& objChannel, const accessUnit& stUnit);
    void TakeSnapshot(const accessUnit& stUnit, const AVCodecParameters& stParameters);
    void StoreSnapshot(const AVCodecParameters& stParameters);
    void TellEnd();
    std::string CurrentFile();

    using Clock = std::chrono::steady_clock;

    const cameraPlan m_stPlan;
    CHost& m_objHost;
    CCameraListener& m_objListener;
    const std::atomic<bool>& m_bStop;

    std::atomic<bool> m_bDone = false, m_bFailed = false;
    std::atomic<std::uint64_t> m_nBytes = 0, m_nFileBytes = 0, m_nFiles = 0;
    std::mutex m_mtxFile;
    std::string m_strFile;  ///< guarded by m_mtxFile

    std::vector<std::uint8_t> m_vKeyFrame;           ///< the latest one
    std::optional<Clock::time_point> m_optSnapshot;  ///< when the next one is due

    std::uint64_t m_nShownBytes = 0;  ///< for the rate on the terminal
    Clock::time_point m_tShown = Clock::now();
    double m_fRate = 0;

    std::thread m_thread;  ///< last: it uses everything above
};

#endif  // LOCALSTORAGE_TOOL_HOST_CAMERARECORDER_H
