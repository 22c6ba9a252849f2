#include "host/Metrics.h"

#include <filesystem>
#include <fstream>

#include "RecordTree/RecordDirectory.h"
#include "base/Failure.h"
#include "base/MetricText.h"

namespace fs = std::filesystem;

namespace {

constexpr ECameraState STATES[] = {ECameraState::Connecting, ECameraState::Connected,
                                   ECameraState::Lost, ECameraState::Stalled, ECameraState::Ended};

std::string TextOfStates(const std::vector<liveCamera>& vCameras) {
    CMetric objMetric("camera_state", "gauge", "1 for the state that the camera is in.");
    for (const liveCamera& st : vCameras) {
        for (const ECameraState eState : STATES) {
            objMetric.Add(
                MetricLabel("camera", st.strCamera) + "," + MetricLabel("state", NameOf(eState)),
                st.eState == eState ? "1" : "0");
        }
    }
    return objMetric.Text();
}

}  // namespace

std::vector<diskMetrics> MetricsOfDisks(const std::vector<std::string>& vDirs) {
    std::vector<diskMetrics> vDisks;
    for (const std::string& strDir : vDirs) {
        const diskRoom stRoom = DiskRoomOf(strDir);
        vDisks.push_back({strDir, stRoom.nFreeBytes, stRoom.IsFull()});
    }
    return vDisks;
}

std::string MetricsText(const std::vector<diskMetrics>& vDisks,
                        const std::vector<liveCamera>& vCameras) {
    CMetric objFree("disk_free_bytes", "gauge", "Room left on the disk of a record directory.");
    CMetric objFull("disk_full", "gauge", "1 while nothing more is recorded there.");
    for (const diskMetrics& st : vDisks) {
        objFree.Add(MetricLabel("dir", st.strDir), std::to_string(st.nFreeBytes));
        objFull.Add(MetricLabel("dir", st.strDir), st.bFull ? "1" : "0");
    }
    CMetric objBytes("camera_written_bytes_total", "counter", "Recorded since the start.");
    CMetric objFiles("camera_files_total", "counter", "Files begun since the start.");
    CMetric objReconnections("camera_reconnections_total", "counter",
                             "How often it went away and came back since the start.");
    CMetric objLast("camera_last_write_timestamp_seconds", "gauge",
                    "When something of it was recorded last.");
    for (const liveCamera& st : vCameras) {
        const std::string strLabel = MetricLabel("camera", st.strCamera);
        objBytes.Add(strLabel, std::to_string(st.nBytes));
        objFiles.Add(strLabel, std::to_string(st.nFiles));
        objReconnections.Add(strLabel, std::to_string(st.nReconnections));
        if (st.tLastWrite.time_since_epoch().count() > 0) {
            objLast.Add(strLabel, MetricTime(std::chrono::floor<UtcTime::duration>(st.tLastWrite)));
        }
    }
    return objFree.Text() + objFull.Text() + TextOfStates(vCameras) + objBytes.Text() +
           objFiles.Text() + objReconnections.Text() + objLast.Text();
}

void WriteMetrics(const std::string& strPath, const std::string& strText) {
    const std::string strNew = strPath + ".new";
    std::error_code stError;
    std::ofstream file(strNew, std::ios::trunc);
    const bool bWritten = file << strText && file.flush();
    file.close();
    fs::permissions(strNew, fs::perms(0644), stError);
    if (bWritten && !stError) fs::rename(strNew, strPath, stError);
    if (bWritten && !stError) return;
    throw CFailure("cannot write " + strPath + (stError ? ": " + stError.message() : ""));
}
