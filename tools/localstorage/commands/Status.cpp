// localstorage status: what stands on each disk and of each camera.

#include <map>
#include <memory>
#include <set>

#include "RecordTree/Names.h"
#include "RecordTree/RecordDirectory.h"
#include "base/Failure.h"
#include "base/Text.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "records/FolderInUse.h"
#include "records/Tree.h"
#include "screen/Findings.h"
#include "screen/Json.h"
#include "screen/Table.h"
#include "screen/Terminal.h"

namespace {

constexpr const char* EXAMPLES =
    "  localstorage status --dir /mnt/disk1 --dir /mnt/disk2\n"
    "  localstorage status --dir /mnt/disk1 --json\n\n"
    "Nothing is changed, and a host may be recording meanwhile. A disk with 2048 MiB free or less\n"
    "counts as full. Gaps are those between today's recordings of a camera. One that is recorded "
    "as\n"
    "it is filmed (client layout) has stopped when its last picture is more than a minute old.";

/// A camera that is recorded was seen so recently.
constexpr Seconds SILENCE(60);

struct diskStatus {
    std::uint64_t nFreeBytes = 0;
    std::string strFolder;
    std::set<std::string> setDays;
    std::uint64_t nRecordings = 0, nBytes = 0, nPictures = 0, nPictureBytes = 0;

    bool IsFull() const { return nFreeBytes >> 20 <= LOCALSTORAGE_DISK_FULL_SPACE; }
};

struct cameraStatus {
    std::uint64_t nRecordings = 0, nBytes = 0;
    timeSpan stWhole{UtcTime::max(), UtcTime::min()};
    std::vector<timeSpan> vToday;  ///< merged once all are known
    bool bLive = false;            ///< recorded as it is filmed: the client layout
    bool bStopped = false;

