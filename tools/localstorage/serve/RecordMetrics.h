// What is recorded, as numbers for Prometheus. Pure.

#ifndef LOCALSTORAGE_TOOL_SERVE_RECORDMETRICS_H
#define LOCALSTORAGE_TOOL_SERVE_RECORDMETRICS_H

#include <string>

#include "Catalogue/Status.h"

std::string MetricsOf(const DiskStatuses& vDisks);
std::string MetricsOf(const CameraStatuses& mCameras);

#endif  // LOCALSTORAGE_TOOL_SERVE_RECORDMETRICS_H
