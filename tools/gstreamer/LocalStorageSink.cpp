// localstoragesink: the element, and the plugin that holds it.
//
// It need not implement `unlock`: `render` waits for calls to a disk, which cannot be interrupted,
// and for nothing else.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <gst/base/gstbasesink.h>
#include <gst/gst.h>
#include <optional>
#include <sstream>
#include <variant>

#include "gstreamer/ParameterSets.h"
#include "gstreamer/SharedEngine.h"

namespace {

using Clock = std::chrono::steady_clock;

/// For so long an element goes on whose writes fail. By then the engine has looked at its disks,
/// has deleted where it may, and a key frame has come at which it can go to another disk.
constexpr auto PATIENCE = std::chrono::seconds(30);

constexpr guint MOST_MIB = 2048, MOST_SECONDS = 86400;

struct sinkSettings {
    std::string strCamera, strLocation, strLogLocation;
    engineSettings stEngine;
    guint nFileDuration = 0;  ///< s
    guint nRecordType = RECORD_TYPE_1;
};

class CSink {
public:
    explicit CSink(GstBaseSink* pElement) : m_pElement(pElement) {}

    sinkSettings& Settings() { return m_stSettings; }

    // Each throws CFault, or lets the allocator's exceptions pass.
    void Start();
    void Stop();
    void SetCaps(const GstCaps* pCaps);
    void Render(GstBuffer* pBuffer);
    void EndOfStream();

    void Post(GstMessageType eType, const CFault& fault);

private:
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

class CMappedBuffer {
public:
    explicit CMappedBuffer(GstBuffer* pBuffer) : m_pBuffer(pBuffer) {
        if (!gst_buffer_map(pBuffer, &m_stMap, GST_MAP_READ)) throw std::bad_alloc();
    }
    ~CMappedBuffer() { gst_buffer_unmap(m_pBuffer, &m_stMap); }
    CMappedBuffer(const CMappedBuffer&) = delete;
    CMappedBuffer& operator=(const CMappedBuffer&) = delete;

