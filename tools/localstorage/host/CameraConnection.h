// One connection to a camera: from opening its stream to its end, everything that comes goes into
// the engine. What leads to a connection and what follows it is not decided here.

#ifndef LOCALSTORAGE_TOOL_HOST_CAMERACONNECTION_H
#define LOCALSTORAGE_TOOL_HOST_CAMERACONNECTION_H

#include <atomic>
#include <optional>
#include <set>
#include <string>

#include "host/CameraPlan.h"
#include "host/Host.h"
#include "host/Pacer.h"
#include "host/SnapshotTaker.h"
#include "media/MediaInput.h"

/// Used by the camera's thread. The references must outlive the object.
class CCameraConnection {
public:
    /// Opens the stream; throws CFailure. `pUser` comes with the engine's messages;
    /// `fnTrouble` is told what is left out while recording goes on.
    CCameraConnection(const cameraPlan& stPlan, CHost& objHost, CSnapshotTaker& objSnapshots,
                      void* pUser, const std::atomic<bool>& bStop, TroubleFunction fnTrouble);

    ~CCameraConnection();
    CCameraConnection(const CCameraConnection&) = delete;
    CCameraConnection& operator=(const CCameraConnection&) = delete;

    ESource Source() const { return m_objInput.Source(); }

    /// Records what comes next: how many bytes were written, 0 where that failed (the engine's
    /// message tells); nothing at the end, or when stopped. Throws CFailure when reading breaks off
    /// or no file can be opened. A file is open from the first picture to the end of the object, so
    /// that the time without pictures is a gap; a change of the stream's parameters begins another.
    std::optional<std::size_t> RecordNext();

private:
    const accessUnit* NextWanted();
    bool HasChangedCodec(const accessUnit& stUnit) const;
    void BeginFile();
    void EndFile();
    bool BeginsAnotherStream(const accessUnit& stUnit);

    const cameraPlan& m_stPlan;
    CHost& m_objHost;
    CSnapshotTaker& m_objSnapshots;
    void* const m_pUser;
    CMediaInput m_objInput;
    CStreamWriter m_objWriter;
    CPacer m_objPacer;
    std::optional<CHostChannel> m_optChannel;
    std::set<std::string> m_setParameters;  ///< of the file being written
};

#endif  // LOCALSTORAGE_TOOL_HOST_CAMERACONNECTION_H
