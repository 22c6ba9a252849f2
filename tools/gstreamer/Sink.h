// What the element does with a stream: recordings, and what is told of them on the bus.

#ifndef LOCALSTORAGE_GSTREAMER_SINK_H
#define LOCALSTORAGE_GSTREAMER_SINK_H

#include <chrono>
#include <gst/base/gstbasesink.h>
#include <gst/gst.h>
#include <optional>
#include <string>
#include <string_view>

#include "gstreamer/ParameterSets.h"
#include "gstreamer/SharedEngine.h"

/// What the properties are set to.
struct sinkSettings {
    std::string strCamera, strLocation, strLogLocation;
    engineSettings stEngine;
    guint nFileDuration = 0;  ///< s
    guint nRecordType = RECORD_TYPE_1;
};

/// Of one element, whose base class lets its streaming thread and its changes of state take turns.
class CSink {
public:
    explicit CSink(GstBaseSink* pElement) : m_pElement(pElement) {}

    /// Not to be changed between Start and Stop.
    sinkSettings& Settings() { return m_stSettings; }

    // Each throws CFault, or lets the allocator's exceptions pass.

    /// Begins to use an engine with the settings.
    void Start();
    /// Ends the file and the use; also what did not start.
    void Stop();
    /// Another stream comes from now on.
    void SetCaps(const GstCaps* pCaps);
    /// Records a buffer; waits for the disk.
    void Render(GstBuffer* pBuffer);
    /// Ends the file.
    void EndOfStream();

    /// Posts a fault as an error or a warning of the element.
    void Post(GstMessageType eType, const CFault& fault);

private:
    using Clock = std::chrono::steady_clock;

    GstClockTime RunningTimeOf(GstBuffer* pBuffer) const;
    recFileInfo NextFile() const;
    bool IsFileOver(bool bKeyFrame) const;
    bool Write(std::string_view strUnit, bool bKeyFrame);
    void EndFile();
    void PostEvents();
    void PostFragment(const char* pName, const std::string& strPath);
    void JudgeWrite(bool bWritten);
    void NoteFailure();
    CFault WriteFault() const;
    bool IsClientLayout() const { return m_stSettings.stEngine.eLayout == LOCAL_STORAGE_CLIENT; }

    GstBaseSink* const m_pElement;
    sinkSettings m_stSettings;

    // From start to stop.
    std::optional<CEngineUse> m_optEngine;
    std::optional<CParameterSets> m_optSets;  ///< of streams that consist of NAL units
    std::optional<CRecording> m_optFile;
    Clock::time_point m_tFileBegan;
    GstClockTime m_nRunningTime = GST_CLOCK_TIME_NONE;  ///< of what is written
    std::optional<Clock::time_point> m_optFailing;      ///< since when writes fail
    int m_nError = 0;                                   ///< the system's number, where it has one
    bool m_bToldFailure = false;                        ///< by the events posted last
};

#endif  // LOCALSTORAGE_GSTREAMER_SINK_H
