#include "serve/Api.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <map>
#include <set>

#include "Catalogue/Status.h"
#include "base/Text.h"
#include "base/Times.h"
#include "media/ClipJoin.h"
#include "screen/RecordsJson.h"
#include "serve/Assets.h"
#include "serve/Follow.h"
#include "serve/Parameters.h"
#include "serve/RecordMetrics.h"

namespace {

template <typename T>
void AddTo(found<T>& st, found<T> stMore) {
    std::move(stMore.vFound.begin(), stMore.vFound.end(), std::back_inserter(st.vFound));
    st.mUnread.merge(stMore.mUnread);
}

/// A step of a search in each of these directories at once, but in those that fail.
void RunStep(const CDisks& objDisks, std::vector<std::string>& vDirs, const SearchStep& fnStep,
             found<recording>& stFound) {
    std::map<std::string, std::shared_ptr<std::vector<recording>>> mHere;
    for (const std::string& strDir : vDirs) {
        mHere[strDir] = std::make_shared<std::vector<recording>>();
    }
    for (recording& st : stFound.vFound) {
        if (const auto it = mHere.find(st.strDir); it != mHere.end()) {
            it->second->push_back(std::move(st));
        }
    }
    stFound.vFound.clear();
    const auto Work = [=](const std::string& strDir) {
        found<recording> stHere{std::move(*mHere.at(strDir))};
        fnStep({strDir}, stHere);
        return stHere;
    };
    for (found<recording>& stHere : objDisks.Ask(vDirs, Work)) AddTo(stFound, std::move(stHere));
}

/// The answer, which says of itself when something is missing.
httpAnswer Marked(httpAnswer st, const UnreadFolders& mUnread) {
    if (!mUnread.empty()) {
        st.vHeaders.emplace_back("Localstorage-Unreadable", std::to_string(mUnread.size()));
    }
    return st;
}

recordingFilter FilterFor(const std::optional<std::string>& optCamera, const timeSpan& stRange) {
    recordingFilter st;
    if (optCamera) st.vCameras = {*optCamera};
    if (stRange != ALL_DAYS) st.stRange = stRange;
    return st;
}

constexpr const char* VIDEO_TYPE = "video/mp4";
constexpr const char* NOTHING = "nothing is recorded there";

/// Under which a browser keeps a clip.
std::string FileName(const std::string& strCamera, UtcTime tStart) {
    std::string strName = strCamera + "-" + FormatTime(ToShown(tStart)) + ".mp4";
    for (char& c : strName) {
        const bool bPlain = std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '.';
        if (!bPlain) c = '_';
    }
    return strName;
}

/// Whether more of a recording is on its way that was changed last then: the rest of a frame.
bool IsBeingWritten(const recording&, UtcTime tChange) {
    return Now() - tChange < Seconds(2);
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
      m_pDownloads(std::make_unique<CDownloads>(strTempDir)),
      m_pOverview(std::make_unique<COverview>(
          [this](auto vReadable) { return MakeOverview(std::move(vReadable)); })),
      m_bStop(bStop),
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
           [this](auto&, auto& objReader) { return Video(objReader); }},
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
    const auto vReadable = m_objDisks.Readable();
    std::vector<std::string> vDirs = m_objDisks.Dirs();
    std::erase_if(vDirs, [&](const std::string& strDir) {
        return std::find(vReadable.begin(), vReadable.end(), strDir) != vReadable.end();
    });
    return vDirs;
}

/// Those of the directories that gave no answer hold what is missing, too.
void CApi::NoteSilent(const std::vector<std::string>& vAnswered, UnreadFolders& mUnread) const {
    std::set<std::string> setSilent(m_objDisks.Dirs().begin(), m_objDisks.Dirs().end());
    for (const std::string& strDir : vAnswered) setSilent.erase(strDir);
    for (const std::string& strDir : setSilent) mUnread.emplace(strDir, EIO);
}

/// In those of the directories that can be read to the end, which stay in `vDirs`.
found<recording> CApi::SearchIn(std::vector<std::string>& vDirs,
                                const recordingFilter& stFilter) const {
    auto st = SearchRecordings(stFilter, [&](const SearchStep& fnStep, auto& stFound) {
        RunStep(m_objDisks, vDirs, fnStep, stFound);
    });
    NoteSilent(vDirs, st.mUnread);
    return st;
}

found<recording> CApi::Search(const recordingFilter& stFilter) const {
    auto vDirs = m_objDisks.Readable();
    return SearchIn(vDirs, stFilter);
}

