// What the manager of services learns of a recorder: which cameras are there, and that it is alive.

#ifndef LOCALSTORAGE_TOOL_HOST_SERVICEREPORT_H
#define LOCALSTORAGE_TOOL_HOST_SERVICEREPORT_H

#include <chrono>
#include <string>

#include "base/Heartbeat.h"
#include "host/CameraSet.h"

/// Used by one thread.
class CServiceReport {
public:
    /// The engine runs.
    CServiceReport();

    /// Tells what has changed and, while every camera's thread answers, that all is alive. Called
    /// often.
    void Update(CCameraSet& objCameras);

    void BeginStop();
    void BeginReload();
    void EndReload();

private:
    using Clock = CHeartbeat::Clock;

    const Clock::duration m_nWatchdog;
    Clock::time_point m_tFed;
    std::string m_strStatus;
    bool m_bStopping = false;
};

#endif  // LOCALSTORAGE_TOOL_HOST_SERVICEREPORT_H
