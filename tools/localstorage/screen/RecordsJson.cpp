#include "screen/RecordsJson.h"

#include "base/Text.h"
#include "base/Times.h"

namespace {

const char* LayoutName(LocalStorageType eLayout) {
    return eLayout == LOCAL_STORAGE_CLIENT ? "client" : "remote-backup";
}

const char* SourceName(endSource eSource) {
    switch (eSource) {
        case endSource::NAME:
            return "name";
        case endSource::STAMP:
            return "stamp";
        case endSource::STREAM:
            return "stream";
        case endSource::LAST_CHANGE:
            return "next file or last change";
    }
    return "";
}

}  // namespace

JsonObject DiskJson(const std::string& strDir, const diskStatus& st) {
    const bool bEmpty = st.setDays.empty();
    std::vector<JsonObject> vUnread;
    for (const auto& [strPath, nError] : st.mUnread) {
        vUnread.push_back({{"path", strPath}, {"error", ErrorText(nError)}});
    }
    return {{"dir", strDir},
            {"free_bytes", st.stRoom.nFreeBytes},
            {"full", st.stRoom.IsFull()},
            {"full_in_seconds", st.optUntilFull ? CJson(InSeconds(*st.optUntilFull)) : nullptr},
            {"missing", st.bMissing},
            {"folder", st.strFolder},
            {"oldest_day", bEmpty ? CJson(nullptr) : DayText(*st.setDays.begin())},
            {"newest_day", bEmpty ? CJson(nullptr) : DayText(*st.setDays.rbegin())},
            {"recordings", st.nRecordings},
            {"bytes", st.nBytes},
            {"pictures", st.nPictures},
            {"picture_bytes", st.nPictureBytes},
            {"unreadable", vUnread}};
}

JsonObject CameraJson(const std::string& strCamera, const cameraStatus& st) {
    const auto vGaps = GapsBetween(st.vToday);
    return {{"camera", strCamera},
            {"first", st.HasNeverCome() ? CJson(nullptr) : FormatIso(st.stWhole.tStart)},
            {"last", st.HasNeverCome() ? CJson(nullptr) : FormatIso(st.stWhole.tEnd)},
            {"state", st.State()},
            {"recordings", st.nRecordings},
            {"bytes", st.nBytes},
            {"seconds_today", InSeconds(TotalLength(st.vToday))},
            {"gaps_today", vGaps.size()},
            {"gap_seconds_today", InSeconds(TotalLength(vGaps))}};
}

JsonObject RecordingJson(const recording& st) {
    return {{"camera", st.strCamera},
            {"start", FormatIso(st.tStart)},
            {"end", FormatIso(st.tEnd)},
            {"end_from", SourceName(st.eEnd)},
            {"type", st.IsClient() ? CJson(nullptr) : CJson(st.stName.nType)},
            {"layout", LayoutName(st.stName.eLayout)},
            {"bytes", st.nBytes},
            {"dir", st.strDir},
            {"path", st.Path()}};
}

JsonObject TimelineJson(const timelineDay& stTimeline, const timelineRow& stRow) {
    std::vector<JsonObject> vSpans, vGaps;
    for (const typedSpan& st : stRow.vSpans) {
        vSpans.push_back({{"start", FormatIso(st.stSpan.tStart)},
                          {"end", FormatIso(st.stSpan.tEnd)},
                          {"type", st.nType ? CJson(st.nType) : CJson(nullptr)}});
    }
    for (const timeSpan& st : stRow.Gaps()) {
        vGaps.push_back({{"start", FormatIso(st.tStart)}, {"end", FormatIso(st.tEnd)}});
    }
    return {{"camera", stRow.strCamera},
            {"day", DayText(stTimeline.stDay)},
            {"seconds", InSeconds(TotalLength(stRow.vCovered))},
            {"recordings", vSpans},
            {"gaps", vGaps}};
}

std::string DayText(const std::string& strDay) {
    const auto tDay = ParseDayName(strDay);
    return tDay ? FormatDay(*tDay) : strDay;
}
