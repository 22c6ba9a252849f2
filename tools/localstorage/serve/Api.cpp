#include "serve/Api.h"

#include <algorithm>

#include "base/Text.h"
#include "base/Times.h"
#include "screen/RecordsJson.h"
#include "serve/Assets.h"
#include "serve/Parameters.h"
#include "serve/Partial.h"
#include "serve/RecordMetrics.h"

namespace {

recordingFilter FilterFor(const std::optional<std::string>& optCamera, const timeSpan& stRange) {
    recordingFilter st;
    if (optCamera) st.vCameras = {*optCamera};
    if (stRange != ALL_DAYS) st.stRange = stRange;
    return st;
}

/// A file of the page, which may load nothing but what is served here.
httpAnswer AssetAnswer(const asset& st) {
    return {
        .eStatus = HTTP_OK,
        .strType = st.pType,
        .strBody = std::string(st.strBytes),
        .vHeaders = {{"Content-Security-Policy",
                      "default-src 'self'; media-src blob:; object-src 'none'; base-uri 'none'; "
                      "frame-ancestors 'none'"}}};
}

/// Where the video of a span is.
std::string VideoUrl(const httpRequest& stRequest, const std::string& strCamera,
                     const timeSpan& stSpan) {
    return stRequest.strOrigin + "/get?path=" + UrlEncoded(strCamera) +
           "&start=" + UrlEncoded(FormatIso(stSpan.tStart)) +
           "&duration=" + CJson(InSeconds(stSpan.Length())).Text();
}

}  // namespace

CApi::CApi(const std::vector<std::string>& vDirs, const std::string& strTempDir,
           const std::atomic<bool>& bStop)
    : m_objDisks(vDirs),
      m_pOverview(std::make_unique<COverview>(m_objDisks, m_objSearch)),
      m_pClips(std::make_unique<CClips>(m_objDisks, m_objSearch, strTempDir, bStop)),
      m_vRoutes{
          {"/healthz", {}, true, [this](auto&...) { return Health(); }},
          {"/metrics", {}, false, [this](auto&...) { return Metrics(); }},
          {"/api/cameras", {}, false, [this](auto&...) { return Cameras(); }},
          {"/api/status", {}, false, [this](auto&...) { return Status(); }},
          {"/api/days", {}, false, [this](auto&...) { return Days(); }},
          {"/api/timeline",
           {"day"},
           false,
           [this](auto&, auto& objReader) { return Timeline(objReader); }},
          {"/api/recordings",
           {"camera", "from", "to"},
           false,
           [this](auto&, auto& objReader) { return Recordings(objReader); }},
          {"/api/pictures",
           {"camera", "day"},
           false,
           [this](auto& st, auto& objReader) { return Pictures(st, objReader); }},
          {"/api/picture",
           {"camera", "time"},
           false,
           [this](auto&, auto& objReader) { return Picture(objReader); }},
          {"/list",
           {"path", "start", "end"},
           false,
           [this](auto& st, auto& objReader) { return List(st, objReader); }},
          {"/get",
           {"path", "start", "duration", "format"},
           false,
           [this](auto&, auto& objReader) { return m_pClips->Video(objReader); }},
      } {}

httpAnswer CApi::Answer(const httpRequest& stRequest) const {
    if (const asset* pAsset = FindAsset(stRequest.strPath)) return AssetAnswer(*pAsset);
    const route* pRoute = FindRoute(stRequest.strPath);
    if (!pRoute) throw CHttpFailure(HTTP_NOT_FOUND, "there is nothing of this name");
    return pRoute->fnAnswer(stRequest, CParameterReader(stRequest.mParameters));
}

const CApi::route* CApi::FindRoute(const std::string& strPath) const {
    const auto it = std::find_if(m_vRoutes.begin(), m_vRoutes.end(),
                                 [&](const route& st) { return st.strPath == strPath; });
    return it == m_vRoutes.end() ? nullptr : &*it;
}

void CApi::Count(const std::string& strPath, httpStatus eStatus, double fSeconds) {
    // What clients make up shall not fill the memory.
    const bool bKnown = FindRoute(strPath) || FindAsset(strPath);
    m_objCounts.Add(bKnown ? strPath : "other", eStatus, fSeconds);
}

std::vector<std::string> CApi::Unreadable() const {
    return m_objDisks.AllBut(m_objDisks.Readable());
}

httpAnswer CApi::Health() const {
    // Which one it is, whoever may ask for the metrics is told.
    if (!Unreadable().empty()) throw CFailure("a record directory cannot be read");
    return JsonAnswer(JsonObject{{"status", "ok"}});
}

