// The element's properties: the settings of its sink, as GObject knows them.

#ifndef LOCALSTORAGE_GSTREAMER_PROPERTIES_H
#define LOCALSTORAGE_GSTREAMER_PROPERTIES_H

#include <gst/gst.h>

#include "gstreamer/Sink.h"

/// Gives the class its properties; their defaults are those of sinkSettings.
void InstallProperties(GObjectClass* pClass);
/// `nProperty` is the identifier that GObject hands over.
void SetSetting(sinkSettings& stSettings, guint nProperty, const GValue* pValue);
void GetSetting(sinkSettings& stSettings, guint nProperty, GValue* pValue);

#endif  // LOCALSTORAGE_GSTREAMER_PROPERTIES_H
