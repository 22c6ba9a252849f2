// localstorage record: records cameras in the client layout, all at once.

#include <algorithm>
#include <list>
#include <memory>
#include <set>

#include "base/Failure.h"
#include "base/System.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "host/Host.h"
#include "screen/EventPrinter.h"
#include "screen/Terminal.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* EXAMPLES =
    "  localstorage record --dir /mnt/disk1 --camera door=rtsp://192.168.1.20/stream1\n"
    "  localstorage record --dir /mnt/disk1 --dir /mnt/disk2 --cyclic \\\n"
    "      --camera door=rtsp://192.168.1.20/stream1 --camera yard=yard.mkv --file-size 64\n"
    "  localstorage record --dir /tmp/try --camera test=clip.mp4 --pace fast --json\n\n"
    "Ctrl-C closes every file and ends. With several directories, only the first is recorded on\n"
    "unless --cyclic is given. The folder RecordFile below each directory belongs to the engine:\n"
    "with --auto-delete a full disk makes it delete the oldest day, and foreign files with it.";

struct recordOptions {
    std::vector<std::string> vDirs, vCameras;
    hostSettings stHost;
    std::string strDuration, strSnapshotEvery, strPace = "real";
    bool bJson = false;
};

std::string CameraFault(const std::string& strText) {
    const std::size_t nEquals = strText.find('=');
    if (nEquals == std::string::npos || nEquals + 1 == strText.size()) {
        return "\"" + strText + "\": write a camera as ID=INPUT, for example door=rtsp://host/path";
    }
    return CameraIdFault(strText.substr(0, nEquals));
}

std::vector<cameraPlan> PlanCameras(const recordOptions& stOptions) {
    std::vector<cameraPlan> vPlans;
    std::set<std::string> setSeen;
    for (const std::string& strText : stOptions.vCameras) {
        const std::size_t nEquals = strText.find('=');
        cameraPlan st{strText.substr(0, nEquals), strText.substr(nEquals + 1),
                      stOptions.strPace == "real", Seconds(0)};
        if (!stOptions.strSnapshotEvery.empty()) {
            st.nSnapshotEvery = SpanOf(stOptions.strSnapshotEvery);
        }
        if (!setSeen.insert(st.strCamera).second) {
            throw CUsageError("camera " + st.strCamera + " is given twice");
        }
        vPlans.push_back(std::move(st));
    }
    if (vPlans.size() > 64) throw CUsageError("at most 64 cameras can be recorded at once");
    return vPlans;
}

/// The cameras, each on its thread.
class CRecording {
public:
    CRecording(const recordOptions& stOptions, CHost& objHost, CCameraListener& objListener,
               const std::atomic<bool>& bStop) {
        for (cameraPlan& stPlan : PlanCameras(stOptions)) {
            m_lsCameras.emplace_back(std::move(stPlan), objHost, objListener, bStop);
        }
    }

    ~CRecording() { RequestStop(); }  // the threads are waited for next

    bool IsDone() const {
        return std::all_of(m_lsCameras.begin(), m_lsCameras.end(),
                           [](const CCameraRecorder& st) { return st.IsDone(); });
    }
    bool HasFailed() const {
        return std::any_of(m_lsCameras.begin(), m_lsCameras.end(),
                           [](const CCameraRecorder& st) { return st.HasFailed(); });
    }
    void Show(CLiveLines& objLines) {
        if (!objLines.Enabled()) return;
        std::vector<std::string> vLines;
        for (CCameraRecorder& stCamera : m_lsCameras) vLines.push_back(stCamera.LiveLine());
        objLines.Show(std::move(vLines));
    }

private:
    std::list<CCameraRecorder> m_lsCameras;
};

void OnEvent(CEventPrinter& objPrinter, const hostEvent& stEvent) {
    if (stEvent.nMessage == MESSAGEVALUE_CREATEFILE) {
        static_cast<CCameraRecorder*>(stEvent.pUser)->OnFileCreated(stEvent.strPath);
    }
    objPrinter.Print(stEvent);
}

int Run(recordOptions& stOptions) {
    const std::size_t nCameras = PlanCameras(stOptions).size();
    const std::atomic<bool>& bStop = CatchStopSignals();
    MakeRecordDirs(stOptions.vDirs);
    stOptions.stHost.vDirs = ExistingDirs(stOptions.vDirs);
    stOptions.stHost.eLayout = LOCAL_STORAGE_CLIENT;
    stOptions.stHost.bAnalyze = true;
    stOptions.stHost.nChannels = static_cast<unsigned>(nCameras);
    RefuseOtherLayout(stOptions.stHost.vDirs, LOCAL_STORAGE_CLIENT);
    if (stOptions.stHost.vDirs.size() > 1 && !stOptions.stHost.bCyclic) {
        PrintMessage("without --cyclic only " + stOptions.stHost.vDirs[0] + " is recorded on");
    }

    CLiveLines objLines;
    CEventPrinter objPrinter(stOptions.bJson);
    CHost objHost(stOptions.stHost, [&](const hostEvent& st) { OnEvent(objPrinter, st); });
    CRecording objRecording(stOptions, objHost, objPrinter, bStop);
    const auto tEnd = stOptions.strDuration.empty() ? Clock::time_point::max()
                                                    : Clock::now() + SpanOf(stOptions.strDuration);
    while (!objRecording.IsDone()) {
        objRecording.Show(objLines);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (Clock::now() >= tEnd) RequestStop();
    }
    return objRecording.HasFailed() ? EXIT_FAILED : EXIT_OK;
}

}  // namespace

command RecordCommand() {
    const auto pOptions = std::make_shared<recordOptions>();
    recordOptions& st = *pOptions;
    st.stHost.bAutoDelete = true;
    return {"record",
            "Record cameras until their streams end (client layout)",
            EXAMPLES,
            {DirsOption(st.vDirs),
             {.strNames = "--camera",
              .target = &st.vCameras,
              .strDescription =
                  "Camera and where its stream comes from: whatever FFmpeg opens, H.264 or "
                  "H.265; may be given several times",
              .strValue = "ID=INPUT",
              .bRequired = true,
              .fnFault = CameraFault},
             {.strNames = "--file-size",
              .target = &st.stHost.nFileSize,
              .strDescription = "Begin a new file after so many MiB",
              .strValue = "MiB",
              .strDefault = std::to_string(st.stHost.nFileSize),
              .stRange = {1, 2048}},
             {.strNames = "--sync-every",
              .target = &st.stHost.nSyncEvery,
              .strDescription =
                  "Make what is recorded durable again and again after this time, so that a power "
                  "cut costs no more; 0: when the system likes",
              .strValue = "ms",
              .strDefault = std::to_string(st.stHost.nSyncEvery),
              .stRange = {0, 3600000}},
             SpanOption("--duration", st.strDuration, "Stop after this time"),
             {"--cyclic", &st.stHost.bCyclic,
              "When a disk is full, go on with the next record directory that has room"},
             AutoDeleteOption(st.stHost.bAutoDelete),
             FileKindOption("--delete-kind", st.stHost.eDeleteKind),
             SpanOption("--snapshot-every", st.strSnapshotEvery,
                        "Store a JPEG of each camera's latest key frame, again and again after "
                        "this time"),
             {.strNames = "--pace",
              .target = &st.strPace,
              .strDescription =
                  "Read files as fast as a camera would deliver them (real) or as fast as "
                  "possible (fast)",
              .strValue = "real|fast",
              .strDefault = st.strPace,
              .vChoices = {"real", "fast"}},
             JsonOption(st.bJson)},
            [pOptions] { return Run(*pOptions); }};
}
