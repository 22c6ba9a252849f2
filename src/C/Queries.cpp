// What is recorded, for hosts in C: found at once, told element by element.

#include <algorithm>
#include <map>
#include <memory>
#include <utility>

#include "C/Conversion.h"
#include "C/Guard.h"
#include "C/Handles.h"
#include "Catalogue/Catalogue.h"
#include "Catalogue/Status.h"
#include "LocalStorage/Conversion.h"
#include "RecordTree/Names.h"

static_assert(static_cast<int>(LS_END_NAME) == static_cast<int>(endSource::NAME) &&
              static_cast<int>(LS_END_STAMP) == static_cast<int>(endSource::STAMP) &&
              static_cast<int>(LS_END_STREAM) == static_cast<int>(endSource::STREAM) &&
              static_cast<int>(LS_END_LAST_CHANGE) == static_cast<int>(endSource::LAST_CHANGE));

struct ls_query {
    virtual ~ls_query() = default;
};

namespace {

/// Found on disk, with its path, which a record of C points to.
template <typename Found>
struct pathed : Found {
    explicit pathed(Found st) : Found(std::move(st)), strPath(this->Path()) {}

    std::string strPath;
};

struct cameraSpan {
    std::string strCamera;
    timeSpan stSpan;
    bool bGap;
};

ls_recording Give(const pathed<recording>& st) {
    const timeSpan stSpan = st.Span();
    return {.size = sizeof(ls_recording),
            .path = st.strPath.c_str(),
            .directory = st.strDir.c_str(),
            .camera = st.strCamera.c_str(),
            .layout = st.IsClient() ? LS_LAYOUT_CLIENT : LS_LAYOUT_REMOTE_BACKUP,
            .type = st.stName.nType,
            .begin = GiveMoment(stSpan.tStart),
            .end = GiveMoment(stSpan.tEnd),
            .end_source = static_cast<ls_end_source>(st.eEnd),
            .bytes = st.nBytes,
            .changed = GiveMoment(st.tChange)};
}

ls_span Give(const cameraSpan& st) {
    return {.size = sizeof(ls_span),
            .camera = st.strCamera.c_str(),
            .begin = GiveMoment(st.stSpan.tStart),
            .end = GiveMoment(st.stSpan.tEnd),
            .gap = st.bGap};
}

ls_picture Give(const pathed<picture>& st) {
    return {.size = sizeof(ls_picture),
            .path = st.strPath.c_str(),
            .directory = st.strDir.c_str(),
            .camera = st.strCamera.c_str(),
            .taken = GiveMoment(st.tTaken),
            .bytes = st.nBytes};
}

ls_disk Give(const DiskStatuses::value_type& stEntry) {
    const auto& [strDir, st] = stEntry;
    const bool bEmpty = st.setDays.empty();
    return {.size = sizeof(ls_disk),
            .directory = strDir.c_str(),
            .record_folder = st.strFolder.empty() ? nullptr : st.strFolder.c_str(),
            .first_day = bEmpty ? nullptr : st.setDays.begin()->c_str(),
            .last_day = bEmpty ? nullptr : st.setDays.rbegin()->c_str(),
            .free_bytes = st.stRoom.nFreeBytes,
            .full = st.stRoom.IsFull(),
            .recordings = st.nRecordings,
            .recording_bytes = st.nBytes,
            .pictures = st.nPictures,
            .picture_bytes = st.nPictureBytes};
}

ls_camera Give(const std::pair<std::string, cameraStatus>& stEntry) {
    const auto& [strCamera, st] = stEntry;
    return {.size = sizeof(ls_camera),
            .camera = strCamera.c_str(),
            .recordings = st.nRecordings,
            .bytes = st.nBytes,
            .begin = GiveMoment(st.stWhole.tStart),
            .end = GiveMoment(st.stWhole.tEnd),
            .client = st.bLive,
            .recording = st.bLive && !st.bStopped,
            .today = TotalLength(st.vToday).count(),
            .gap_today = TotalLength(GapsBetween(st.vToday)).count()};
}

const char* Give(const std::string& strPath) {
    return strPath.c_str();
}

/// What a query has found. Telling it takes no memory, so it does not fail.
template <typename Found, typename Record>
class CQuery final : public ls_query {
public:
    template <typename Many>
    explicit CQuery(Many&& objMany) {
        for (auto& st : objMany) m_vFound.emplace_back(std::move(st));
    }

