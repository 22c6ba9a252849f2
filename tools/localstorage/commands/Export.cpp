// localstorage export: joins the recordings of a range into one playable file, without encoding.

#include <algorithm>
#include <memory>

#include "base/Failure.h"
#include "base/System.h"
#include "base/Text.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "media/ClipWriter.h"
#include "records/Tree.h"
#include "screen/Findings.h"
#include "screen/Json.h"
#include "screen/Terminal.h"

namespace {

constexpr const char* EXAMPLES =
    "  localstorage export --dir /mnt/disk1 --dir /mnt/disk2 --camera door \\\n"
    "      --from \"2024-03-05 08:00\" --to \"2024-03-05 08:10\" -o door.mp4\n"
    "  localstorage export --dir /mnt/disk1 --camera door --from -10m --to now -o last.mp4\n\n"
    "The clip begins at the last key frame at or before --from. Gaps are left out of the clip and\n"
    "told on standard error. Recordings carry no times of their own: frames follow the stream's\n"
    "frame rate where a file's length agrees with it, else they are spread evenly over the time\n"
    "from the file's start to its end. Sound is not exported. Exit code 3: nothing recorded there.";

struct exportOptions {
    selection stSelection;
    std::string strCamera, strFile;
    bool bForce = false, bJson = false;
};

/// What has gone into the clip so far.
class CExport {
public:
    CExport(const exportOptions& stOptions, timeSpan stRange, const std::atomic<bool>& bStop)
        : m_stOptions(stOptions),
          m_stRange(stRange),
          m_bStop(bStop),
          m_objWriter(stOptions.strFile) {}

    int Run(const std::vector<recording>& vRecordings);

private:
    void Add(const recording& stRecording);
    std::optional<clipFrames> Scan(const recording& stRecording);
    void Join(const recording& stRecording, const clipFrames& stFrames);
    BytesFunction ProgressOf(const recording& stRecording);
    void TellGap(UtcTime tNext);
    bool Fits(const recording& stRecording, const clipFrames& stFrames);
    void TellResult() const;

