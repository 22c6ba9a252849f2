// localstoragesink: the element, and the plugin that holds it.
//
// It need not implement `unlock`: `render` waits for calls to a disk, which cannot be interrupted,
// and for nothing else.

#include <exception>
#include <gst/base/gstbasesink.h>
#include <gst/gst.h>

#include "gstreamer/Properties.h"
#include "gstreamer/Sink.h"

struct GstLocalStorageSink {
    GstBaseSink stParent;
    CSink* pSink;
};
struct GstLocalStorageSinkClass {
    GstBaseSinkClass stParent;
};

G_DEFINE_TYPE(GstLocalStorageSink, gst_local_storage_sink, GST_TYPE_BASE_SINK)

namespace {

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

void SetProperty(GObject* pObject, guint nProperty, const GValue* pValue, GParamSpec* pSpec) {
    if (GST_STATE(pObject) > GST_STATE_READY) {  // other threads read the settings
        g_warning("%s: %s cannot be changed while it records", GST_OBJECT_NAME(pObject),
                  g_param_spec_get_name(pSpec));
        return;
    }
    SetSetting(SinkOf(pObject).Settings(), nProperty, pValue);
}

void GetProperty(GObject* pObject, guint nProperty, GValue* pValue, GParamSpec*) {
    GetSetting(SinkOf(pObject).Settings(), nProperty, pValue);
}

void Finalize(GObject* pObject) {
    delete reinterpret_cast<GstLocalStorageSink*>(pObject)->pSink;
    G_OBJECT_CLASS(gst_local_storage_sink_parent_class)->finalize(pObject);
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