    std::string_view Bytes() const {
        return {reinterpret_cast<const char*>(m_stMap.data), m_stMap.size};
    }

private:
    GstBuffer* const m_pBuffer;
    GstMapInfo m_stMap;
};

std::vector<std::string> SplitLocation(const std::string& strLocation) {
    std::vector<std::string> vDirs;
    std::istringstream text(strLocation);
    for (std::string strDir; std::getline(text, strDir, ':');) {
        strDir = std::filesystem::absolute(strDir).lexically_normal();
        while (strDir.size() > 1 && strDir.back() == '/') strDir.pop_back();
        vDirs.push_back(strDir);
    }
    return vDirs;
}

/// What clocks show here then, counted in seconds as if it were UTC.
std::time_t LocalSeconds(std::time_t tTime) {
    std::tm stTm{};
    localtime_r(&tTime, &stTm);
    return timegm(&stTm);
}

tagBlockTime BlockTime(std::time_t tLocal) {
    std::tm stTm{};
    gmtime_r(&tLocal, &stTm);
    tagBlockTime st;
    st.wYear = static_cast<std::uint16_t>(stTm.tm_year + 1900);
    st.byMonth = static_cast<std::uint8_t>(stTm.tm_mon + 1);
    st.byDay = static_cast<std::uint8_t>(stTm.tm_mday);
    st.byHour = static_cast<std::uint8_t>(stTm.tm_hour);
    st.byMinute = static_cast<std::uint8_t>(stTm.tm_min);
    st.bySecond = static_cast<std::uint8_t>(stTm.tm_sec);
    return st;
}

void CSink::Start() {
    engineSettings& stEngine = m_stSettings.stEngine;
    stEngine.vDirs = SplitLocation(m_stSettings.strLocation);
    const auto refuse = [](const char* pText) { throw CFault(GST_RESOURCE_ERROR_SETTINGS, pText); };
    if (m_stSettings.strCamera.empty()) refuse("no camera is set");
    if (stEngine.vDirs.empty()) refuse("no location is set");
    if (!IsClientLayout() && m_stSettings.nFileDuration == 0) {
        refuse("the remote-backup layout needs a file-duration: names tell when recordings end");
    }
    m_nRunningTime = GST_CLOCK_TIME_NONE;
    m_optEngine.emplace(stEngine, m_stSettings.strLogLocation);
}

void CSink::Stop() {
    EndFile();
    m_optSets.reset();
    m_optFailing.reset();
    m_optEngine.reset();
}

// Other caps, another stream: it has a file of its own.
void CSink::SetCaps(const GstCaps* pCaps) {
    EndFile();
    m_optSets.reset();
    const GstStructure* const pStream = gst_caps_get_structure(pCaps, 0);
    if (gst_structure_has_name(pStream, "video/x-h264")) m_optSets.emplace(ECodec::H264);
    if (gst_structure_has_name(pStream, "video/x-h265")) m_optSets.emplace(ECodec::H265);
}

/// Of a buffer without a time of its own: when it comes. Times go on backwards from the segment's
/// start, where the key frame in front of a seek's target lies.
GstClockTime CSink::RunningTimeOf(GstBuffer* pBuffer) const {
    const GstSegment& stSegment = m_pElement->segment;
    if (stSegment.format != GST_FORMAT_TIME || !GST_BUFFER_PTS_IS_VALID(pBuffer)) {
        return gst_element_get_current_running_time(GST_ELEMENT(m_pElement));
    }
    guint64 nTime = GST_CLOCK_TIME_NONE;
    const int nSign = gst_segment_to_running_time_full(&stSegment, GST_FORMAT_TIME,
                                                       GST_BUFFER_PTS(pBuffer), &nTime);
    return nSign < 0 ? 0 : nTime;
}

void CSink::Render(GstBuffer* pBuffer) {
    const bool bKeyFrame = !GST_BUFFER_FLAG_IS_SET(pBuffer, GST_BUFFER_FLAG_DELTA_UNIT);
    m_nRunningTime = RunningTimeOf(pBuffer);
    if (IsFileOver(bKeyFrame)) EndFile();
    if (!m_optFile) {
        m_optFile.emplace(m_optEngine->Engine(), m_stSettings.strCamera, NextFile());
        m_tFileBegan = Clock::now();
    }
    const bool bWritten = Write(CMappedBuffer(pBuffer).Bytes(), bKeyFrame);
    PostEvents();
    JudgeWrite(bWritten);
    if (GST_CLOCK_TIME_IS_VALID(m_nRunningTime) && GST_BUFFER_DURATION_IS_VALID(pBuffer)) {
        m_nRunningTime += GST_BUFFER_DURATION(pBuffer);
    }
}

void CSink::EndOfStream() {
    EndFile();
    if (m_optFailing) throw WriteFault();  // nothing comes that could still be written
}

/// The engine itself cuts files of the client layout, and names them.
bool CSink::IsFileOver(bool bKeyFrame) const {
    return m_optFile && bKeyFrame && !IsClientLayout() &&
           Clock::now() - m_tFileBegan >= std::chrono::seconds(m_stSettings.nFileDuration);
}

recFileInfo CSink::NextFile() const {
    recFileInfo st;
    const std::time_t tNow = std::time(nullptr), tStart = LocalSeconds(tNow);
    const guint nLength = std::max(m_stSettings.nFileDuration, 1u) - 1;
    st.stStartTime = BlockTime(tStart);
    // Where clocks are set back meanwhile, it does not end before it starts.
    st.stEndTime = BlockTime(std::max(LocalSeconds(tNow + nLength), tStart + nLength));
    st.enumRecordType = static_cast<RecordType>(m_stSettings.nRecordType);
    return st;
}

bool CSink::Write(std::string_view strUnit, bool bKeyFrame) {
    if (!m_optSets || !bKeyFrame) return m_optFile->Write(strUnit);
    const auto [nAt, strSets] = m_optSets->Complete(strUnit);
    bool bWritten = true;
    for (const std::string_view strPiece :
         {strUnit.substr(0, nAt), std::string_view(strSets), strUnit.substr(nAt)}) {
        bWritten &= m_optFile->Write(strPiece);
    }
    return bWritten;
}

void CSink::EndFile() {
    if (!m_optFile) return;
    m_optFile->Close();
    PostEvents();
    m_optFile.reset();
    if (m_bToldFailure) NoteFailure();
}

void CSink::JudgeWrite(bool bWritten) {
    if (bWritten && !m_bToldFailure) {
        m_optFailing.reset();
        m_nError = 0;
    } else {
        NoteFailure();
        if (Clock::now() - *m_optFailing > PATIENCE) throw WriteFault();
    }
}

/// A bad write is no error by itself: the engine may go to another disk.
void CSink::NoteFailure() {
    if (m_optFailing) return;
    m_optFailing = Clock::now();
    Post(GST_MESSAGE_WARNING, WriteFault());
}

CFault CSink::WriteFault() const {
    const bool bFull = m_nError == ENOSPC || m_nError == EDQUOT;
    return {bFull ? GST_RESOURCE_ERROR_NO_SPACE_LEFT : GST_RESOURCE_ERROR_WRITE,
            "cannot write the recording of " + m_stSettings.strCamera + ": " +
                (m_nError ? g_strerror(m_nError) : "the engine refused it, its log tells why")};
}

void CSink::PostEvents() {
    m_bToldFailure = false;
    for (const recordingEvent& st : m_optFile->TakeEvents()) {
        if (st.eMessage == MESSAGEVALUE_CREATEFILE) {
            PostFragment("localstoragesink-fragment-opened", st.strPath);
        } else if (st.eMessage == MESSAGEVALUE_CLOSEFILE) {
            PostFragment("localstoragesink-fragment-closed", st.strPath);
        } else {
            m_bToldFailure = true;
            m_nError = st.nError;
        }
    }
}

void CSink::PostFragment(const char* pName, const std::string& strPath) {
    GstStructure* const pStructure =
        gst_structure_new(pName, "location", G_TYPE_STRING, strPath.c_str(), "running-time",
                          GST_TYPE_CLOCK_TIME, m_nRunningTime, nullptr);
    gst_element_post_message(GST_ELEMENT(m_pElement),
                             gst_message_new_element(GST_OBJECT(m_pElement), pStructure));
}

void CSink::Post(GstMessageType eType, const CFault& fault) {
    gst_element_message_full(GST_ELEMENT(m_pElement), eType, GST_RESOURCE_ERROR, fault.Code(),
                             g_strdup(fault.what()), nullptr, __FILE__, GST_FUNCTION, __LINE__);
}

}  // namespace

// ---- The class, as GObject knows it ----

struct GstLocalStorageSink {
    GstBaseSink stParent;
    CSink* pSink;
};
struct GstLocalStorageSinkClass {
    GstBaseSinkClass stParent;
};

G_DEFINE_TYPE(GstLocalStorageSink, gst_local_storage_sink, GST_TYPE_BASE_SINK)

namespace {

enum EProperty : guint {
    PROP_CAMERA = 1,
    PROP_LOCATION,
    PROP_LAYOUT,
    PROP_FILE_SIZE,
    PROP_FILE_DURATION,
    PROP_RECORD_TYPE,
    PROP_OVERWRITE,
    PROP_DELETE_KIND,
    PROP_CYCLIC,
    PROP_LOG_LOCATION
};

GstStaticPadTemplate s_stSinkTemplate = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("video/x-h264, stream-format=(string)byte-stream, alignment=(string)au; "
                    "video/x-h265, stream-format=(string)byte-stream, alignment=(string)au; "
                    "video/mpegts, systemstream=(boolean)true, packetsize=(int){ 188, 192, 204 }; "
                    "video/mpeg, systemstream=(boolean)true"));

CSink& SinkOf(gpointer pObject) {
    return *reinterpret_cast<GstLocalStorageSink*>(pObject)->pSink;
}

/// Does something that may fail; what fails is posted as an error.
template <typename Function>
bool Attempt(gpointer pObject, Function function) {
    CSink& sink = SinkOf(pObject);
    try {
        function(sink);
        return true;
    } catch (const CFault& fault) {
        sink.Post(GST_MESSAGE_ERROR, fault);
    } catch (const std::exception& error) {
        sink.Post(GST_MESSAGE_ERROR, CFault(GST_RESOURCE_ERROR_FAILED, error.what()));
    }
    return false;
}

/// Recording begins and ends with the flow of data, later and earlier than the `start` and `stop`
/// of the base class: files are whole in READY, and what is set there counts.
GstStateChangeReturn ChangeState(GstElement* pElement, GstStateChange eChange) {
    const bool bBegins = eChange == GST_STATE_CHANGE_READY_TO_PAUSED;
    if (bBegins && !Attempt(pElement, [](CSink& sink) { sink.Start(); })) {
        return GST_STATE_CHANGE_FAILURE;
    }
    const GstStateChangeReturn eResult =
        GST_ELEMENT_CLASS(gst_local_storage_sink_parent_class)->change_state(pElement, eChange);
    const bool bFailed = bBegins && eResult == GST_STATE_CHANGE_FAILURE;
    if (bFailed || eChange == GST_STATE_CHANGE_PAUSED_TO_READY) {
        Attempt(pElement, [](CSink& sink) { sink.Stop(); });
    }
    return eResult;
}

gboolean SetCaps(GstBaseSink* pElement, GstCaps* pCaps) {
    return Attempt(pElement, [pCaps](CSink& sink) { sink.SetCaps(pCaps); });
}

GstFlowReturn Render(GstBaseSink* pElement, GstBuffer* pBuffer) {
    const auto render = [pBuffer](CSink& sink) { sink.Render(pBuffer); };
    return Attempt(pElement, render) ? GST_FLOW_OK : GST_FLOW_ERROR;
}

gboolean Event(GstBaseSink* pElement, GstEvent* pEvent) {
    if (GST_EVENT_TYPE(pEvent) == GST_EVENT_EOS &&
        !Attempt(pElement, [](CSink& sink) { sink.EndOfStream(); })) {
        gst_event_unref(pEvent);
        return FALSE;
    }
    return GST_BASE_SINK_CLASS(gst_local_storage_sink_parent_class)->event(pElement, pEvent);
}

/// Where the value of a property stands.
using Field = std::variant<std::string*, guint*, bool*, LocalStorageType*, StoreFileType*>;

Field FieldOf(gpointer pObject, guint nProperty) {
    sinkSettings& st = SinkOf(pObject).Settings();
    switch (nProperty) {
        case PROP_CAMERA:
            return &st.strCamera;
        case PROP_LOCATION:
            return &st.strLocation;
        case PROP_LAYOUT:
            return &st.stEngine.eLayout;
        case PROP_FILE_SIZE:
            return &st.stEngine.nFileSize;
        case PROP_FILE_DURATION:
            return &st.nFileDuration;
        case PROP_RECORD_TYPE:
            return &st.nRecordType;
        case PROP_OVERWRITE:
            return &st.stEngine.bAutoDelete;
        case PROP_DELETE_KIND:
            return &st.stEngine.eDeleteKind;
        case PROP_CYCLIC:
            return &st.stEngine.bCyclic;
        default:
            return &st.strLogLocation;
    }
}

void Take(const GValue* pValue, std::string& str) {
    const gchar* const pText = g_value_get_string(pValue);
    str = pText ? pText : "";
}
void Take(const GValue* pValue, guint& n) {
    n = g_value_get_uint(pValue);
}
void Take(const GValue* pValue, bool& b) {
    b = g_value_get_boolean(pValue);
}
template <typename Enum>
void Take(const GValue* pValue, Enum& e) {
    e = static_cast<Enum>(g_value_get_enum(pValue));
}

void Give(GValue* pValue, const std::string& str) {
    g_value_set_string(pValue, str.c_str());
}
void Give(GValue* pValue, guint n) {
    g_value_set_uint(pValue, n);
}
void Give(GValue* pValue, bool b) {
    g_value_set_boolean(pValue, b);
}
template <typename Enum>
void Give(GValue* pValue, Enum e) {
    g_value_set_enum(pValue, static_cast<gint>(e));
}

void SetProperty(GObject* pObject, guint nProperty, const GValue* pValue, GParamSpec* pSpec) {
    if (GST_STATE(pObject) > GST_STATE_READY) {  // other threads read the settings
        g_warning("%s: %s cannot be changed while it records", GST_OBJECT_NAME(pObject),
                  g_param_spec_get_name(pSpec));
        return;
    }
    std::visit([pValue](auto* pField) { Take(pValue, *pField); }, FieldOf(pObject, nProperty));
}

void GetProperty(GObject* pObject, guint nProperty, GValue* pValue, GParamSpec*) {
    std::visit([pValue](auto* pField) { Give(pValue, *pField); }, FieldOf(pObject, nProperty));
}

void Finalize(GObject* pObject) {
    delete reinterpret_cast<GstLocalStorageSink*>(pObject)->pSink;
    G_OBJECT_CLASS(gst_local_storage_sink_parent_class)->finalize(pObject);
}

/// An enumeration of the engine's, whose values are words here.
GType EnumType(const char* pName, const GEnumValue* pValues) {
    const GType nType = g_enum_register_static(pName, pValues);
    gst_type_mark_as_plugin_api(nType, static_cast<GstPluginAPIFlags>(0));
    return nType;
}

constexpr GEnumValue LAYOUTS[] = {
    {LOCAL_STORAGE_REMOTE_BACKUP, "Named by begin and end, in an index", "remote-backup"},
    {LOCAL_STORAGE_CLIENT, "Named from the clock, cut by size", "client"},
    {}};
constexpr GEnumValue DELETE_KINDS[] = {{STORE_FILE_RECORD, "Recordings", "recordings"},
                                       {STORE_FILE_IMAGE, "Pictures (client layout)", "pictures"},
                                       {}};

void InstallProperties(GObjectClass* pClass) {
    constexpr auto FLAGS = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                                    GST_PARAM_MUTABLE_READY);
    const sinkSettings st;  // the defaults
    const auto install = [pClass](EProperty eProperty, GParamSpec* pSpec) {
        g_object_class_install_property(pClass, eProperty, pSpec);
    };
    install(PROP_CAMERA,
            g_param_spec_string("camera", "Camera",
                                "Identifier of the camera: 1 to 63 bytes that can name a folder",
                                nullptr, FLAGS));
    install(PROP_LOCATION,
            g_param_spec_string("location", "Location",
                                "Record directories, best first, with \":\" between them; the "
                                "folder RecordFile in each belongs to the engine",
                                nullptr, FLAGS));
    install(PROP_LAYOUT, g_param_spec_enum("layout", "Layout", "How recordings are named and found",
                                           EnumType("GstLocalStorageSinkLayout", LAYOUTS),
                                           st.stEngine.eLayout, FLAGS));
    install(PROP_FILE_SIZE,
            g_param_spec_uint("file-size", "File size",
                              "Begin a new file after so many MiB, in front of a key frame (client "
                              "layout)",
                              1, MOST_MIB, st.stEngine.nFileSize, FLAGS));
    install(PROP_FILE_DURATION,
            g_param_spec_uint("file-duration", "File duration",
                              "Begin a new file after so many seconds, in front of a key frame "
                              "(remote-backup layout, which needs it)",
                              0, MOST_SECONDS, st.nFileDuration, FLAGS));
    install(PROP_RECORD_TYPE,
            g_param_spec_uint("record-type", "Record type",
                              "Kind of recording that names tell (remote-backup layout)",
                              RECORD_TYPE_1, RECORD_TYPE_8, st.nRecordType, FLAGS));
    install(PROP_OVERWRITE, g_param_spec_boolean("overwrite", "Overwrite",
                                                 "Delete the oldest day when all disks are full",
                                                 st.stEngine.bAutoDelete, FLAGS));
    install(PROP_DELETE_KIND,
            g_param_spec_enum("delete-kind", "Delete kind", "What overwriting deletes",
                              EnumType("GstLocalStorageSinkDeleteKind", DELETE_KINDS),
                              st.stEngine.eDeleteKind, FLAGS));
    install(PROP_CYCLIC,
            g_param_spec_boolean("cyclic", "Cyclic",
                                 "Go to the next directory that has room when a disk is full; else "
                                 "only the first is recorded on",
                                 st.stEngine.bCyclic, FLAGS));
    install(PROP_LOG_LOCATION,
            g_param_spec_string("log-location", "Log location",
                                "Directory of the log of all engines of the process, two files of "
                                "at most 50 MiB; none: no log",
                                nullptr, FLAGS));
}

}  // namespace

