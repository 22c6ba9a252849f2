// What a recorder does, as numbers for Prometheus.

#ifndef LOCALSTORAGE_TOOL_HOST_METRICS_H
#define LOCALSTORAGE_TOOL_HOST_METRICS_H

#include <cstdint>
#include <string>
#include <vector>

#include "host/CameraListener.h"

struct diskMetrics {
    std::string strDir;
    std::uint64_t nFreeBytes = 0;
    bool bFull = false;  ///< nothing more is recorded there
};
std::vector<diskMetrics> MetricsOfDisks(const std::vector<std::string>& vDirs);

/// In the text format that Prometheus reads. Pure.
std::string MetricsText(const std::vector<diskMetrics>& vDisks,
                        const std::vector<liveCamera>& vCameras);

/// Replaces the file whole, so that its reader never finds half of it; others may read it. Throws
/// CFailure.
void WriteMetrics(const std::string& strPath, const std::string& strText);

#endif  // LOCALSTORAGE_TOOL_HOST_METRICS_H
