#include "serve/RecordMetrics.h"

#include <algorithm>

#include "base/MetricText.h"

std::string MetricsOf(const std::vector<std::string>& vDirs,
                      const std::vector<std::string>& vReadable) {
    CMetric objReadable("disk_readable", "gauge", "1 while what is recorded there can be read.");
    for (const std::string& strDir : vDirs) {
        const bool bReadable =
            std::find(vReadable.begin(), vReadable.end(), strDir) != vReadable.end();
        objReadable.Add(MetricLabel("dir", strDir), bReadable ? "1" : "0");
    }
    return objReadable.Text();
}

std::string MetricsOf(const DiskStatuses& vDisks) {
    CMetric objFree("disk_free_bytes", "gauge", "Room left on the disk of a record directory.");
    CMetric objFull("disk_full", "gauge", "1 while nothing more is recorded there.");
    CMetric objOldest("disk_oldest_day_timestamp_seconds", "gauge",
                      "When the oldest day begins of which something is recorded there.");
    CMetric objDays("disk_days", "gauge", "Days of which something is recorded there.");
    CMetric objUnread("disk_unreadable_folders", "gauge",
                      "Folders below it that cannot be read: what they hold is not counted.");
    CMetric objForecast("disk_full_in_seconds", "gauge",
                        "When it is full if it is filled as in the last days.");
    for (const auto& [strDir, st] : vDisks) {
        const std::string strLabel = MetricLabel("dir", strDir);
        objFree.Add(strLabel, std::to_string(st.stRoom.nFreeBytes));
        objFull.Add(strLabel, st.stRoom.IsFull() ? "1" : "0");
        const auto tOldest = st.setDays.empty() ? std::nullopt : ParseDayName(*st.setDays.begin());
        if (tOldest) objOldest.Add(strLabel, MetricTime(MomentsOf(*tOldest).tFirst));
        objDays.Add(strLabel, std::to_string(st.setDays.size()));
        objUnread.Add(strLabel, std::to_string(st.mUnread.size()));
        if (st.optUntilFull) {
            objForecast.Add(strLabel, std::to_string(InSeconds(*st.optUntilFull)));
        }
    }
    return objFree.Text() + objFull.Text() + objOldest.Text() + objDays.Text() + objUnread.Text() +
           objForecast.Text();
}

std::string MetricsOf(const CameraStatuses& mCameras) {
    CMetric objLast("camera_last_write_timestamp_seconds", "gauge",
                    "When something of it was recorded last.");
    CMetric objBytes("camera_bytes", "gauge", "Recorded and still there.");
    CMetric objFiles("camera_files", "gauge", "Recordings that are still there.");
    CMetric objGaps("camera_gaps_today", "gauge", "Gaps between its recordings of today.");
    CMetric objGapSeconds("camera_gap_seconds_today", "gauge", "How long these are.");
    for (const auto& [strCamera, st] : mCameras) {
        const std::string strLabel = MetricLabel("camera", strCamera);
        const auto vGaps = GapsBetween(st.vToday);
        objLast.Add(strLabel, MetricTime(st.stWhole.tEnd));
        objBytes.Add(strLabel, std::to_string(st.nBytes));
        objFiles.Add(strLabel, std::to_string(st.nRecordings));
        objGaps.Add(strLabel, std::to_string(vGaps.size()));
        objGapSeconds.Add(strLabel, std::to_string(InSeconds(TotalLength(vGaps))));
    }
    return objLast.Text() + objBytes.Text() + objFiles.Text() + objGaps.Text() +
           objGapSeconds.Text();
}
