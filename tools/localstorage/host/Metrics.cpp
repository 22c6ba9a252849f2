#include "host/Metrics.h"

#include <filesystem>
#include <fstream>
#include <functional>

#include "RecordTree/RecordDirectory.h"
#include "base/Failure.h"

namespace fs = std::filesystem;

namespace {

constexpr ECameraState STATES[] = {ECameraState::Connecting, ECameraState::Connected,
                                   ECameraState::Lost, ECameraState::Stalled, ECameraState::Ended};

std::string Label(const char* pName, const std::string& strValue) {
    std::string strLabel = std::string(pName) + "=\"";
    for (const char c : strValue) {
        if (c == '"' || c == '\\') strLabel += '\\';
        strLabel += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return strLabel + "\"";
}

/// One metric: its description, and a line for each of its samples.
class CMetric {
public:
    CMetric(const std::string& strName, const char* pType, const char* pHelp)
        : m_strName("localstorage_" + strName),
          m_strText("# HELP " + m_strName + " " + pHelp + "\n# TYPE " + m_strName + " " + pType +
                    "\n") {}

    CMetric& Add(const std::string& strLabels, const std::string& strValue) {
        m_strText += m_strName + "{" + strLabels + "} " + strValue + "\n";
        return *this;
    }
    const std::string& Text() const { return m_strText; }

private:
    const std::string m_strName;
    std::string m_strText;
};

std::string TextOfStates(const std::vector<liveCamera>& vCameras) {
    CMetric objMetric("camera_state", "gauge", "1 for the state that the camera is in.");
    for (const liveCamera& st : vCameras) {
        for (const ECameraState eState : STATES) {
            objMetric.Add(Label("camera", st.strCamera) + "," + Label("state", NameOf(eState)),
                          st.eState == eState ? "1" : "0");
        }
    }
    return objMetric.Text();
}

std::string SecondsOf(std::chrono::system_clock::time_point t) {
    using Span = std::chrono::milliseconds;
    return std::to_string(
               std::chrono::duration_cast<std::chrono::seconds>(t.time_since_epoch()).count()) +
           "." +
           std::to_string(1000 +
                          std::chrono::duration_cast<Span>(t.time_since_epoch()).count() % 1000)
               .substr(1);
}

}  // namespace

std::vector<diskMetrics> MetricsOfDisks(const std::vector<std::string>& vDirs) {
    std::vector<diskMetrics> vDisks;
    for (const std::string& strDir : vDirs) {
        const diskRoom stRoom = DiskRoomOf(strDir);
        vDisks.push_back({strDir, stRoom.nFreeBytes, stRoom.IsFull()});
    }
    return vDisks;
}

std::string MetricsText(const std::vector<diskMetrics>& vDisks,
                        const std::vector<liveCamera>& vCameras) {
    CMetric objFree("disk_free_bytes", "gauge", "Room left on the disk of a record directory.");
    CMetric objFull("disk_full", "gauge", "1 while nothing more is recorded there.");
    for (const diskMetrics& st : vDisks) {
        objFree.Add(Label("dir", st.strDir), std::to_string(st.nFreeBytes));
        objFull.Add(Label("dir", st.strDir), st.bFull ? "1" : "0");
    }
    CMetric objBytes("camera_written_bytes_total", "counter", "Recorded since the start.");
    CMetric objFiles("camera_files_total", "counter", "Files begun since the start.");
    CMetric objReconnections("camera_reconnections_total", "counter",
                             "How often it went away and came back since the start.");
    CMetric objLast("camera_last_write_timestamp_seconds", "gauge",
                    "When something of it was recorded last.");
    for (const liveCamera& st : vCameras) {
        const std::string strLabel = Label("camera", st.strCamera);
        objBytes.Add(strLabel, std::to_string(st.nBytes));
        objFiles.Add(strLabel, std::to_string(st.nFiles));
        objReconnections.Add(strLabel, std::to_string(st.nReconnections));
        if (st.tLastWrite.time_since_epoch().count() > 0) {
            objLast.Add(strLabel, SecondsOf(st.tLastWrite));
        }
    }
    return objFree.Text() + objFull.Text() + TextOfStates(vCameras) + objBytes.Text() +
           objFiles.Text() + objReconnections.Text() + objLast.Text();
}

void WriteMetrics(const std::string& strPath, const std::string& strText) {
    const std::string strNew = strPath + ".new";
    std::error_code stError;
    std::ofstream file(strNew, std::ios::trunc);
    const bool bWritten = file << strText && file.flush();
    file.close();
    fs::permissions(strNew, fs::perms(0644), stError);
    if (bWritten && !stError) fs::rename(strNew, strPath, stError);
    if (bWritten && !stError) return;
    throw CFailure("cannot write " + strPath + (stError ? ": " + stError.message() : ""));
}
