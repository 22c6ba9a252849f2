// localstorage import: stores one stream as one recording of the remote-backup layout.

#include <cmath>
#include <memory>

#include "Catalogue/FolderInUse.h"
#include "base/Failure.h"
#include "base/System.h"
#include "base/Text.h"
#include "base/Times.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "host/Host.h"
#include "media/StreamWriter.h"
#include "records/Inspection.h"
#include "screen/EventPrinter.h"
#include "screen/Terminal.h"

namespace {

constexpr const char* IMPORT_EXAMPLES =
    "  localstorage import --dir /mnt/disk1 --camera door --start \"2024-03-05 08:00\" door.mp4\n"
    "  localstorage import --dir /mnt/disk1 --camera door --start 2024-03-05T08:00:00 \\\n"
    "      --end 2024-03-05T09:00:00 --type 2 door.mkv\n\n"
    "Without --end the recording ends after the input's own duration. The folder RecordFile below\n"
    "each directory belongs to the engine: what does not follow its naming rules there may be\n"
    "deleted when the index has to be repaired. Where this import would delete something so, it\n"
    "refuses and names it, unless --yes is given.";

struct importOptions {
    std::vector<std::string> vDirs;
    hostSettings stHost;
    streamForm stForm;
    std::string strCamera, strStart, strEnd, strInput, strDeleteKind;
    unsigned nType = 1;
    bool bYes = false, bJson = false;
};

Seconds DurationOf(const CMediaInput& objInput, const std::string& strInput,
                   const std::atomic<bool>& bStop) {
    const auto fKnown = objInput.Duration();
    if (!fKnown && objInput.Size() == 0) {
        throw CUsageError(WithoutPassword(strInput) + " does not tell how long it is; give --end");
    }
    const double fSeconds = fKnown ? *fKnown : MeasureDuration(strInput, &bStop);
    return Seconds(std::max<std::int64_t>(1, std::llround(fSeconds)));
}

recordingName NameOf(const importOptions& stOptions, const CMediaInput& objInput,
                     const std::atomic<bool>& bStop) {
    const UtcTime tStart = TimeOf(stOptions.strStart);
    const UtcTime tEnd = stOptions.strEnd.empty()
                             ? tStart + DurationOf(objInput, stOptions.strInput, bStop)
                             : TimeOf(stOptions.strEnd);
    if (tEnd < tStart) {
        throw CUsageError("the recording would end at " + FormatTime(tEnd) +
                          ", before it starts at " + FormatTime(tStart));
    }
    return {LOCAL_STORAGE_REMOTE_BACKUP, ToLocal(tStart), ToLocal(tEnd), stOptions.nType};
}

/// The engine would begin the file anew, and its index takes two recordings with the same times for
/// one.
void RefuseExisting(const importOptions& stOptions, const recordingName& stName) {
    // What recordings carry may differ from their names by as much.
    const localMoments stStart = MomentsOf(stName.tStart);
    const timeSpan stNear = Widened({stStart.tFirst, stStart.tSecond}, GAP_TOLERANCE);
    const recordingFilter stFilter{
        .vCameras = {stOptions.strCamera}, .stRange = stNear, .bEmpty = true};
    for (const recording& st : FindRecordings(stOptions.stHost.vDirs, stFilter)) {
        if (st.stName.tStart != stName.tStart || st.stName.tEnd != stName.tEnd) continue;
        throw CFailure("a recording of " + stOptions.strCamera +
                       " with these times is there already, and nothing was written: " + st.Path());
    }
}

/// A start that makes the index anew would remove what is foreign.
void RefuseForeign(const std::vector<std::string>& vDirs) {
    const CFolderInUse objFolder(vDirs);
    std::vector<std::string> vForeign;
    for (const std::string& strDir : vDirs) {
        const std::string strFolder = objFolder.In(strDir);
        if (!IsRepairDue(strDir + "/" + strFolder)) continue;
        for (const finding& st : Inspect(strDir, strFolder).vFindings) {
            if (st.eKind == findingKind::FOREIGN) vForeign.push_back(st.strPath);
        }
    }
    if (vForeign.empty()) return;
    throw CFailure(
        "the index has to be made anew, which would remove what does not belong to it, and nothing "
        "was written; move it away, or give --yes: " +
        Joined(vForeign, ", "));
}

/// The engine deletes no pictures in this layout: a full disk would stay full.
std::string DeleteKindFault(const std::string& strKind) {
    if (strKind != "pictures") return {};
    return "in the remote-backup layout a full disk deletes no pictures; take recordings, or "
           "delete pictures with \"localstorage prune --kind pictures\"";
}

recFileInfo FileInfoOf(const recordingName& stName) {
    recFileInfo st;
    st.stStartTime = ToBlockTime(stName.tStart);
    st.stEndTime = ToBlockTime(stName.tEnd);
    st.enumRecordType = static_cast<RecordType>(stName.nType);
    return st;
}

/// Copies the stream, a live one until the recording's time is over; false when it was stopped
/// halfway.
bool Copy(CMediaInput& objInput, CStreamWriter& objWriter, CHostChannel& objChannel,
          const std::string& strInput, Seconds nLength, const std::atomic<bool>& bStop) {
    const bool bLive = objInput.Size() == 0;
    CProgress objProgress(strInput.substr(strInput.rfind('/') + 1));
    std::uint64_t nBytes = 0;
    const auto Write = [&](Bytes stBytes) {
        if (!stBytes.empty() && !objChannel.Write(stBytes)) {
            throw CFailure("writing failed, the recording holds only its first " +
                           FormatBytes(nBytes));
        }
        nBytes += stBytes.size();
    };
    while (const accessUnit* pUnit = objInput.Next()) {
        if (bLive && pUnit->fTime >= static_cast<double>(nLength.count())) break;
        Write(objWriter.Make(*pUnit));
        objProgress.Show(objInput.Position(), objInput.Size(), FormatBytes(nBytes));
    }
    Write(objWriter.TakeRest());
    return !bStop;
}

/// Prints what the engine tells; that the file is closed only when it is durable as well.
class CImportEvents {
public:
    explicit CImportEvents(bool bJson) : m_objPrinter(bJson) {}

