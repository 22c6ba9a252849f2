#include "serve/Clips.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <memory>
#include <optional>
#include <set>

#include "Catalogue/Status.h"
#include "base/Failure.h"
#include "base/Times.h"
#include "media/ClipJoin.h"
#include "serve/Follow.h"
#include "serve/Parameters.h"
#include "serve/Partial.h"

namespace {

constexpr const char* VIDEO_TYPE = "video/mp4";

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

}  // namespace

found<recording> CClips::Search(const std::string& strCamera, const timeSpan& stRange) const {
    return m_objSearch.Recordings({.vCameras = {strCamera}, .stRange = stRange});
}

CClips::request CClips::ReadRequest(const CParameterReader& objReader) const {
    request st;
    st.strCamera = Needed(objReader.Camera("path"), "path");
    const UtcTime tNow = Now(), tStart = Needed(objReader.Time("start"), "start");
    const auto optLength = objReader.Length("duration");
    st.bFollow = !optLength;
    if (st.bFollow) {
        st.stRange = {std::min(tStart, tNow), EVER.tEnd};
        // What is being recorded reaches up to now, whenever it was written to last.
        st.stFound =
            AtLeastOne(Search(st.strCamera, {st.stRange.tStart - CAMERA_SILENCE, ALL_DAYS.tEnd}));
        std::vector<recording>& vFound = st.stFound.vFound;
        vFound.erase(vFound.begin(),
                     std::find_if(vFound.begin(), std::prev(vFound.end()), [&](const auto& stOne) {
                         return stOne.tEnd > st.stRange.tStart;
                     }));
    } else {
        st.stRange = {tStart, tStart + *optLength};
        st.stFound = AtLeastOne(Search(st.strCamera, st.stRange));
        // What is recorded from now on is not waited for.
        st.stRange.tEnd = std::min(st.stRange.tEnd, std::max(tNow, tStart));
    }
    return st;
}

/// Writes what is asked for, to its end.
void CClips::Join(const request& st, CClipTarget& objTarget) const {
    std::set<std::string> setDirs;
    for (const recording& stOne : st.stFound.vFound) setDirs.insert(stOne.strDir);
    const auto vTurns = m_objDisks.BeginWatching(setDirs);
    CClipWriter objWriter(objTarget);
    joinGrowth stGrowth{.fnGrows = IsBeingWritten};
    std::optional<CFollow> optFollow;
    if (st.bFollow) {
        optFollow.emplace(
            [&](const timeSpan& stRange) { return Search(st.strCamera, stRange).vFound; },
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
        FindNothing(st.stFound.mUnread);
    }
    objWriter.Finish();
}

/// A clip is made while it is sent: by the thread of the request, which pushes, as the muxer does.
httpAnswer CClips::Video(const CParameterReader& objReader) {
    const bool bWhole = objReader.Word("format", {"fmp4", "mp4"}) == "mp4";
    const request st = ReadRequest(objReader);
    if (bWhole) return Download(st);
    const auto Send = [=, this](const BytesSink& fnSink) {
        CClipStream objStream(fnSink);
        Join(st, objStream);
    };
    return Marked({.eStatus = HTTP_OK, .strType = VIDEO_TYPE, .fnBody = Send}, st.stFound.mUnread);
}

/// Made whole first: its beginning tells where everything is.
httpAnswer CClips::Download(const request& st) {
    if (st.bFollow) {
        throw CHttpFailure(HTTP_BAD_REQUEST,
                           "the parameter duration is missing: what is still "
                           "being recorded is sent as fmp4 alone");
    }
    const std::shared_ptr<COpenFile> pFile = m_objDownloads.Begin();
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
