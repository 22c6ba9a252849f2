// localstorage export: joins the recordings of a range into one playable file, without encoding.

#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>

#include "base/Failure.h"
#include "base/System.h"
#include "base/Text.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "media/Checksum.h"
#include "media/TimedClip.h"
#include "records/Tree.h"
#include "screen/Findings.h"
#include "screen/Json.h"
#include "screen/Manifest.h"
#include "screen/Terminal.h"

namespace {

constexpr const char* EXAMPLES =
    "  localstorage export --dir /mnt/disk1 --dir /mnt/disk2 --camera door \\\n"
    "      --from \"2024-03-05 08:00\" --to \"2024-03-05 08:10\" -o door.mp4 --manifest\n"
    "  localstorage verify door.mp4.manifest.json\n"
    "  localstorage export --dir /mnt/disk1 --camera door --from -10m --to now -o last.mp4\n\n"
    "The clip begins at the last key frame at or before --from. Gaps are left out of the clip and\n"
    "told on standard error. Transport streams give their own times, and their sound. Bare video\n"
    "holds no times: frames follow the stream's frame rate where a file's length agrees with it,\n"
    "else they are spread evenly over the time from the file's start to its end. Exit code 3:\n"
    "nothing recorded there.";

struct exportOptions {
    selection stSelection;
    std::string strCamera, strFile;
    bool bForce = false, bManifest = false, bJson = false;

    std::string Manifest() const { return strFile + "." + MANIFEST_NAME; }
};

/// What a track of a clip holds: one kind of stream.
struct trackKind {
    AVCodecID eCodec;
    int nWidth, nHeight, nRate, nChannels;

    explicit trackKind(const AVCodecParameters& st)
        : eCodec(st.codec_id),
          nWidth(st.width),
          nHeight(st.height),
          nRate(st.sample_rate),
          nChannels(st.ch_layout.nb_channels) {}
    bool operator==(const trackKind&) const = default;
    std::string Size() const { return std::to_string(nWidth) + "x" + std::to_string(nHeight); }
};

/// What has gone into the clip so far.
class CExport {
public:
    CExport(const exportOptions& stOptions, timeSpan stRange,
            const std::vector<recording>& vRecordings, const std::atomic<bool>& bStop)
        : m_stOptions(stOptions),
          m_stRange(stRange),
          m_vRecordings(vRecordings),
          m_bStop(bStop),
          m_objWriter(stOptions.strFile),
          m_objTimed(m_objWriter, stRange.tStart, stRange.tEnd,
                     [this](const std::string& str) { TellFailure(str); }) {}

    int Run();

private:
    void Add(const recording& stRecording);
    template <typename Function>
    auto Try(const Function& fnRead) -> std::optional<decltype(fnRead())>;
    void AddTimed(const recording& stRecording, openMedia& stMedia);
    void AddBare(const recording& stRecording, const openMedia& stMedia);
    void Join(const recording& stRecording, const clipFrames& stFrames, const fileTimes& stTimes);
    BytesFunction ProgressOf(const recording& stRecording, std::size_t nReadings);
    void TellGap(UtcTime tNext);
    void TellFailure(const std::string& strText);
    bool Fits(const recording& stRecording, const openMedia& stMedia);
    void FitAudio(const recording& stRecording, openMedia& stMedia);
    bool FindAudioKind(AVCodecParameters& stAudio) const;
    void Cover(const recording& stRecording, UtcTime tBegin, UtcTime tEnd);
    void DescribeClip() const;
    void TellResult() const;