    const Record* Next() {
        if (m_nNext == m_vFound.size()) return nullptr;
        m_stRecord = Give(m_vFound[m_nNext++]);
        return &m_stRecord;
    }

private:
    std::vector<Found> m_vFound;
    std::size_t m_nNext = 0;
    Record m_stRecord{};
};

using CRecordings = CQuery<pathed<recording>, ls_recording>;
using CSpans = CQuery<cameraSpan, ls_span>;
using CPictures = CQuery<pathed<picture>, ls_picture>;
using CDiskQuery = CQuery<DiskStatuses::value_type, ls_disk>;
using CCameras = CQuery<std::pair<std::string, cameraStatus>, ls_camera>;
using CPaths = CQuery<std::string, const char*>;

template <typename Query>
auto Next(ls_query* pQuery) -> decltype(std::declval<Query>().Next()) {
    Query* const p = dynamic_cast<Query*>(pQuery);
    return p ? p->Next() : nullptr;
}

/// Moments before and behind the years that names can tell are as good as none.
UtcTime TakeMoment(std::int64_t nMoment) {
    return std::clamp(UtcTime(UtcTime::duration(nMoment)), FIRST_MOMENT, LAST_MOMENT);
}

ls_error TakeFilter(const ls_filter* pFilter, recordingFilter& stFilter) {
    if (!pFilter) return LS_OK;
    const auto st = TakeRecord(pFilter);
    if (!st) return LS_ERROR_ARGUMENT;
    const auto vCameras = TakeTexts(st->cameras, st->camera_count);
    if (!vCameras || st->type > RECORD_TYPE_8) return LS_ERROR_ARGUMENT;
    if (!std::all_of(vCameras->begin(), vCameras->end(), IsFolderName)) return LS_ERROR_CAMERA;
    stFilter.vCameras = *vCameras;
    stFilter.nType = st->type;
    stFilter.bEach = st->exact;
    if (st->exact) stFilter.stExact = EVER;
    if (st->begin == 0 && st->end == 0) return LS_OK;
    if (st->begin >= st->end) return LS_ERROR_TIME;
    stFilter.stRange = {TakeMoment(st->begin), TakeMoment(st->end)};
    return LS_OK;
}

/// Camera by camera, what is covered of a range and the gaps between.
std::vector<cameraSpan> FindSpans(const std::vector<recording>& vRecordings,
                                  const timeSpan& stRange) {
    std::map<std::string, std::vector<timeSpan>> mCovered;
    for (const recording& st : vRecordings) {
        mCovered[st.strCamera].push_back(Clip(st.Span(), stRange));
    }
    std::vector<cameraSpan> vSpans;
    for (auto& [strCamera, vCovered] : mCovered) {
        const std::vector<timeSpan> vMerged = Merge(std::move(vCovered));
        const std::vector<timeSpan> vGaps = GapsBetween(vMerged);
        for (std::size_t n = 0; n < vMerged.size(); ++n) {
            vSpans.push_back({strCamera, vMerged[n], false});
            if (n < vGaps.size()) vSpans.push_back({strCamera, vGaps[n], true});
        }
    }
    return vSpans;
}

/// What every query over directories does.
template <typename Query, typename Find>
ls_error Open(const char* const* ppDirs, std::size_t nDirs, ls_query** ppQuery, int* pSystemError,
              const Find& fnFind) {
    if (ppQuery) *ppQuery = nullptr;
    return Guarded(pSystemError, [&] {
        const auto vDirs = TakeTexts(ppDirs, nDirs);
        if (!ppQuery || !vDirs || vDirs->empty()) return LS_ERROR_ARGUMENT;
        *ppQuery = new Query(fnFind(ExistingDirs(*vDirs)));
        return LS_OK;
    });
}

/// The same with a filter.
template <typename Query, typename Find>
ls_error OpenFiltered(const char* const* ppDirs, std::size_t nDirs, const ls_filter* pFilter,
                      ls_query** ppQuery, int* pSystemError, const Find& fnFind) {
    recordingFilter stFilter;
    const ls_error eError = Guarded(pSystemError, [&] { return TakeFilter(pFilter, stFilter); });
    if (eError) {
        if (ppQuery) *ppQuery = nullptr;
        return eError;
    }
    return Open<Query>(ppDirs, nDirs, ppQuery, pSystemError,
                       [&](const auto& vDirs) { return fnFind(vDirs, stFilter); });
}

}  // namespace

