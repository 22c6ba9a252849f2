// What is recorded, as numbers for Prometheus. Pure.

#ifndef LOCALSTORAGE_TOOL_SERVE_RECORDMETRICS_H
#define LOCALSTORAGE_TOOL_SERVE_RECORDMETRICS_H

#include <string>
#include <vector>

#include "Catalogue/Status.h"

/// Which of the record directories can be read.
std::string MetricsOf(const std::vector<std::string>& vDirs,
                      const std::vector<std::string>& vReadable);
std::string MetricsOf(const DiskStatuses& vDisks);
std::string MetricsOf(const CameraStatuses& mCameras);

#endif  // LOCALSTORAGE_TOOL_SERVE_RECORDMETRICS_H