    const exportOptions& m_stOptions;
    const timeSpan m_stRange;
    const std::atomic<bool>& m_bStop;
    CClipWriter m_objWriter;
    std::optional<CProgress> m_optProgress;
    std::uint64_t m_nDone = 0, m_nWhole = 0;
    clipFrames m_stFirst;  ///< of the first recording, without its frames
    bool m_bAnything = false, m_bFailed = false;
    UtcTime m_tBegin;    ///< when the clip's first frame was taken
    UtcTime m_tCovered;  ///< up to where recordings have been looked at
    unsigned m_nRecordings = 0, m_nGaps = 0;
};

BytesFunction CExport::ProgressOf(const recording& stRecording) {
    return [this, strWhere = FormatTime(stRecording.tStart)](std::size_t nBytes) {
        m_nDone += nBytes;
        m_optProgress->Show(m_nDone, m_nWhole, strWhere);
    };
}

void CExport::TellGap(UtcTime tNext) {
    const UtcTime tLast = m_bAnything ? m_tCovered : m_stRange.tStart;
    if (tNext <= tLast + GAP_TOLERANCE) return;
    ++m_nGaps;
    PrintMessage("gap: nothing recorded from " + FormatTime(tLast) + " to " + FormatTime(tNext) +
                 " (" + FormatSpan(tNext - tLast) + ")");
}

/// A track holds one kind of stream.
bool CExport::Fits(const recording& stRecording, const clipFrames& stFrames) {
    if (!m_bAnything) return true;
    if (stFrames.eCodec != m_stFirst.eCodec) {
        m_bFailed = true;
        PrintMessage(stRecording.Path() + " is " +
                     (stFrames.eCodec == ECodec::H264 ? "H.264, the clip began as H.265"
                                                      : "H.265, the clip began as H.264") +
                     "; it is left out, export it on its own");
        return false;
    }
    if (stFrames.nWidth != m_stFirst.nWidth || stFrames.nHeight != m_stFirst.nHeight) {
        PrintMessage("the picture's size changes from " + std::to_string(m_stFirst.nWidth) + "x" +
                     std::to_string(m_stFirst.nHeight) + " to " + std::to_string(stFrames.nWidth) +
                     "x" + std::to_string(stFrames.nHeight) + " at " +
                     FormatTime(stRecording.tStart) + "; not every player follows");
    }
    return true;
}

void CExport::Join(const recording& stRecording, const clipFrames& stFrames) {
    const timeSpan stSpan = stRecording.Span();
    const double fStep = FrameStep(stFrames.vFrames.size(),
                                   std::chrono::round<Seconds>(stSpan.Length()), stFrames.fRate);
    const UtcTime tFrom = m_bAnything ? std::max(m_stRange.tStart, m_tCovered) : m_stRange.tStart;
    const auto SecondsIn = [&](UtcTime t) { return InSeconds(t - stSpan.tStart); };
    const frameRange stRange = SelectFrames(stFrames.vFrames, stFrames.vPlaces, fStep,
                                            SecondsIn(tFrom), SecondsIn(m_stRange.tEnd));
    if (stRange.nFirst >= stRange.nEnd) return;
    const bool bContinues =
        m_bAnything && stRange.nFirst == 0 && stSpan.tStart <= m_tCovered + GAP_TOLERANCE;
    if (!m_bAnything) {
        m_stFirst = {stFrames.eCodec, stFrames.nWidth, stFrames.nHeight, stFrames.fRate, {}, {}};
        const double fBegin = static_cast<double>(stFrames.vPlaces[stRange.nFirst]) * fStep;
        m_tBegin = stSpan.tStart + FromSeconds(fBegin);
    }
    m_objWriter.Append(stRecording.Path(), stFrames, stRange, fStep, bContinues,
                       ProgressOf(stRecording), m_bStop);
    m_bAnything = true;
    ++m_nRecordings;
}

/// Nothing when the recording cannot be read; the clip goes on without it.
std::optional<clipFrames> CExport::Scan(const recording& stRecording) {
    try {
        return ScanFrames(stRecording.Path(), ProgressOf(stRecording), m_bStop);
    } catch (const CFailure& error) {
        m_bFailed = true;
        PrintMessage(std::string(error.what()) + "; this recording is left out");
        return std::nullopt;
    }
}

void CExport::Add(const recording& stRecording) {
    const timeSpan stSpan = stRecording.Span();
    if (m_bAnything && stSpan.tEnd <= m_tCovered) return;  // others hold all of it
    const auto stFrames = Scan(stRecording);
    if (m_bStop || !stFrames || !Fits(stRecording, *stFrames)) return;
    TellGap(stSpan.tStart);
    Join(stRecording, *stFrames);
    m_tCovered = std::max(m_tCovered, stSpan.tEnd);
}

int CExport::Run(const std::vector<recording>& vRecordings) {
    m_optProgress.emplace(m_stOptions.strFile.substr(m_stOptions.strFile.rfind('/') + 1));
    m_tCovered = m_stRange.tStart;
    for (const recording& st : vRecordings) m_nWhole += 2 * st.nBytes;  // each is read twice
    for (const recording& st : vRecordings) {
        Add(st);
        if (m_bStop) throw CFailure("stopped; nothing was written");
    }
    m_optProgress.reset();
    if (!m_bAnything) throw CFailure("the recordings hold no key frame; nothing was written");
    TellGap(m_stRange.tEnd);
    m_objWriter.Finish();
    TellResult();
    return m_bFailed ? EXIT_FAILED : EXIT_OK;
}

void CExport::TellResult() const {
    const std::uint64_t nBytes = FileSize(m_stOptions.strFile);
    if (m_stOptions.bJson) {
        PrintJson({{"path", m_stOptions.strFile},
                   {"camera", m_stOptions.strCamera},
                   {"start", FormatIso(m_tBegin)},
                   {"seconds", m_objWriter.Length()},
                   {"frames", m_objWriter.Frames()},
                   {"recordings", m_nRecordings},
                   {"gaps", m_nGaps},
                   {"bytes", nBytes}});
        return;
    }
    PrintLine(m_stOptions.strFile + ": " +
              FormatSpan(Seconds(static_cast<std::int64_t>(m_objWriter.Length() + 0.5))) +
              " from " + FormatTime(m_tBegin) + ", " + Count(m_objWriter.Frames(), "frame") +
              " of " + Count(m_nRecordings, "recording") + ", " + Count(m_nGaps, "gap") + ", " +
              FormatBytes(nBytes));
}

void RefuseExisting(const exportOptions& stOptions) {
    if (stOptions.bForce || !Exists(stOptions.strFile)) return;
    throw CFailure(stOptions.strFile +
                   " exists already; nothing was written (--force replaces it)");
}

int Run(exportOptions& stOptions) {
    stOptions.stSelection.vCameras = {stOptions.strCamera};
    recordingFilter stFilter = stOptions.stSelection.Filter();
    stFilter.bEach = true;
    RefuseExisting(stOptions);
    const auto vDirs = ExistingDirs(stOptions.stSelection.vDirs);
    const auto vFound = FindRecordings(vDirs, stFilter);
    TellHidden(vDirs, vFound);
    if (vFound.empty()) {
        PrintMessage("no recording of " + stOptions.strCamera + " between " +
                     FormatTime(stFilter.stRange->tStart) + " and " +
                     FormatTime(stFilter.stRange->tEnd) + "; nothing was written");
        return EXIT_NOTHING_FOUND;
    }
    return CExport(stOptions, *stFilter.stRange, CatchStopSignals()).Run(vFound);
}

}  // namespace

command ExportCommand() {
    const auto pOptions = std::make_shared<exportOptions>();
    exportOptions& st = *pOptions;
    return {"export",
            "Join the recordings of a range into one MP4 file",
            EXAMPLES,
            {DirsOption(st.stSelection.vDirs),
             CameraOption(st.strCamera, "Camera"),
             Required(FromOption(st.stSelection)),
             Required(ToOption(st.stSelection)),
             TypeOption(st.stSelection.nType, 0),
             Required({"-o,--output", &st.strFile, "File to write", "FILE"}),
             {"--force", &st.bForce, "Replace the file if it exists"},
             JsonOption(st.bJson)},
            [pOptions] { return Run(*pOptions); }};
}
