// What is recorded, as JSON has it wherever the tool tells it.

#ifndef LOCALSTORAGE_TOOL_SCREEN_RECORDSJSON_H
#define LOCALSTORAGE_TOOL_SCREEN_RECORDSJSON_H

#include <string>

#include "Catalogue/Status.h"
#include "screen/Json.h"
#include "screen/TimelineDay.h"

JsonObject DiskJson(const std::string& strDir, const diskStatus& st);
JsonObject CameraJson(const std::string& strCamera, const cameraStatus& st);
JsonObject RecordingJson(const recording& st);
/// A camera's part of a day.
JsonObject TimelineJson(const timelineDay& stTimeline, const timelineRow& stRow);

/// The day of a folder's name, as people write it; a name that is no day's stays as it is.
std::string DayText(const std::string& strDay);

#endif  // LOCALSTORAGE_TOOL_SCREEN_RECORDSJSON_H
