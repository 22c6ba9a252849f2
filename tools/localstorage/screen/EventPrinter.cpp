#include "screen/EventPrinter.h"

#include "base/Text.h"
#include "base/Times.h"
#include "records/Tree.h"
#include "screen/Terminal.h"

namespace {

constexpr auto QUIET = std::chrono::seconds(10);

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

void CEventPrinter::OnSnapshot(const std::string& strCamera, const std::string& strPath,
                               std::uint64_t nBytes) {
    Print("snapshot", strCamera, strPath, {{"path", strPath}, {"bytes", nBytes}});
}

void CEventPrinter::OnTrouble(const std::string& strCamera, const std::string& strText) {
    PrintMessage(strCamera + ": " + strText);
}

void CEventPrinter::OnEnded(const std::string& strCamera, const cameraResult& st) {
    Print("ended", strCamera,
          st.strReason + ", " + FormatBytes(st.nBytes) + " in " + Count(st.nFiles, "file"),
          {{"reason", st.strReason}, {"bytes", st.nBytes}, {"files", st.nFiles}});
}

void CEventPrinter::Print(const std::string& strName, const std::string& strCamera,
                          const std::string& strText, const JsonObject& vData) const {
    const LocalTime tNow = Now();
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
