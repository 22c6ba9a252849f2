#include "screen/EventPrinter.h"

#include "base/Text.h"
#include "base/Times.h"
#include "records/Tree.h"
#include "screen/Terminal.h"

namespace {

constexpr auto QUIET = std::chrono::seconds(10);

const char* NameOf(ECameraState eState) {
    switch (eState) {
        case ECameraState::Connecting:
            return "connecting";
        case ECameraState::Connected:
            return "connected";
        case ECameraState::Lost:
            return "lost";
        case ECameraState::Stalled:
            return "stalled";
        default:
            return "ended";
    }
}

unsigned Reconnections(const cameraCounts& st) {
    return st.nConnections > 1 ? st.nConnections - 1 : 0;
}

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
                        ? ", reconnection " + std::to_string(Reconnections(stCounts))
                        : "");
        case ECameraState::Ended:
            return st.strWhy + ", " + strStored;
        default:
            return st.strWhy + "; tries again in " +
                   Count(static_cast<std::uint64_t>((st.nWait.count() + 500) / 1000), "second") +
                   "; " + strStored + " so far";
    }
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
            return Print("created", st.strCamera, st.strPath, {{"path", st.strPath}});
        case MESSAGEVALUE_CLOSEFILE: {
            const std::uint64_t nBytes = FileSize(st.strPath);
            return Print("closed", st.strCamera, st.strPath + "  " + FormatBytes(nBytes),
                         {{"path", st.strPath}, {"bytes", nBytes}});
        }
        case MESSAGEVALUE_DELETEFILE:
            return Print("deleted", "", st.strPath, {{"path", st.strPath}});
        case MESSAGEVALUE_DISKFULL:
            return Print("disk-full", st.strCamera, "no record directory has room", {});
        case MESSAGEVALUE_SWITCHDISK:
            return Print("switched", "",
                         st.strPath + "  " + FormatBytes(st.nUsableMiB << 20) + " free",
                         {{"dir", st.strPath}, {"free_bytes", st.nUsableMiB << 20}});
        case MESSAGEVALUE_WRITEFAIL:
            if (IsToldAlready(st.strCamera)) return;
            return Print("write-failed", st.strCamera,
                         ErrorText(st.nError) + "; goes on trying with every picture",
                         {{"error", ErrorText(st.nError)}, {"errno", st.nError}});
        default:
            return;
    }
}

void CEventPrinter::OnChange(const cameraChange& st) {
    JsonObject vData;
    if (!st.strWhy.empty()) {
        vData.emplace_back(st.eState == ECameraState::Ended ? "reason" : "why", st.strWhy);
    }
    const auto nRetryMs = static_cast<std::uint64_t>(st.nWait.count());
    if (nRetryMs > 0) vData.emplace_back("retry_ms", nRetryMs);
    const cameraCounts& stCounts = st.stCounts;
    vData.insert(vData.end(), {{"tries", stCounts.nTries},
                               {"reconnections", Reconnections(stCounts)},
                               {"bytes", stCounts.nBytes},
                               {"files", stCounts.nFiles}});
    Print(NameOf(st.eState), st.strCamera, TextOf(st), vData);
}

void CEventPrinter::OnSnapshot(const std::string& strCamera, const std::string& strPath,
                               std::uint64_t nBytes) {
    Print("snapshot", strCamera, strPath, {{"path", strPath}, {"bytes", nBytes}});
}

void CEventPrinter::OnTrouble(const std::string& strCamera, const std::string& strText) {
    PrintMessage(strCamera + ": " + strText);
}

void CEventPrinter::Print(const std::string& strName, const std::string& strCamera,
                          const std::string& strText, const JsonObject& vData) const {
    const UtcTime tNow = Now();
    if (!m_bJson) {
        PrintLine(FormatClock(tNow) + "  " + PadToWidth(strName, 12) + "  " +
                  PadToWidth(strCamera, 8) + "  " + strText);
        return;
    }
    JsonObject vAll = {{"event", strName}, {"time", FormatIso(tNow)}};
    if (!strCamera.empty()) vAll.emplace_back("camera", strCamera);
    vAll.insert(vAll.end(), vData.begin(), vData.end());
    PrintJson(vAll);
}
