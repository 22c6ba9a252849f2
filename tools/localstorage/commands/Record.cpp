// localstorage record: records cameras in the client layout, all at once. Live ones until it is
// stopped, files until their end.

#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>

#include "RecordTree/RecordDirectory.h"
#include "base/Failure.h"
#include "base/System.h"
#include "base/Text.h"
#include "commands/Commands.h"
#include "commands/RecordPlan.h"
#include "help/CommonOptions.h"
#include "host/CameraSet.h"
#include "host/EventHook.h"
#include "host/Expiry.h"
#include "host/Metrics.h"
#include "host/Periodic.h"
#include "host/ServiceReport.h"
#include "screen/EventPrinter.h"
#include "screen/PrintQueue.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* RECORD_EXAMPLES =
    "  localstorage record --dir /mnt/disk1 --camera door=rtsp://192.168.1.20/stream1\n"
    "  localstorage record --dir /mnt/disk1 --dir /mnt/disk2 --cyclic \\\n"
    "      --camera door=rtsp://192.168.1.20/stream1 --camera yard=yard.mkv --file-size 64\n"
    "  localstorage record --dir /tmp/try --camera test=clip.mp4 --pace fast --json\n"
    "  localstorage record --dir /mnt/disk1 --camera door=address-file:/etc/cameras/door\n"
    "  localstorage record --config /etc/localstorage/record.toml\n\n"
    "Live inputs (rtsp, rtmp, srt, udp, rtp, tcp, http without an end, named pipes) are recorded\n"
    "until Ctrl-C, which closes every file, or for --duration. When one ends, fails, stays silent\n"
    "or cannot be opened, it is tried again after 1, 2, 4 and so on up to 30 seconds, for ever.\n"
    "Files and standard input are recorded to their end once, unless --retry is given.\n"
    "The exit code is 1 when one of those failed, or a camera had brought no picture by "
    "--duration.\n\n"
    "So that no password shows in a list of processes, INPUT may be address-file:PATH, which is\n"
    "read for every try and holds the address in its first line, or env:NAME, a variable. In an\n"
    "address, a slash in a password is written %2F, an @ %40.\n\n"
    "With --config the long options may stand in a file, without their dashes (file-size = 64,\n"
    "dir = [\"/mnt/a\", \"/mnt/b\"]), and each camera in a table, with those of its own:\n"
    "  [camera.door]\n"
    "  input = \"rtsp://192.168.1.20/stream1\"\n"
    "  keep-days = 7\n"
    "What the command line says overrides what stands before the tables. SIGHUP takes over\n"
    "cameras that were added, removed or changed (not on a terminal, where it stops).\n\n"
    "With several directories, only the first is recorded on unless --cyclic is given. The folder\n"
    "RecordFile below each directory belongs to the engine: with --auto-delete a full disk makes\n"
    "it delete the oldest day, and foreign files with it.";

CEventHook* HookFor(std::unique_ptr<CEventHook>& pHook, const std::string& strCommand) {
    if (!strCommand.empty()) pHook = std::make_unique<CEventHook>(strCommand);
    return pHook.get();
}

/// Everything that runs while cameras are recorded.
class CRecording {
public:
    CRecording(recordOptions& stOptions, CPrintQueue& objOutput)
        : m_stOptions(stOptions),
          m_objOutput(objOutput),
          m_objPrinter(stOptions.bJson, !IsReadByJournal(outputStream::OUT),
                       HookFor(m_pHook, stOptions.strOnEvent)),
          m_objExpiry(
              stOptions.stHost.vDirs, [this](const std::string& str) { TellDeleted(str); },
              PrintMessage),
          m_objHost(stOptions.stHost, [this](const hostEvent& st) { OnEvent(st); }),
          m_objCameras(m_objHost, m_objPrinter) {
        m_objCameras.Take(PlanCameras(stOptions));
        m_objExpiry.SetPlan(PlanKeeping(stOptions));
        m_optExpiring.emplace(std::chrono::hours(1), [this] { m_objExpiry.DeleteOld(); });
        if (m_stOptions.strMetrics.empty()) return;
        m_optMeasuring.emplace(std::chrono::seconds(15), [this] { Measure(); });
    }

    /// Until the end of all cameras, or until stopped.
    void Run(const std::atomic<bool>& bStop) {
        const auto tEnd = m_stOptions.strDuration.empty()
                              ? Clock::time_point::max()
                              : Clock::now() + SpanOf(m_stOptions.strDuration);
        CServiceReport objReport;
        while (!m_objCameras.IsDone()) {
            if (m_objOutput.HasLiveLines()) m_objOutput.Show(m_objCameras.LiveLines());
            objReport.Update(m_objCameras);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            if (TakeReloadSignal()) Reload(objReport);
            if (!bStop && Clock::now() < tEnd) continue;
            objReport.BeginStop();
            m_objCameras.Stop();
        }
    }