httpAnswer CApi::Cameras() const {
    const auto p = m_pOverview->Get(m_objDisks.Readable());
    std::vector<JsonObject> vCameras;
    for (const auto& [strCamera, st] : p->mCameras) {
        vCameras.push_back(CameraJson(strCamera, st));
    }
    return Marked(JsonAnswer(vCameras), p->mUnread);
}

httpAnswer CApi::Metrics() const {
    const auto vReadable = m_objDisks.Readable();
    const auto p = m_pOverview->Get(vReadable);
    return {.strType = "text/plain; version=0.0.4",
            .strBody = MetricsOf(m_objDisks.Dirs(), vReadable) + MetricsOf(p->vDisks) +
                       MetricsOf(p->mCameras) + m_objCounts.Text()};
}

httpAnswer CApi::Status() const {
    const auto p = m_pOverview->Get(m_objDisks.Readable());
    std::vector<JsonObject> vDisks;
    for (const std::string& strDir : m_objDisks.Dirs()) {
        const auto it = std::find_if(p->vDisks.begin(), p->vDisks.end(),
                                     [&](const auto& st) { return st.first == strDir; });
        vDisks.push_back(it == p->vDisks.end()
                             ? JsonObject{{"dir", strDir}, {"error", "it cannot be read"}}
                             : DiskJson(strDir, it->second));
    }
    return Marked(JsonAnswer(vDisks), p->mUnread);
}

httpAnswer CApi::Days() const {
    const auto stFound = m_objSearch.Days();
    std::vector<JsonObject> vDays;
    for (const std::string& strDay : stFound.vFound) vDays.push_back({{"day", DayText(strDay)}});
    return Marked(JsonAnswer(vDays), stFound.mUnread);
}

httpAnswer CApi::Timeline(const CParameterReader& objReader) const {
    const timeSpan stDay = objReader.Day("day");
    const auto stFound = m_objSearch.Recordings({.stRange = stDay});
    const timelineDay stTimeline = MakeTimeline(stFound.vFound, stDay);
    std::vector<JsonObject> vRows;
    for (const timelineRow& st : stTimeline.vRows) vRows.push_back(TimelineJson(stTimeline, st));
    return Marked(JsonAnswer(vRows), stFound.mUnread);
}

httpAnswer CApi::Recordings(const CParameterReader& objReader) const {
    const auto optCamera = objReader.Camera("camera");
    std::vector<JsonObject> vRecordings;
    const auto stFound =
        m_objSearch.Recordings(FilterFor(optCamera, objReader.Range("from", "to")));
    for (const recording& st : stFound.vFound) vRecordings.push_back(RecordingJson(st));
    return Marked(JsonAnswer(vRecordings), stFound.mUnread);
}

httpAnswer CApi::List(const httpRequest& stRequest, const CParameterReader& objReader) const {
    const std::string strCamera = Needed(objReader.Camera("path"), "path");
    const timeSpan stRange = objReader.Range("start", "end");
    std::vector<timeSpan> vSpans;
    const auto stFound = AtLeastOne(m_objSearch.Recordings(FilterFor(strCamera, stRange)));
    for (const recording& st : stFound.vFound) {
        vSpans.push_back(Clip(st.Span(), stRange));
    }
    std::vector<JsonObject> vList;
    for (const timeSpan& st : Merge(std::move(vSpans))) {
        vList.push_back({{"start", FormatIso(st.tStart)},
                         {"duration", InSeconds(st.Length())},
                         {"url", VideoUrl(stRequest, strCamera, st)}});
    }
    return Marked(JsonAnswer(vList), stFound.mUnread);
}

httpAnswer CApi::Pictures(const httpRequest& stRequest, const CParameterReader& objReader) const {
    const std::string strCamera = Needed(objReader.Camera("camera"), "camera");
    std::vector<JsonObject> vPictures;
    const auto stFound = m_objSearch.Pictures(strCamera, objReader.Day("day"));
    for (const picture& st : stFound.vFound) {
        const std::string strTime = FormatIso(st.tTaken);
        vPictures.push_back({{"time", strTime},
                             {"bytes", st.nBytes},
                             {"url", stRequest.strOrigin + "/api/picture?camera=" +
                                         UrlEncoded(strCamera) + "&time=" + UrlEncoded(strTime)}});
    }
    return Marked(JsonAnswer(vPictures), stFound.mUnread);
}

httpAnswer CApi::Picture(const CParameterReader& objReader) const {
    const std::string strCamera = Needed(objReader.Camera("camera"), "camera");
    const UtcTime tTime = Needed(objReader.Time("time"), "time");
    const auto stFound = AtLeastOne(m_objSearch.Pictures(strCamera, {tTime, tTime + Seconds(1)}));
    return FileAnswer(std::make_shared<COpenFile>(stFound.vFound.front().Path()), "image/jpeg");
}
