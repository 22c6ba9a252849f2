#include "EventPrinter.h"

#include "Osl/Osl.h"
#include "Terminal.h"

namespace {

constexpr auto QUIET = std::chrono::seconds(10);

std::uint64_t SizeOf(const std::string& strPath) {
    OSL_FINFO_S stInfo;
    return OSL_GetFileInfo(strPath.c_str(), stInfo) == 0 ? stInfo.nSize : 0;
}

std::string Padded(std::string strText, std::size_t nWidth) {
    const std::size_t nTaken = TextWidth(strText);
    if (nTaken < nWidth) strText.append(nWidth - nTaken, ' ');
    return strText;
}

}  // namespace

bool CEventPrinter::IsToldAlready(const std::string& strCamera) {
    Clock::time_point& tQuietUntil = m_mapQuietUntil[strCamera];
    if (Clock::now() < tQuietUntil) return true;
    tQuietUntil = Clock::now() + QUIET;
    return false;
}

void CEventPrinter::Print(const hostEvent& st) {
    switch (st.nMessage) {
        case MESSAGEVALUE_CREATEFILE:
            return Print("created", st.strCamera, st.strPath, {{"path", st.strPath}});
        case MESSAGEVALUE_CLOSEFILE: {
            const std::uint64_t nBytes = SizeOf(st.strPath);
            return Print("closed", st.strCamera, st.strPath + "  " + FormatBytes(nBytes),
                         {{"path", st.strPath}, {"bytes", nBytes}});
        }
        case MESSAGEVALUE_DELETEFILE:
            return Print("deleted", "", st.strPath, {{"path", st.strPath}});
        case MESSAGEVALUE_DISKFULL:
            return Print("disk-full", st.strCamera, "no record directory has room", Json::object());
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

void CEventPrinter::Print(const std::string& strName, const std::string& strCamera,
                          const std::string& strText, const Json& jsData) const {
    const LocalTime tNow = Now();
    if (!m_bJson) {
        PrintLine(FormatClock(tNow) + "  " + Padded(strName, 12) + "  " + Padded(strCamera, 8) +
                  "  " + strText);
        return;
    }
    Json js = {{"event", strName}, {"time", FormatIso(tNow)}};
    if (!strCamera.empty()) js["camera"] = strCamera;
    js.update(jsData);
    PrintJson(js);
}