    bool HasFailed() { return m_objCameras.HasFailed(); }
    bool LacksCamera() { return m_objCameras.LacksCamera(); }

private:
    void OnEvent(const hostEvent& stEvent) {
        if (stEvent.nMessage == MESSAGEVALUE_CREATEFILE) {
            static_cast<CCameraRecorder*>(stEvent.pUser)->OnFileCreated(stEvent.strPath);
        }
        m_objExpiry.OnEvent(stEvent);
        m_objPrinter.Print(stEvent);
    }

    void TellDeleted(const std::string& strPath) {
        hostEvent st;
        st.nMessage = MESSAGEVALUE_DELETEFILE;
        st.strPath = strPath;
        m_objPrinter.Print(st);
    }

    void Measure() {
        try {
            WriteMetrics(
                m_stOptions.strMetrics,
                MetricsText(MetricsOfDisks(m_stOptions.stHost.vDirs), m_objCameras.Status()));
        } catch (const CFailure& error) {
            if (!m_bMeasureFailed) PrintMessage(error.what() + std::string("; goes on trying"));
            m_bMeasureFailed = true;
        }
    }

    /// What was read wrongly changes nothing.
    void Reload(CServiceReport& objReport) {
        objReport.BeginReload();
        try {
            recordOptions stNew;
            ReadArguments({.vOptions = OptionsOfRecord(stNew), .stTable = CameraTables(stNew)},
                          m_stOptions.stConfig.vArguments);
            TakeOver(stNew);
        } catch (const std::exception& error) {
            PrintMessage(error.what() + std::string("; the configuration stays as it was"));
        }
        objReport.EndReload();
    }

    void TakeOver(recordOptions& stNew) {
        const std::vector<cameraPlan> vPlans = PlanCameras(stNew);
        for (const std::string& strName : FixedDifferences(m_stOptions, stNew)) {
            PrintMessage(strName +
                         " cannot change while cameras are recorded; it will with the "
                         "next start");
        }
        m_objCameras.Take(vPlans);
        m_objExpiry.SetPlan(PlanKeeping(stNew));
        PrintMessage(m_stOptions.stConfig.strPath +
                     " was taken over: " + Count(vPlans.size(), "camera"));
    }

    recordOptions& m_stOptions;
    CPrintQueue& m_objOutput;
    std::unique_ptr<CEventHook> m_pHook;
    CEventPrinter m_objPrinter;
    CExpiry m_objExpiry;
    CHost m_objHost;
    CCameraSet m_objCameras;
    bool m_bMeasureFailed = false;
    std::optional<CPeriodic> m_optExpiring, m_optMeasuring;  ///< last: they use everything above
};

/// Makes the record directories, but for those whose disk is not mounted yet, which are told.
std::vector<std::string> PrepareDirs(const recordOptions& st) {
    std::vector<std::string> vPrepared;
    for (const std::string& strGiven : st.vDirs) {
        if (st.stHost.bRequireMount && LiesOnRootDisk(strGiven)) {
            PrintMessage(strGiven + ": no disk is mounted there; it is used once one is");
            vPrepared.push_back(strGiven.substr(0, strGiven.find_last_not_of('/') + 1));
            continue;
        }
        MakeRecordDirs({strGiven});
        const auto vExisting = ExistingDirs({strGiven});
        RefuseOtherLayout(vExisting, LOCAL_STORAGE_CLIENT);
        vPrepared.insert(vPrepared.end(), vExisting.begin(), vExisting.end());
    }
    return vPrepared;
}

int Record(recordOptions& st, CPrintQueue& objOutput, const std::atomic<bool>& bStop) {
    CRecording objRecording(st, objOutput);
    objRecording.Run(bStop);
    // Who is stopped while a camera is away has not failed.
    return objRecording.HasFailed() || (!bStop && objRecording.LacksCamera()) ? EXIT_FAILED
                                                                              : EXIT_OK;
}

int Run(recordOptions& st) {
    const std::atomic<bool>& bStop = CatchStopSignals();
    if (!st.stConfig.strPath.empty() && !IsTerminal(outputStream::ERR)) CatchReloadSignal();
    PlanCameras(st);  // what is wrong with them is told before anything is made
    if (st.bPrintConfig) {
        std::cout << ConfigText(st);
        return EXIT_OK;
    }
    st.stHost.vDirs = PrepareDirs(st);
    st.stHost.eDeleteKind = FileKindOf(st.strDeleteKind);
    st.stHost.nChannels = MOST_CAMERAS;
    if (st.stHost.vDirs.size() > 1 && !st.stHost.bCyclic) {
        PrintMessage("without --cyclic only " + st.stHost.vDirs[0] + " is recorded on");
    }
    CPrintQueue objOutput;
    const int nCode = Record(st, objOutput, bStop);
    // Deliberate: what nobody reads holds the thread that prints it.
    if (!objOutput.End()) std::_Exit(nCode);
    return nCode;
}

}  // namespace

command RecordCommand() {
    const auto pOptions = std::make_shared<recordOptions>();
    return {"record",
            "Record cameras, again and again when they went away (client layout)",
            RECORD_EXAMPLES,
            OptionsOfRecord(*pOptions),
            [pOptions] { return Run(*pOptions); },
            CameraTables(*pOptions)};
}
