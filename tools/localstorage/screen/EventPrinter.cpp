#include "screen/EventPrinter.h"

#include "Catalogue/RecordingName.h"
#include "Catalogue/Tree.h"
#include "base/Text.h"
#include "base/Times.h"
#include "screen/Terminal.h"

namespace {

constexpr auto QUIET = std::chrono::seconds(10);

std::string TextOf(const cameraChange& st) {
    const cameraCounts& stCounts = st.stCounts;
    const std::string strStored =
        FormatBytes(stCounts.nBytes) + " in " + Count(stCounts.nFiles, "file");
    switch (st.eState) {
        case ECameraState::Connecting:
            if (stCounts.nTries == 1) return "";
            return "try " + std::to_string(stCounts.nTries) + "; the last one: " + st.strWhy;
        case ECameraState::Connected:
            return "after " + Count(stCounts.nTries, "try", "tries") +
                   (stCounts.nConnections > 1
                        ? ", reconnection " + std::to_string(stCounts.Reconnections())
                        : "");
        case ECameraState::Ended:
            return st.strWhy + ", " + strStored;
        default:
            return st.strWhy + "; tries again in " +
                   Count(static_cast<std::uint64_t>((st.nWait.count() + 500) / 1000), "second") +
                   "; " + strStored + " so far";
    }
}

/// When a recording begins, as its name says; empty for other files.
std::string StartOf(const std::string& strPath) {
    const auto stName = ParseRecordingName(strPath.substr(strPath.rfind('/') + 1));
    return stName ? FormatIso(MomentsOf(stName->tStart).tFirst) : "";
}

}  // namespace

bool CEventPrinter::IsToldAlready(const std::string& strCamera) {
    Clock::time_point& tQuietUntil = m_mQuietUntil[strCamera];
    if (Clock::now() < tQuietUntil) return true;
    tQuietUntil = Clock::now() + QUIET;
    return false;
}

void CEventPrinter::Print(const hostEvent& st) {
    switch (st.nMessage) {
        case MESSAGEVALUE_CREATEFILE:
            return Tell({.strName = "created",
                         .strCamera = st.strCamera,
                         .strText = st.strPath,
                         .strPath = st.strPath});
        case MESSAGEVALUE_CLOSEFILE: {
            const std::uint64_t nBytes = FileSize(st.strPath);
            return Tell({.strName = "closed",
                         .strCamera = st.strCamera,
                         .strText = st.strPath + "  " + FormatBytes(nBytes),
                         .strPath = st.strPath,
                         .optBytes = nBytes});
        }
        case MESSAGEVALUE_DELETEFILE:
            return Tell({.strName = "deleted", .strText = st.strPath, .strPath = st.strPath});
        case MESSAGEVALUE_DISKFULL:
            return Tell({.strName = "disk-full",
                         .strCamera = st.strCamera,
                         .strText = "no record directory has room"});
        case MESSAGEVALUE_SWITCHDISK:
            return Tell({.strName = "switched",
                         .strText = st.strPath + "  " + FormatBytes(st.nUsableMiB << 20) + " free",
                         .vMore = {{"dir", st.strPath}, {"free_bytes", st.nUsableMiB << 20}}});
        case MESSAGEVALUE_WRITEFAIL:
            if (IsToldAlready(st.strCamera)) return;
            return Tell({.strName = "write-failed",
                         .strCamera = st.strCamera,
                         .strText = ErrorText(st.nError) + "; goes on trying with every picture",
                         .vMore = {{"error", ErrorText(st.nError)}, {"errno", st.nError}}});
        default:
            return;
    }
}

void CEventPrinter::OnChange(const cameraChange& st) {
    const cameraCounts& stCounts = st.stCounts;
    event stEvent{.strName = NameOf(st.eState),
                  .strCamera = st.strCamera,
                  .strText = TextOf(st),
                  .optBytes = stCounts.nBytes};
    if (!st.strWhy.empty()) {
        stEvent.vMore.emplace_back(st.eState == ECameraState::Ended ? "reason" : "why", st.strWhy);
    }
    const auto nRetryMs = static_cast<std::uint64_t>(st.nWait.count());
    if (nRetryMs > 0) stEvent.vMore.emplace_back("retry_ms", nRetryMs);
    stEvent.vMore.insert(stEvent.vMore.end(), {{"tries", stCounts.nTries},
                                               {"reconnections", stCounts.Reconnections()},
                                               {"files", stCounts.nFiles}});
    Tell(stEvent);
}

void CEventPrinter::OnSnapshot(const std::string& strCamera, const std::string& strPath,
                               std::uint64_t nBytes) {
    Tell({.strName = "snapshot",
          .strCamera = strCamera,
          .strText = strPath,
          .strPath = strPath,
          .optBytes = nBytes});
}

void CEventPrinter::OnTrouble(const std::string& strCamera, const std::string& strText) {
    PrintMessage(strCamera + ": " + strText);
}

void CEventPrinter::Tell(const event& st) const {
    const UtcTime tNow = Now();
    const std::string strStart = StartOf(st.strPath);
    if (m_pHook &&
        m_pHook->Post({{"LOCALSTORAGE_EVENT", st.strName},
                       {"LOCALSTORAGE_CAMERA", st.strCamera},
                       {"LOCALSTORAGE_PATH", st.strPath},
                       {"LOCALSTORAGE_START", strStart},
                       {"LOCALSTORAGE_BYTES", st.optBytes ? std::to_string(*st.optBytes) : ""}})) {
        PrintMessage(
            "the command of --on-event takes longer than events come; it does not get all");
    }
    if (!m_bJson) {
        PrintLine((m_bTimes ? FormatClock(tNow) + "  " : "") + PadToWidth(st.strName, 12) + "  " +
                  PadToWidth(st.strCamera, 8) + "  " + st.strText);
        return;
    }
    JsonObject vAll = {{"event", st.strName}, {"time", FormatIso(tNow)}};
    if (!st.strCamera.empty()) vAll.emplace_back("camera", st.strCamera);
    if (!st.strPath.empty()) vAll.emplace_back("path", st.strPath);
    if (!strStart.empty()) vAll.emplace_back("start", strStart);
    if (st.optBytes) vAll.emplace_back("bytes", *st.optBytes);
    vAll.insert(vAll.end(), st.vMore.begin(), st.vMore.end());
    PrintJson(vAll);
}