ls_error ls_find_recordings(const char* const* directories, size_t directory_count,
                            const ls_filter* filter, ls_query** query, int* system_error) {
    return OpenFiltered<CRecordings>(directories, directory_count, filter, query, system_error,
                                     FindRecordings);
}

ls_error ls_find_coverage(const char* const* directories, size_t directory_count,
                          const ls_filter* filter, ls_query** query, int* system_error) {
    return OpenFiltered<CSpans>(directories, directory_count, filter, query, system_error,
                                [](const auto& vDirs, const recordingFilter& stFilter) {
                                    return FindSpans(FindRecordings(vDirs, stFilter),
                                                     stFilter.stRange.value_or(EVER));
                                });
}

ls_error ls_find_pictures(const char* const* directories, size_t directory_count,
                          const ls_filter* filter, ls_query** query, int* system_error) {
    return OpenFiltered<CPictures>(directories, directory_count, filter, query, system_error,
                                   [](const auto& vDirs, const recordingFilter& st) {
                                       return FindPictures(vDirs, st.vCameras, st.stRange);
                                   });
}

ls_error ls_find_disks(const char* const* directories, size_t directory_count, ls_query** query,
                       int* system_error) {
    return Open<CDiskQuery>(
        directories, directory_count, query, system_error, [](const auto& vDirs) {
            DiskStatuses vDisks = StatusOfDisks(vDirs, SearchRecordings(vDirs, {}));
            RefuseUnread(UnreadOf(vDisks));
            return vDisks;
        });
}

ls_error ls_find_cameras(const char* const* directories, size_t directory_count, ls_query** query,
                         int* system_error) {
    return Open<CCameras>(directories, directory_count, query, system_error, [](const auto& vDirs) {
        const UtcTime tNow = Now();
        return StatusOfCameras(FindRecordings(vDirs, {.stExact = SinceMidnight(tNow)}), tNow);
    });
}

// The engine keeps one result for all who ask.
ls_error ls_engine_find(ls_engine* engine, const char* camera, uint32_t type, const ls_time* begin,
                        const ls_time* end, ls_query** query) {
    if (query) *query = nullptr;
    return Guarded(nullptr, [&] {
        if (!engine || engine->bClientLayout || !camera || !begin || !end || !query) {
            return LS_ERROR_ARGUMENT;
        }
        recQueryParam stParam;
        if (!IsFolderName(camera)) return LS_ERROR_CAMERA;
        if (type > RECORD_TYPE_8) return LS_ERROR_ARGUMENT;
        CopyText(stParam.szCameraID, sizeof(stParam.szCameraID), camera);
        stParam.enumRecordType = static_cast<RecordType>(type);
        if (!TakeSpan(*begin, *end, stParam.stQueryStartTime, stParam.stQueryEndTime)) {
            return LS_ERROR_TIME;
        }
        CVexList<pathNode>* pFound = nullptr;
        std::vector<std::string> vPaths;
        OSL_Guard guard(engine->mtx);
        engine->objStorage.QueryRecFile(stParam, &pFound);
        if (!pFound) return LS_ERROR_NO_MEMORY;
        for (const pathNode& st : *pFound) vPaths.emplace_back(st.szPath);
        *query = new CPaths(vPaths);
        return LS_OK;
    });
}

const ls_recording* ls_next_recording(ls_query* query) {
    return Next<CRecordings>(query);
}

const ls_span* ls_next_span(ls_query* query) {
    return Next<CSpans>(query);
}

const ls_picture* ls_next_picture(ls_query* query) {
    return Next<CPictures>(query);
}

const ls_disk* ls_next_disk(ls_query* query) {
    return Next<CDiskQuery>(query);
}

const ls_camera* ls_next_camera(ls_query* query) {
    return Next<CCameras>(query);
}

const char* ls_next_path(ls_query* query) {
    const char* const* const ppPath = Next<CPaths>(query);
    return ppPath ? *ppPath : nullptr;
}

void ls_query_close(ls_query* query) {
    delete query;
}