/// What `fnSearch` finds in each of the directories.
template <typename Function>
auto CApi::SearchEach(const Function& fnSearch) const {
    auto vDirs = m_objDisks.Readable();
    std::invoke_result_t<Function, const std::string&> stFound;
    for (auto& stHere : m_objDisks.Ask(vDirs, fnSearch)) AddTo(stFound, std::move(stHere));
    NoteSilent(vDirs, stFound.mUnread);
    return stFound;
}

/// At least one.
found<recording> CApi::SearchSome(const recordingFilter& stFilter) const {
    auto st = Search(stFilter);
    if (st.vFound.empty()) FindNothing(st.mUnread);
    return st;
}

void CApi::FindNothing(const UnreadFolders& mUnread) {
    if (mUnread.empty()) throw CHttpFailure(HTTP_NOT_FOUND, NOTHING);
    throw CFailure("not everything that is recorded can be read, and the rest holds nothing of it");
}

httpAnswer CApi::Health() const {
    // Which one it is, whoever may ask for the metrics is told.
    if (!Unreadable().empty()) throw CFailure("a record directory cannot be read");
    return JsonAnswer(JsonObject{{"status", "ok"}});
}

overview CApi::MakeOverview(std::vector<std::string> vDirs) const {
    const UtcTime tNow = Now();
    const auto pFound =
        std::make_shared<const found<recording>>(SearchIn(vDirs, {.stExact = SinceMidnight(tNow)}));
    CFolderInUse objFolder({});
    const auto LookAt = [](const std::string& strDir) { return CFolderInUse({strDir}); };
    for (const CFolderInUse& objHere : m_objDisks.Ask(vDirs, LookAt)) objFolder.Add(objHere);
    overview st;
    st.vDisks = m_objDisks.Ask(vDirs, [=](const std::string& strDir) {
        return std::pair(strDir, StatusOfDisk(strDir, *pFound, objFolder));
    });
    st.mCameras = StatusOfCameras(pFound->vFound, tNow);
    st.mUnread = UnreadOf(st.vDisks);
    NoteSilent(vDirs, st.mUnread);
    return st;
}

std::shared_ptr<const overview> CApi::Overview() const {
    return m_pOverview->Get(m_objDisks.Readable());
}

httpAnswer CApi::Cameras() const {
    const auto p = Overview();
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
    const auto p = Overview();
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
    const auto stFound = SearchEach([](const std::string& strDir) { return SearchDays({strDir}); });
    std::vector<JsonObject> vDays;
    for (const std::string& strDay : std::set(stFound.vFound.begin(), stFound.vFound.end())) {
        vDays.push_back({{"day", DayText(strDay)}});
    }
    return Marked(JsonAnswer(vDays), stFound.mUnread);
}

httpAnswer CApi::Timeline(const CParameterReader& objReader) const {
    const timeSpan stDay = objReader.Day("day");
    const auto stFound = Search({.stRange = stDay});
    const timelineDay stTimeline = MakeTimeline(stFound.vFound, stDay);
    std::vector<JsonObject> vRows;
    for (const timelineRow& st : stTimeline.vRows) vRows.push_back(TimelineJson(stTimeline, st));
    return Marked(JsonAnswer(vRows), stFound.mUnread);
}

httpAnswer CApi::Recordings(const CParameterReader& objReader) const {
    const auto optCamera = objReader.Camera("camera");
    std::vector<JsonObject> vRecordings;
    const auto stFound = Search(FilterFor(optCamera, objReader.Range("from", "to")));
    for (const recording& st : stFound.vFound) vRecordings.push_back(RecordingJson(st));
    return Marked(JsonAnswer(vRecordings), stFound.mUnread);
}