static void gst_local_storage_sink_init(GstLocalStorageSink* pElement) {
    pElement->pSink = new CSink(&pElement->stParent);
    // Everything is recorded, as fast as it comes.
    gst_base_sink_set_sync(&pElement->stParent, FALSE);
    gst_base_sink_set_drop_out_of_segment(&pElement->stParent, FALSE);
}

static void gst_local_storage_sink_class_init(GstLocalStorageSinkClass* pClass) {
    GObjectClass* const pObjectClass = G_OBJECT_CLASS(pClass);
    pObjectClass->set_property = SetProperty;
    pObjectClass->get_property = GetProperty;
    pObjectClass->finalize = Finalize;
    InstallProperties(pObjectClass);

    GstElementClass* const pElementClass = GST_ELEMENT_CLASS(pClass);
    gst_element_class_add_static_pad_template(pElementClass, &s_stSinkTemplate);
    gst_element_class_set_static_metadata(
        pElementClass, "Surveillance video recorder", "Sink/File/Video",
        "Records a camera's stream on local disks, overwriting the oldest day when they are full",
        "the LocalStorage authors");
    pElementClass->change_state = ChangeState;

    GstBaseSinkClass* const pBaseClass = GST_BASE_SINK_CLASS(pClass);
    pBaseClass->set_caps = SetCaps;
    pBaseClass->render = Render;
    pBaseClass->event = Event;
}

static gboolean InitPlugin(GstPlugin* pPlugin) {
    return gst_element_register(pPlugin, "localstoragesink", GST_RANK_NONE,
                                gst_local_storage_sink_get_type());
}

// GStreamer knows licenses by words of its own: this is MIT.
#define PACKAGE "localstorage"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, localstorage,
                  "Recording of surveillance video on local disks", InitPlugin,
                  LOCALSTORAGE_VERSION, "MIT/X11", "LocalStorage", "liblocalstorage")
