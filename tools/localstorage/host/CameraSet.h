// The cameras that are being recorded: others may be taken over at any time.

#ifndef LOCALSTORAGE_TOOL_HOST_CAMERASET_H
#define LOCALSTORAGE_TOOL_HOST_CAMERASET_H

#include <list>
#include <mutex>
#include <string>
#include <vector>

#include "host/CameraRecorder.h"

class CCameraSet {
public:
    /// The references must outlive the object.
    CCameraSet(CHost& objHost, CCameraListener& objListener)
        : m_objHost(objHost), m_objListener(objListener) {}
    ~CCameraSet() { Stop(); }  // all at once; each is waited for next
    CCameraSet(const CCameraSet&) = delete;
    CCameraSet& operator=(const CCameraSet&) = delete;

    /// Records by these plans from now on. Cameras whose plan is as it was are not touched, the
    /// others are stopped, waited for, and begun by the new one. Not called from two threads.
    void Take(const std::vector<cameraPlan>& vPlans);

    /// Ends all recordings soon.
    void Stop();
    bool IsDone();
    bool HasFailed();
    /// Whether one of them has never brought a picture.
    bool LacksCamera();
    std::vector<std::string> LiveLines();
    std::vector<liveCamera> Status();
    /// How long the thread has not answered that has answered least.
    CHeartbeat::Clock::duration LongestSilence();

private:
    struct camera {
        cameraPlan stPlan;
        CCameraRecorder objRecorder;

        camera(const cameraPlan& st, CHost& objHost, CCameraListener& objListener)
            : stPlan(st), objRecorder(st, objHost, objListener) {}
    };

    CHost& m_objHost;
    CCameraListener& m_objListener;
    std::mutex m_mtx;
    std::list<camera> m_lsCameras;  ///< guarded by m_mtx
};

#endif  // LOCALSTORAGE_TOOL_HOST_CAMERASET_H