    void Take(const hostEvent& stEvent) {
        m_bLost |= stEvent.nMessage == MESSAGEVALUE_WRITEFAIL;
        if (stEvent.nMessage == MESSAGEVALUE_CLOSEFILE) {
            m_vClosed.push_back(stEvent);
        } else {
            m_objPrinter.Print(stEvent);
        }
    }
    /// Call when the host has ended.
    void Finish() {
        for (const hostEvent& stEvent : m_vClosed) m_objPrinter.Print(stEvent);
        if (m_bLost) throw CFailure("the disk did not take all of the recording");
    }

private:
    CEventPrinter m_objPrinter;
    std::vector<hostEvent> m_vClosed;
    bool m_bLost = false;
};

int Run(importOptions& stOptions) {
    const std::atomic<bool>& bStop = CatchStopSignals();
    CMediaInput objInput(stOptions.strInput, &bStop, {.eAudio = stOptions.stForm.Audio()},
                         PrintMessage);
    const recordingName stName = NameOf(stOptions, objInput, bStop);
    MakeRecordDirs(stOptions.vDirs);
    hostSettings& stSettings = stOptions.stHost;
    stSettings.vDirs = ExistingDirs(stOptions.vDirs);
    stSettings.bAnalyze = true;
    stSettings.nChannels = 1;
    RefuseOtherLayout(stSettings.vDirs, LOCAL_STORAGE_REMOTE_BACKUP);
    RefuseExisting(stOptions, stName);
    if (!stOptions.bYes) RefuseForeign(stSettings.vDirs);

    CStreamWriter objWriter(stOptions.stForm, objInput, TimeOf(stOptions.strStart));
    CImportEvents objEvents(stOptions.bJson);
    bool bWhole = false;
    {
        CHost objHost(stSettings, [&](const hostEvent& st) { objEvents.Take(st); });
        CHostChannel objChannel(objHost, stOptions.strCamera, nullptr, FileInfoOf(stName));
        const Seconds nLength = stName.tEnd - stName.tStart;
        bWhole = Copy(objInput, objWriter, objChannel, stOptions.strInput, nLength, bStop);
    }  // closed, and durable
    objEvents.Finish();
    if (bWhole) return EXIT_OK;
    PrintMessage("stopped: the recording holds only the beginning of " +
                 WithoutPassword(stOptions.strInput));
    return EXIT_FAILED;
}

}  // namespace

command ImportCommand() {
    const auto pOptions = std::make_shared<importOptions>();
    importOptions& st = *pOptions;
    option stDeleteKind = FileKindOption("--delete-kind", st.strDeleteKind);
    stDeleteKind.strDescription =
        "What may be deleted; pictures never are in this layout, and are refused";
    stDeleteKind.fnFault = DeleteKindFault;
    return {
        "import",
        "Store a stream as one recording (remote-backup layout)",
        IMPORT_EXAMPLES,
        {DirsOption(st.vDirs),
         CameraOption(st.strCamera, "Camera that the recording is of"),
         Required(TimeOption("--start", st.strStart, "When the recording starts")),
         TimeOption("--end", st.strEnd, "When it ends"),
         TypeOption(st.nType, 1),
         ContainerOption(st.stForm.strContainer),
         AudioOption(st.stForm.bAudio),
         StampsOption(st.stForm.bStamps),
         {"--cyclic", &st.stHost.bCyclic,
          "When a disk is full, take the next record directory that has room"},
         AutoDeleteOption(st.stHost.bAutoDelete),
         stDeleteKind,
         {"--yes", &st.bYes, "Import even where foreign files will be removed"},
         JsonOption(st.bJson),
         Required({"INPUT", &st.strInput, "File or address that FFmpeg can open, H.264 or H.265"})},
        [pOptions] { return Run(*pOptions); }};
}
