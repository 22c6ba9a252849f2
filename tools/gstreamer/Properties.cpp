#include "gstreamer/Properties.h"

#include <variant>

namespace {

constexpr guint MOST_MIB = 2048, MOST_SECONDS = 86400;

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

/// Where the value of a property stands.
using Field = std::variant<std::string*, guint*, bool*, LocalStorageType*, StoreFileType*>;

Field FieldOf(sinkSettings& st, guint nProperty) {
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

}  // namespace

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

void SetSetting(sinkSettings& stSettings, guint nProperty, const GValue* pValue) {
    std::visit([pValue](auto* pField) { Take(pValue, *pField); }, FieldOf(stSettings, nProperty));
}

void GetSetting(sinkSettings& stSettings, guint nProperty, GValue* pValue) {
    std::visit([pValue](auto* pField) { Give(pValue, *pField); }, FieldOf(stSettings, nProperty));
}