    const char* State() const { return bStopped ? "stopped" : bLive ? "recording" : "-"; }
};

using DiskStatuses = std::vector<std::pair<std::string, diskStatus>>;
using CameraStatuses = std::map<std::string, cameraStatus>;

DiskStatuses StatusOfDisks(const std::vector<std::string>& vDirs,
                           const std::vector<recording>& vRecordings) {
    DiskStatuses vDisks;
    const CFolderInUse objFolder(vDirs);
    for (const std::string& strDir : vDirs) {
        diskStatus st;
        st.nFreeBytes = DiskRoomOf(strDir).nFreeBytes;
        const std::string strInUse = objFolder.In(strDir);
        if (Exists(strDir + "/" + strInUse)) st.strFolder = strInUse;
        for (const recording& stRecording : vRecordings) {
            if (stRecording.strDir != strDir) continue;
            st.setDays.insert(stRecording.strDay);
            ++st.nRecordings;
            st.nBytes += stRecording.nBytes;
        }
        for (const picture& stPicture : FindPictures({strDir})) {
            ++st.nPictures;
            st.nPictureBytes += stPicture.nBytes;
        }
        vDisks.emplace_back(strDir, std::move(st));
    }
    return vDisks;
}

CameraStatuses StatusOfCameras(const std::vector<recording>& vRecordings, UtcTime tNow) {
    const timeSpan stToday{SinceMidnight(tNow).tStart, tNow};
    CameraStatuses mCameras;
    for (const recording& stRecording : vRecordings) {
        cameraStatus& st = mCameras[stRecording.strCamera];
        const timeSpan stSpan = stRecording.Span();
        ++st.nRecordings;
        st.nBytes += stRecording.nBytes;
        st.bLive |= stRecording.IsClient();
        st.stWhole = {std::min(st.stWhole.tStart, stSpan.tStart),
                      std::max(st.stWhole.tEnd, stSpan.tEnd)};
        st.vToday.push_back(Clip(stSpan, stToday));
    }
    for (auto& [strCamera, st] : mCameras) {
        st.vToday = Merge(std::move(st.vToday));
        st.bStopped = st.bLive && st.stWhole.tEnd < tNow - SILENCE;
    }
    return mCameras;
}

std::string DayText(const std::string& strDay) {
    const auto tDay = ParseDayName(strDay);
    return tDay ? FormatDay(*tDay) : strDay;
}

void PrintDisksAsTable(const DiskStatuses& vDisks) {
    CTable objTable({{"DIRECTORY"},
                     {"FREE", CTable::RIGHT},
                     {"STATE"},
                     {"FOLDER"},
                     {"OLDEST DAY"},
                     {"NEWEST DAY"},
                     {"RECORDINGS", CTable::RIGHT},
                     {"SIZE", CTable::RIGHT},
                     {"PICTURES", CTable::RIGHT},
                     {"SIZE", CTable::RIGHT}});
    for (const auto& [strDir, st] : vDisks) {
        const bool bEmpty = st.setDays.empty();
        objTable.AddRow(
            {strDir, FormatBytes(st.nFreeBytes), st.IsFull() ? "full" : "has room",
             st.strFolder.empty() ? "-" : st.strFolder, bEmpty ? "-" : DayText(*st.setDays.begin()),
             bEmpty ? "-" : DayText(*st.setDays.rbegin()), std::to_string(st.nRecordings),
             FormatBytes(st.nBytes), std::to_string(st.nPictures), FormatBytes(st.nPictureBytes)});
    }
    objTable.Print();
}

void PrintCamerasAsTable(const CameraStatuses& mCameras) {
    CTable objTable({{"CAMERA"},
                     {"FIRST"},
                     {"LAST"},
                     {"STATE"},
                     {"RECORDINGS", CTable::RIGHT},
                     {"SIZE", CTable::RIGHT},
                     {"TODAY", CTable::RIGHT},
                     {"GAPS TODAY"}});
    for (const auto& [strCamera, st] : mCameras) {
        const auto vGaps = GapsBetween(st.vToday);
        constexpr std::size_t LAST = 2, STATE = 3;
        objTable.AddRow(
            {strCamera, FormatTime(st.stWhole.tStart), FormatTime(st.stWhole.tEnd), st.State(),
             std::to_string(st.nRecordings), FormatBytes(st.nBytes),
             FormatSpan(TotalLength(st.vToday)),
             vGaps.empty() ? "none"
                           : std::to_string(vGaps.size()) + ", " + FormatSpan(TotalLength(vGaps))},
            st.bStopped ? std::set<std::size_t>{LAST, STATE} : std::set<std::size_t>{});
    }
    objTable.Print();
}

void PrintDisksAsJson(const DiskStatuses& vDisks) {
    for (const auto& [strDir, st] : vDisks) {
        const bool bEmpty = st.setDays.empty();
        PrintJson({{"kind", "disk"},
                   {"dir", strDir},
                   {"free_bytes", st.nFreeBytes},
                   {"full", st.IsFull()},
                   {"folder", st.strFolder},
                   {"oldest_day", bEmpty ? CJson(nullptr) : DayText(*st.setDays.begin())},
                   {"newest_day", bEmpty ? CJson(nullptr) : DayText(*st.setDays.rbegin())},
                   {"recordings", st.nRecordings},
                   {"bytes", st.nBytes},
                   {"pictures", st.nPictures},
                   {"picture_bytes", st.nPictureBytes}});
    }
}

void PrintCamerasAsJson(const CameraStatuses& mCameras) {
    for (const auto& [strCamera, st] : mCameras) {
        const auto vGaps = GapsBetween(st.vToday);
        PrintJson({{"kind", "camera"},
                   {"camera", strCamera},
                   {"first", FormatIso(st.stWhole.tStart)},
                   {"last", FormatIso(st.stWhole.tEnd)},
                   {"state", st.State()},
                   {"recordings", st.nRecordings},
                   {"bytes", st.nBytes},
                   {"seconds_today", InSeconds(TotalLength(st.vToday))},
                   {"gaps_today", vGaps.size()},
                   {"gap_seconds_today", InSeconds(TotalLength(vGaps))}});
    }
}

int Run(const std::vector<std::string>& vGiven, bool bJson) {
    const auto vDirs = ExistingDirs(vGiven);
    const UtcTime tNow = Now();
    const auto vRecordings = FindRecordings(vDirs, {.stExact = SinceMidnight(tNow)});
    TellHidden(vDirs, vRecordings);
    const DiskStatuses vDisks = StatusOfDisks(vDirs, vRecordings);
    const CameraStatuses mCameras = StatusOfCameras(vRecordings, tNow);
    if (bJson) {
        PrintDisksAsJson(vDisks);
        PrintCamerasAsJson(mCameras);
        return EXIT_OK;
    }
    PrintDisksAsTable(vDisks);
    if (mCameras.empty()) return EXIT_OK;
    PrintLine("");
    PrintCamerasAsTable(mCameras);
    return EXIT_OK;
}

}  // namespace

command StatusCommand() {
    const auto pDirs = std::make_shared<std::vector<std::string>>();
    const auto pJson = std::make_shared<bool>(false);
    return {"status",
            "Tell what stands on each disk and of each camera",
            EXAMPLES,
            {DirsOption(*pDirs), JsonOption(*pJson)},
            [=] { return Run(*pDirs, *pJson); }};
}
