// localstorage export: joins the recordings of a range into one playable file, without encoding.

#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>

#include "Catalogue/Tree.h"
#include "base/Failure.h"
#include "base/System.h"
#include "base/Text.h"
#include "base/Times.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "media/Checksum.h"
#include "media/ClipJoin.h"
#include "screen/Findings.h"
#include "screen/Json.h"
#include "screen/Manifest.h"
#include "screen/Terminal.h"

namespace {

constexpr const char* EXPORT_EXAMPLES =
    "  localstorage export --dir /mnt/disk1 --dir /mnt/disk2 --camera door \\\n"
    "      --from \"2024-03-05 08:00\" --to \"2024-03-05 08:10\" -o door.mp4 --manifest\n"
    "  localstorage verify door.mp4.manifest.json\n"
    "  localstorage export --dir /mnt/disk1 --camera door --from -10m --to now -o last.mp4\n\n"
    "The clip begins at the last key frame at or before --from. Gaps are left out of the clip and\n"
    "told on standard error. Transport streams give their own times, and their sound. Bare video\n"
    "holds no times: frames follow the stream's frame rate where a file's length agrees with it,\n"
    "else they are spread evenly over the time from the file's start to its end. Exit code 3:\n"
    "nothing recorded there, 1: a recording or a folder could not be read, and the clip lacks it.";

struct exportOptions {
    selection stSelection;
    std::string strCamera, strFile;
    bool bForce = false, bManifest = false, bJson = false;

    std::string Manifest() const { return strFile + "." + MANIFEST_NAME; }
};

/// A clip being made, and what is told of it.
class CExport {
public:
    CExport(const exportOptions& stOptions, timeSpan stRange,
            const std::vector<recording>& vRecordings, const std::atomic<bool>& bStop)
        : m_stOptions(stOptions),
          m_stRange(stRange),
          m_vRecordings(vRecordings),
          m_bStop(bStop),
          m_objFile(stOptions.strFile),
          m_objWriter(m_objFile),
          m_objJoin(m_objWriter, stRange, vRecordings, bStop,
                    {.fnFailure = [this](const std::string& str) { TellFailure(str); },
                     .fnNote = [](const std::string& str) { PrintMessage(str); },
                     .fnGap = [this](const timeSpan& st) { TellGap(st); },
                     .fnBytes = [this](const recording& st,
                                       std::size_t nBytes) { ShowProgress(st, nBytes); }}) {}

    exitCode Run();

private:
    void ShowProgress(const recording& stRecording, std::size_t nBytes);
    void TellGap(const timeSpan& stGap);
    void TellFailure(const std::string& strText);
    void DescribeClip() const;
    void TellResult() const;

    const exportOptions& m_stOptions;
    const timeSpan m_stRange;
    const std::vector<recording>& m_vRecordings;
    const std::atomic<bool>& m_bStop;
    CClipFile m_objFile;
    CClipWriter m_objWriter;
    CClipJoin m_objJoin;
    std::optional<CProgress> m_optProgress;
    std::uint64_t m_nDone = 0, m_nWhole = 0;
    bool m_bFailed = false;
    unsigned m_nGaps = 0;
};

void CExport::ShowProgress(const recording& stRecording, std::size_t nBytes) {
    m_nDone += nBytes;
    m_optProgress->Show(m_nDone, m_nWhole, FormatTime(stRecording.tStart));
}

void CExport::TellGap(const timeSpan& st) {
    ++m_nGaps;
    PrintMessage("gap: nothing recorded from " + FormatTime(st.tStart) + " to " +
                 FormatTime(st.tEnd) + " (" + FormatSpan(st.Length()) + ")");
}

void CExport::TellFailure(const std::string& strText) {
    m_bFailed = true;
    PrintMessage(strText);
}

exitCode CExport::Run() {
    m_optProgress.emplace(m_stOptions.strFile.substr(m_stOptions.strFile.rfind('/') + 1));
    for (const recording& st : m_vRecordings) m_nWhole += st.nBytes;
    m_objJoin.Run();
    m_optProgress.reset();
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
        return DescribeFile(strPath, stSpan, m_bStop);
    };
    const auto nLength = static_cast<std::int64_t>(m_objWriter.Length() * 1e6);
    const timeSpan stShown{m_objJoin.Begin(), m_objJoin.Begin() + UtcTime::duration(nLength)};
    manifest st{m_stOptions.strCamera,
                m_stRange,
                {},
                Now(),
                UserAtHost(),
                {Describe(m_stOptions.strFile, stShown)}};
    for (const recording* p : m_objJoin.Used()) {
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
                   {"start", FormatIso(m_objJoin.Begin())},
                   {"seconds", m_objWriter.Length()},
                   {"frames", m_objWriter.Frames()},
                   {"recordings", m_objJoin.Used().size()},
                   {"gaps", m_nGaps},
                   {"bytes", nBytes}});
        return;
    }
    PrintLine(m_stOptions.strFile + ": " +
              FormatSpan(Seconds(static_cast<std::int64_t>(m_objWriter.Length() + 0.5))) +
              " from " + FormatTime(m_objJoin.Begin()) + ", " +
              Count(m_objWriter.Frames(), "frame") + " of " +
              Count(m_objJoin.Used().size(), "recording") + ", " + Count(m_nGaps, "gap") + ", " +
              FormatBytes(nBytes));
    if (!m_stOptions.bManifest) return;
    PrintLine("SHA-256 of " + m_stOptions.Manifest() + ": " +
              Sha256Of(m_stOptions.Manifest(), m_bStop));
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
    const auto [vFound, mUnread] = SearchRecordings(vDirs, stFilter);
    TellUnread(mUnread);
    TellHidden(vDirs, vFound);
    if (vFound.empty()) {
        TellNothingFound(stOptions.strCamera, *stFilter.stRange, "nothing was written");
        return CodeWithout(mUnread, EXIT_NOTHING_FOUND);
    }
    return CodeWithout(mUnread,
                       CExport(stOptions, *stFilter.stRange, vFound, CatchStopSignals()).Run());
}

}  // namespace

command ExportCommand() {
    const auto pOptions = std::make_shared<exportOptions>();
    exportOptions& st = *pOptions;
    return {"export",
            "Join the recordings of a range into one MP4 file",
            EXPORT_EXAMPLES,
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
