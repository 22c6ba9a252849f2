// localstorage record: records cameras in the client layout, all at once. Live ones until it is
// stopped, files until their end.

#include <algorithm>
#include <list>
#include <memory>
#include <set>
#include <tuple>

#include "base/Failure.h"
#include "base/System.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "host/CameraRecorder.h"
#include "host/Host.h"
#include "screen/EventPrinter.h"
#include "screen/Terminal.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* EXAMPLES =
    "  localstorage record --dir /mnt/disk1 --camera door=rtsp://192.168.1.20/stream1\n"
    "  localstorage record --dir /mnt/disk1 --dir /mnt/disk2 --cyclic \\\n"
    "      --camera door=rtsp://192.168.1.20/stream1 --camera yard=yard.mkv --file-size 64\n"
    "  localstorage record --dir /tmp/try --camera test=clip.mp4 --pace fast --json\n"
    "  localstorage record --dir /mnt/disk1 --camera door=address-file:/etc/cameras/door\n\n"
    "Live inputs (rtsp, rtmp, srt, udp, rtp, tcp, http without an end, named pipes) are recorded\n"
    "until Ctrl-C, which closes every file, or for --duration. When one ends, fails, stays silent\n"
    "or cannot be opened, it is tried again after 1, 2, 4 and so on up to 30 seconds, for ever.\n"
    "Files and standard input are recorded to their end once, unless --retry is given.\n"
    "The exit code is 1 when one of those failed, or a camera never brought a picture.\n\n"
    "So that no password shows in a list of processes, INPUT may be address-file:PATH, which is\n"
    "read for every try and holds the address in its first line, or env:NAME, a variable. In an\n"
    "address, a slash in a password is written %2F, an @ %40.\n\n"
    "With several directories, only the first is recorded on unless --cyclic is given. The folder\n"
    "RecordFile below each directory belongs to the engine: with --auto-delete a full disk makes\n"
    "it delete the oldest day, and foreign files with it.";

struct recordOptions {
    std::vector<std::string> vDirs, vCameras, vInputOptions;
    hostSettings stHost;
    streamForm stForm;
    std::string strDuration, strSnapshotEvery, strStall = "10s", strPace = "real";
    std::string strRtspTransport = "tcp", strDeleteKind;
    bool bRetry = false, bJson = false;
};

/// What stands in front of and behind the first "=".
std::pair<std::string, std::string> SplitPair(const std::string& strText) {
    const std::size_t nEquals = strText.find('=');
    if (nEquals == std::string::npos) return {strText, {}};
    return {strText.substr(0, nEquals), strText.substr(nEquals + 1)};
}

std::string CameraFault(const std::string& strText) {
    const auto [strCamera, strInput] = SplitPair(strText);
    if (strInput.empty() || strCamera.find("://") != std::string::npos) {
        return "\"" + WithoutPassword(strText) +
               "\": write a camera as ID=INPUT, for example door=rtsp://host/path";
    }
    return CameraIdFault(strCamera);
}

/// Values may be secret and are never told.
std::string InputOptionFault(const std::string& strText) {
    const auto [strName, strValue] = SplitPair(strText);
    if (strValue.empty()) return "\"" + strName + "\": write an option as KEY=VALUE";
    if (IsInputOption(strName)) return {};
    return "\"" + strName + "\": FFmpeg has no option of this name for inputs";
}

/// What all cameras have in common.
cameraPlan CommonPlan(const recordOptions& stOptions) {
    constexpr auto OPENING = std::chrono::seconds(15);
    cameraPlan st;
    st.stOptions = {
        OPENING, SpanOf(stOptions.strStall), {{"rtsp_transport", stOptions.strRtspTransport}}};
    for (const std::string& strText : stOptions.vInputOptions) {
        st.stOptions.vForInput.push_back(SplitPair(strText));
    }
    st.stForm = stOptions.stForm;
    st.stOptions.eAudio = st.stForm.Audio();
    st.bRetry = stOptions.bRetry;
    st.bRealTime = stOptions.strPace == "real";
    if (!stOptions.strSnapshotEvery.empty()) {
        st.nSnapshotEvery = SpanOf(stOptions.strSnapshotEvery);
    }
    return st;
}