    const exportOptions& m_stOptions;
    const timeSpan m_stRange;
    const std::vector<recording>& m_vRecordings;
    const std::atomic<bool>& m_bStop;
    CClipWriter m_objWriter;
    CTimedClip m_objTimed;
    std::optional<CProgress> m_optProgress;
    std::uint64_t m_nDone = 0, m_nWhole = 0;
    std::optional<trackKind> m_optVideo;  ///< of the first recording
    bool m_bAnything = false, m_bFailed = false, m_bAudioTold = false;
    UtcTime m_tBegin;                       ///< when the clip's first frame was taken
    UtcTime m_tCovered;                     ///< up to where recordings have been looked at
    std::vector<const recording*> m_vUsed;  ///< those that gave something to the clip
    unsigned m_nGaps = 0;
};

BytesFunction CExport::ProgressOf(const recording& stRecording, std::size_t nReadings) {
    return [=, this, strWhere = FormatTime(stRecording.tStart)](std::size_t nBytes) {
        m_nDone += nBytes / nReadings;
        m_optProgress->Show(m_nDone, m_nWhole, strWhere);
    };
}

void CExport::TellFailure(const std::string& strText) {
    m_bFailed = true;
    PrintMessage(strText);
}

void CExport::TellGap(UtcTime tNext) {
    const UtcTime tLast = m_bAnything ? m_tCovered : m_stRange.tStart;
    if (tNext <= tLast + GAP_TOLERANCE) return;
    ++m_nGaps;
    PrintMessage("gap: nothing recorded from " + FormatTime(tLast) + " to " + FormatTime(tNext) +
                 " (" + FormatSpan(tNext - tLast) + ")");
}

/// A track holds one kind of stream.
bool CExport::Fits(const recording& stRecording, const openMedia& stMedia) {
    const trackKind stKind(*stMedia.pStream->codecpar);
    if (!m_optVideo) m_optVideo = stKind;
    if (stKind.eCodec != m_optVideo->eCodec) {
        TellFailure(stRecording.Path() + " is " +
                    (stMedia.eCodec == ECodec::H264 ? "H.264, the clip began as H.265"
                                                    : "H.265, the clip began as H.264") +
                    "; it is left out, export it on its own");
        return false;
    }
    if (stKind != *m_optVideo) {
        PrintMessage("the picture's size changes from " + m_optVideo->Size() + " to " +
                     stKind.Size() + " at " + FormatTime(stRecording.tStart) +
                     "; not every player follows");
    }
    return true;
}

/// A short recording may announce sound of which it holds nothing.
bool IsOnlyAnnounced(const AVCodecParameters& stAudio) {
    return stAudio.sample_rate == 0;
}

/// What sound that is only announced is like where a recording holds it; false: none does.
bool CExport::FindAudioKind(AVCodecParameters& stAudio) const {
    for (const recording& st : m_vRecordings) {
        try {
            const openMedia stMedia = OpenMedia(st.Path(), &m_bStop, {.eAudio = EAudio::Yes});
            if (!stMedia.pAudio || IsOnlyAnnounced(*stMedia.pAudio->codecpar)) continue;
            return avcodec_parameters_copy(&stAudio, stMedia.pAudio->codecpar) >= 0;
        } catch (const CFailure&) {
            // It is told when its turn comes.
        }
    }
    return false;
}

/// Leaves out sound that is not of the clip's kind. A clip that begins without can get none later.
void CExport::FitAudio(const recording& stRecording, openMedia& stMedia) {
    if (!stMedia.pAudio) return;
    const bool bBegun = m_objWriter.HasBegun();
    AVCodecParameters& stAudio = *stMedia.pAudio->codecpar;
    if (IsOnlyAnnounced(stAudio) && (bBegun || !FindAudioKind(stAudio))) stMedia.pAudio = nullptr;
    if (!bBegun || !stMedia.pAudio) return;
    const AVCodecParameters* pAudio = m_objWriter.Audio();
    if (pAudio && trackKind(*pAudio) == trackKind(stAudio)) return;
    stMedia.pAudio = nullptr;
    if (std::exchange(m_bAudioTold, true)) return;
    PrintMessage("the sound that begins at " + FormatTime(stRecording.tStart) +
                 " is left out: the clip began " + (pAudio ? "with another kind" : "without") +
                 "; export it on its own");
}

/// Notes what a recording gave to the clip.
void CExport::Cover(const recording& stRecording, UtcTime tBegin, UtcTime tEnd) {
    if (!m_bAnything) m_tBegin = tBegin;
    m_bAnything = true;
    m_tCovered = std::max(m_tCovered, tEnd);
    m_vUsed.push_back(&stRecording);
}

void CExport::AddTimed(const recording& stRecording, openMedia& stMedia) {
    FitAudio(stRecording, stMedia);
    const auto optCovered = m_bAnything ? std::optional(m_tCovered) : std::nullopt;
    const auto optSpan =
        m_objTimed.Append(stMedia, stRecording.tStart, optCovered, ProgressOf(stRecording, 1));
    if (!optSpan) return;
    TellGap(optSpan->tBegin);
    Cover(stRecording, optSpan->tBegin, optSpan->tEnd);
}

void CExport::Join(const recording& stRecording, const clipFrames& stFrames,
                   const fileTimes& stTimes) {
    const UtcTime tFrom = m_bAnything ? std::max(m_stRange.tStart, m_tCovered) : m_stRange.tStart;
    const auto SecondsIn = [&](UtcTime t) { return InSeconds(t - stTimes.tStart); };
    const frameRange stRange = SelectFrames(stFrames.vFrames, stFrames.vPlaces, stTimes.fStep,
                                            SecondsIn(tFrom), SecondsIn(m_stRange.tEnd));
    if (stRange.nFirst >= stRange.nEnd) return;
    const bool bContinues =
        m_bAnything && stRange.nFirst == 0 && stTimes.tStart <= m_tCovered + GAP_TOLERANCE;
    const UtcTime tBegin = stTimes.TimeOf(stFrames.vPlaces[stRange.nFirst]);
    m_objWriter.Append(stRecording.Path(), stFrames, stRange, stTimes.fStep, bContinues, tBegin,
                       ProgressOf(stRecording, 2), m_bStop);
    Cover(stRecording, tBegin, tBegin);
}

void CExport::AddBare(const recording& stRecording, const openMedia& stMedia) {
    const auto optFrames = Try([&] { return ScanFrames(stMedia, ProgressOf(stRecording, 2)); });
    if (m_bStop || !optFrames) return;
    const timeSpan stSpan = stRecording.Span();
    const std::size_t nFrames = optFrames->vFrames.size();
    const bool bStamped = !optFrames->vStamped.empty();
    const fileTimes stTimes =
        TimesOf(nFrames, optFrames->vStamped, stSpan.tStart, stSpan.tEnd, optFrames->fRate);
    const UtcTime tEnd = bStamped ? stTimes.TimeOf(nFrames) : stSpan.tEnd;
    if (m_bAnything && tEnd <= m_tCovered) return;  // others hold all of it
    TellGap(stTimes.tStart);
    Join(stRecording, *optFrames, stTimes);
    m_objTimed.BreakOff();
    m_tCovered = std::max(m_tCovered, tEnd);
}

/// Nothing when the recording cannot be read; the clip goes on without it.
template <typename Function>
auto CExport::Try(const Function& fnRead) -> std::optional<decltype(fnRead())> {
    try {
        return fnRead();
    } catch (const CFailure& error) {
        if (!m_bStop) TellFailure(std::string(error.what()) + "; this recording is left out");
        return std::nullopt;
    }
}

void CExport::Add(const recording& stRecording) {
    auto optMedia =
        Try([&] { return OpenMedia(stRecording.Path(), &m_bStop, {.eAudio = EAudio::Yes}); });
    if (m_bStop || !optMedia || !Fits(stRecording, *optMedia)) return;
    optMedia->IsTransport() ? AddTimed(stRecording, *optMedia) : AddBare(stRecording, *optMedia);
}

int CExport::Run() {
    m_optProgress.emplace(m_stOptions.strFile.substr(m_stOptions.strFile.rfind('/') + 1));
    m_tCovered = m_stRange.tStart;
    for (const recording& st : m_vRecordings) m_nWhole += st.nBytes;
    for (const recording& st : m_vRecordings) {
        Add(st);
        if (m_bStop) throw CFailure("stopped; nothing was written");
    }
    m_optProgress.reset();
    if (!m_bAnything) throw CFailure("the recordings hold no key frame; nothing was written");
    TellGap(m_stRange.tEnd);
    if (const auto nDamaged = m_objWriter.Damaged()) {
        TellFailure(Count(nDamaged, "damaged packet") +
                    " of the recordings cannot be kept in an MP4 file; left out");
    }
    m_objWriter.Finish();
    if (m_stOptions.bManifest) DescribeClip();
    TellResult();
    return m_bFailed ? EXIT_FAILED : EXIT_OK;
}

/// Writes the manifest.
void CExport::DescribeClip() const {
    const auto Describe = [&](const std::string& strPath, const timeSpan& stSpan) {
        return DescribeFile(
            strPath, stSpan, [](std::size_t) {}, m_bStop);
    };
    const auto nLength = static_cast<std::int64_t>(m_objWriter.Length() * 1e6);
    const timeSpan stShown{m_tBegin, m_tBegin + UtcTime::duration(nLength)};
    manifest st{m_stOptions.strCamera,
                m_stRange,
                {},
                Now(),
                UserAtHost(),
                {Describe(m_stOptions.strFile, stShown)}};
    for (const recording* p : m_vUsed) {
        st.vRecordings.push_back(Describe(p->Path(), p->Span()));
        st.vRecordings.back().strSource = std::filesystem::absolute(p->Path());
    }
    if (!MakeDurable(m_stOptions.strFile)) {
        throw CFailure("cannot store " + m_stOptions.strFile + ": " + ErrorText(errno));
    }
    WriteManifest(m_stOptions.Manifest(), st);
}

void CExport::TellResult() const {
    const std::uint64_t nBytes = FileSize(m_stOptions.strFile);
    if (m_stOptions.bJson) {
        PrintJson({{"path", m_stOptions.strFile},
                   {"camera", m_stOptions.strCamera},
                   {"start", FormatIso(m_tBegin)},
                   {"seconds", m_objWriter.Length()},
                   {"frames", m_objWriter.Frames()},
                   {"recordings", m_vUsed.size()},
                   {"gaps", m_nGaps},
                   {"bytes", nBytes}});
        return;
    }
    PrintLine(m_stOptions.strFile + ": " +
              FormatSpan(Seconds(static_cast<std::int64_t>(m_objWriter.Length() + 0.5))) +
              " from " + FormatTime(m_tBegin) + ", " + Count(m_objWriter.Frames(), "frame") +
              " of " + Count(m_vUsed.size(), "recording") + ", " + Count(m_nGaps, "gap") + ", " +
              FormatBytes(nBytes));
    if (!m_stOptions.bManifest) return;
    PrintLine("SHA-256 of " + m_stOptions.Manifest() + ": " +
              Sha256Of(
                  m_stOptions.Manifest(), [](std::size_t) {}, m_bStop));
}

void RefuseExisting(const exportOptions& stOptions) {
    if (stOptions.bForce) return;
    std::vector<std::string> vFiles = {stOptions.strFile};
    if (stOptions.bManifest) vFiles.push_back(stOptions.Manifest());
    for (const std::string& str : vFiles) {
        if (!Exists(str)) continue;
        throw CFailure(str + " exists already; nothing was written (--force replaces it)");
    }
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
    return CExport(stOptions, *stFilter.stRange, vFound, CatchStopSignals()).Run();
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
             {"--manifest", &st.bManifest,
              "Write FILE.manifest.json, too: checksums of the clip and its recordings"},
             JsonOption(st.bJson)},
            [pOptions] { return Run(*pOptions); }};
}