httpAnswer CApi::List(const httpRequest& stRequest, const CParameterReader& objReader) const {
    const std::string strCamera = Needed(objReader.Camera("path"), "path");
    const timeSpan stRange = objReader.Range("start", "end");
    std::vector<timeSpan> vSpans;
    const auto stFound = SearchSome(FilterFor(strCamera, stRange));
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

/// Writes what is asked for, to its end.
void CApi::Join(const clipRequest& st, CClipTarget& objTarget) const {
    std::set<std::string> setDirs;
    for (const recording& stOne : st.stFound.vFound) setDirs.insert(stOne.strDir);
    const auto vTurns = m_objDisks.BeginWatching(setDirs);
    CClipWriter objWriter(objTarget);
    joinGrowth stGrowth{.fnGrows = IsBeingWritten};
    std::optional<CFollow> optFollow;
    if (st.bFollow) {
        optFollow.emplace(
            [&](const timeSpan& stRange) {
                return Search(FilterFor(st.strCamera, stRange)).vFound;
            },
            st.stFound.vFound.back());
        stGrowth = {.fnGrows = [&](const recording& stThis,
                                   UtcTime tChange) { return optFollow->Grows(stThis, tChange); },
                    .fnNext = [&] { return optFollow->Next(); }};
    }
    try {
        CClipJoin(objWriter, st.stRange, st.stFound.vFound, m_bStop, {}, stGrowth,
                  EOtherCodec::Ends)
            .Run();
    } catch (const CNothingToShow&) {
        throw CHttpFailure(HTTP_NOT_FOUND, NOTHING);
    }
    objWriter.Finish();
}

CApi::clipRequest CApi::ReadClipRequest(const CParameterReader& objReader) const {
    clipRequest st;
    st.strCamera = Needed(objReader.Camera("path"), "path");
    const UtcTime tNow = Now(), tStart = Needed(objReader.Time("start"), "start");
    const auto optLength = objReader.Length("duration");
    st.bFollow = !optLength;
    if (st.bFollow) {
        st.stRange = {std::min(tStart, tNow), EVER.tEnd};
        // What is being recorded reaches up to now, whenever it was written to last.
        st.stFound = SearchSome(
            FilterFor(st.strCamera, {st.stRange.tStart - CAMERA_SILENCE, ALL_DAYS.tEnd}));
        std::vector<recording>& vFound = st.stFound.vFound;
        vFound.erase(vFound.begin(),
                     std::find_if(vFound.begin(), std::prev(vFound.end()), [&](const auto& stOne) {
                         return stOne.tEnd > st.stRange.tStart;
                     }));
    } else {
        st.stRange = {tStart, tStart + *optLength};
        st.stFound = SearchSome(FilterFor(st.strCamera, st.stRange));
        // What is recorded from now on is not waited for.
        st.stRange.tEnd = std::min(st.stRange.tEnd, std::max(tNow, tStart));
    }
    return st;
}

/// A clip is made while it is sent: by the thread of the request, which pushes, as the muxer does.
httpAnswer CApi::Video(const CParameterReader& objReader) const {
    const bool bWhole = objReader.Word("format", {"fmp4", "mp4"}) == "mp4";
    const clipRequest st = ReadClipRequest(objReader);
    if (bWhole) return Download(st);
    const auto Send = [=, this](const BytesSink& fnSink) {
        CClipStream objStream(fnSink);
        Join(st, objStream);
    };
    return Marked({.eStatus = HTTP_OK, .strType = VIDEO_TYPE, .fnBody = Send}, st.stFound.mUnread);
}

/// Made whole first: its beginning tells where everything is.
httpAnswer CApi::Download(const clipRequest& st) const {
    if (st.bFollow) {
        throw CHttpFailure(HTTP_BAD_REQUEST,
                           "the parameter duration is missing: what is still "
                           "being recorded is sent as fmp4 alone");
    }
    const std::shared_ptr<COpenFile> pFile = m_pDownloads->Begin();
    CClipDownload objTarget(*pFile);
    try {
        Join(st, objTarget);
    } catch (const CFailure&) {
        if (objTarget.Fault().empty()) throw;
        throw CFailure(objTarget.Fault() + "; take a shorter range, or format=fmp4");
    }
    httpAnswer stAnswer = FileAnswer(pFile, VIDEO_TYPE);
    stAnswer.vHeaders = {
        {"Content-Disposition",
         "attachment; filename=\"" + FileName(st.strCamera, st.stRange.tStart) + "\""}};
    return Marked(std::move(stAnswer), st.stFound.mUnread);
}

found<picture> CApi::SearchShots(const std::string& strCamera, const timeSpan& stRange) const {
    auto st = SearchEach(
        [=](const std::string& strDir) { return SearchPictures({strDir}, {strCamera}, stRange); });
    std::ranges::stable_sort(st.vFound, {}, &picture::tTaken);
    return st;
}

httpAnswer CApi::Pictures(const httpRequest& stRequest, const CParameterReader& objReader) const {
    const std::string strCamera = Needed(objReader.Camera("camera"), "camera");
    std::vector<JsonObject> vPictures;
    const auto stFound = SearchShots(strCamera, objReader.Day("day"));
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
    const auto stFound = SearchShots(strCamera, {tTime, tTime + Seconds(1)});
    if (stFound.vFound.empty()) FindNothing(stFound.mUnread);
    return FileAnswer(std::make_shared<COpenFile>(stFound.vFound.front().Path()), "image/jpeg");
}
