// Stores a JPEG of a camera's latest key frame, again and again.

#ifndef LOCALSTORAGE_TOOL_HOST_SNAPSHOTTAKER_H
#define LOCALSTORAGE_TOOL_HOST_SNAPSHOTTAKER_H

#include <chrono>
#include <optional>
#include <vector>

#include "host/CameraListener.h"
#include "host/CameraPlan.h"
#include "host/Host.h"
#include "media/MediaInput.h"

/// Used by the camera's thread. The references must outlive the object.
class CSnapshotTaker {
public:
    CSnapshotTaker(const cameraPlan& stPlan, CHost& objHost, CCameraListener& objListener)
        : m_stPlan(stPlan), m_objHost(objHost), m_objListener(objListener) {}

    /// Another stream begins: its pictures have nothing to do with those before.
    void BeginStream() { m_vKeyFrame.clear(); }
    /// Takes note of what was recorded, and stores a picture when one is due.
    void Take(const accessUnit& stUnit, const AVCodecParameters& stParameters);

private:
    using Clock = std::chrono::steady_clock;

    void Store(const AVCodecParameters& stParameters);

    const cameraPlan& m_stPlan;
    CHost& m_objHost;
    CCameraListener& m_objListener;
    std::vector<std::uint8_t> m_vKeyFrame;      ///< the latest one
    std::optional<Clock::time_point> m_optDue;  ///< when the next picture is
};

#endif  // LOCALSTORAGE_TOOL_HOST_SNAPSHOTTAKER_H