std::vector<cameraPlan> PlanCameras(const recordOptions& stOptions) {
    std::vector<cameraPlan> vPlans;
    std::set<std::string> setSeen;
    for (const std::string& strText : stOptions.vCameras) {
        cameraPlan st = CommonPlan(stOptions);
        std::tie(st.strCamera, st.strInput) = SplitPair(strText);
        AddressOf(st.strInput);  // a mistake in it is told before anything is recorded
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
    CRecording(std::vector<cameraPlan> vPlans, CHost& objHost, CCameraListener& objListener) {
        for (cameraPlan& stPlan : vPlans) {
            m_lsCameras.emplace_back(std::move(stPlan), objHost, objListener);
        }
    }

    ~CRecording() { Stop(); }  // all at once; each is waited for next

    void Stop() {
        for (CCameraRecorder& stCamera : m_lsCameras) stCamera.Stop();
    }
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
    std::vector<cameraPlan> vPlans = PlanCameras(stOptions);
    const std::atomic<bool>& bStop = CatchStopSignals();
    MakeRecordDirs(stOptions.vDirs);
    stOptions.stHost.vDirs = ExistingDirs(stOptions.vDirs);
    stOptions.stHost.eLayout = LOCAL_STORAGE_CLIENT;
    stOptions.stHost.bAnalyze = true;
    stOptions.stHost.eDeleteKind = FileKindOf(stOptions.strDeleteKind);
    stOptions.stHost.nChannels = static_cast<unsigned>(vPlans.size());
    RefuseOtherLayout(stOptions.stHost.vDirs, LOCAL_STORAGE_CLIENT);
    if (stOptions.stHost.vDirs.size() > 1 && !stOptions.stHost.bCyclic) {
        PrintMessage("without --cyclic only " + stOptions.stHost.vDirs[0] + " is recorded on");
    }

    CLiveLines objLines;
    CEventPrinter objPrinter(stOptions.bJson);
    CHost objHost(stOptions.stHost, [&](const hostEvent& st) { OnEvent(objPrinter, st); });
    CRecording objRecording(std::move(vPlans), objHost, objPrinter);
    const auto tEnd = stOptions.strDuration.empty() ? Clock::time_point::max()
                                                    : Clock::now() + SpanOf(stOptions.strDuration);
    while (!objRecording.IsDone()) {
        objRecording.Show(objLines);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (bStop || Clock::now() >= tEnd) objRecording.Stop();
    }
    return objRecording.HasFailed() ? EXIT_FAILED : EXIT_OK;
}

}  // namespace

command RecordCommand() {
    const auto pOptions = std::make_shared<recordOptions>();
    recordOptions& st = *pOptions;
    st.stHost.bAutoDelete = true;
    option stStall =
        SpanOption("--stall", st.strStall, "Connect anew when nothing comes for so long");
    stStall.strDefault = st.strStall;
    return {"record",
            "Record cameras, again and again when they went away (client layout)",
            EXAMPLES,
            {DirsOption(st.vDirs),
             {.strNames = "--camera",
              .target = &st.vCameras,
              .strDescription =
                  "Camera and where its stream comes from: whatever FFmpeg opens, H.264 or "
                  "H.265, address-file:PATH or env:NAME; may be given several times",
              .strValue = "ID=INPUT",
              .bRequired = true,
              .fnFault = CameraFault},
             ContainerOption(st.stForm.strContainer),
             AudioOption(st.stForm.bAudio),
             StampsOption(st.stForm.bStamps),
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
             FileKindOption("--delete-kind", st.strDeleteKind),
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
             {.strNames = "--rtsp-transport",
              .target = &st.strRtspTransport,
              .strDescription = "How RTSP cameras send",
              .strValue = "tcp|udp",
              .strDefault = st.strRtspTransport,
              .vChoices = {"tcp", "udp"}},
             {.strNames = "--input-option",
              .target = &st.vInputOptions,
              .strDescription =
                  "Hand this option to FFmpeg for every input that knows it; may be given several "
                  "times",
              .strValue = "KEY=VALUE",
              .fnFault = InputOptionFault},
             stStall,
             {"--retry", &st.bRetry, "Try files again, too, when they have ended or failed"},
             JsonOption(st.bJson)},
            [pOptions] { return Run(*pOptions); }};
}
