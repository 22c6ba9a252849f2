// localstorage keep: stores a range of recordings where no deletion reaches it.

#include <algorithm>
#include <filesystem>
#include <memory>
#include <set>

#include "Catalogue/Tree.h"
#include "RecordTree/DirectoryLock.h"
#include "RecordTree/Names.h"
#include "base/Failure.h"
#include "base/System.h"
#include "base/Text.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "media/Checksum.h"
#include "screen/Findings.h"
#include "screen/Json.h"
#include "screen/Manifest.h"
#include "screen/Terminal.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* KEEP_EXAMPLES =
    "  localstorage keep --dir /mnt/disk1 --camera door --from \"2024-03-05 08:00\" \\\n"
    "      --to \"2024-03-05 08:30\" --into /mnt/evidence/2024-117 --note \"case 117\"\n"
    "  localstorage verify /mnt/evidence/2024-117\n\n"
    "Whole recordings are kept, with what they hold before --from and after --to. The folder must\n"
    "lie outside of the record directories' own folders. On the file system of the recordings "
    "they\n"
    "take no room of their own (hard links), as long as the engine keeps them, too; what may "
    "still\n"
    "change is copied: the recording that is being written, and those of the remote-backup "
    "layout.\n"
    "The manifest names each file, its times and its SHA-256, who kept it and when; note down its\n"
    "own SHA-256, which is printed at the end. Exit code 3: nothing recorded there,\n"
    "1: a folder could not be read, and what it holds was not kept.";

struct keepOptions {
    selection stSelection;
    std::string strCamera, strInto, strNote;
    bool bJson = false;
};

/// A folder that is being filled; unless it was finished, what was put there is taken out again.
class CKeepFolder {
public:
    explicit CKeepFolder(std::string strPath) : m_strPath(std::move(strPath)) {
        if (Exists(m_strPath + "/" + MANIFEST_NAME)) {
            throw CFailure(m_strPath + " holds a manifest already; nothing was kept");
        }
        std::error_code stError;
        m_bMade = fs::create_directories(m_strPath, stError);
        if (m_bMade) fs::permissions(m_strPath, fs::perms(0750), stError);
        if (stError) throw CFailure("cannot make " + m_strPath + ": " + stError.message());
    }
    ~CKeepFolder() {
        std::error_code stError;
        for (const std::string& strName : m_setNames) fs::remove(PathOf(strName), stError);
        if (m_bMade) fs::remove(m_strPath, stError);
    }
    CKeepFolder(const CKeepFolder&) = delete;
    CKeepFolder& operator=(const CKeepFolder&) = delete;

    std::string PathOf(const std::string& strName) const { return m_strPath + "/" + strName; }
    /// Links or copies a file; returns its name here. Throws CFailure.
    std::string Add(const std::string& strSource, bool bLink);
    /// Makes the files durable and writes the manifest; returns that one's path. Throws CFailure.
    std::string Finish(const manifest& st);

private:
    const std::string m_strPath;
    bool m_bMade;
    std::set<std::string> m_setNames;
};

std::string CKeepFolder::Add(const std::string& strSource, bool bLink) {
    const fs::path source(strSource);
    std::string strName = source.filename();
    for (int n = 2; Exists(PathOf(strName)); ++n) {
        strName = source.stem().string() + "-" + std::to_string(n) + source.extension().string();
    }
    m_setNames.insert(strName);
    std::error_code stError;
    if (bLink) fs::create_hard_link(source, PathOf(strName), stError);
    if (!bLink || stError) fs::copy_file(source, PathOf(strName), stError);
    if (stError) {
        throw CFailure("cannot keep " + strSource + ": " + stError.message() +
                       "; nothing was kept");
    }
    return strName;
}

std::string CKeepFolder::Finish(const manifest& st) {
    for (const std::string& strName : m_setNames) {
        if (MakeDurable(PathOf(strName))) continue;
        throw CFailure("cannot store " + PathOf(strName) + ": " + ErrorText(errno));
    }
    WriteManifest(PathOf(MANIFEST_NAME), st);
    m_setNames.clear();
    m_bMade = false;
    return PathOf(MANIFEST_NAME);
}

/// What lies in there is the engine's to delete.
void RefuseInside(const std::string& strInto, const std::vector<std::string>& vDirs) {
    const std::string strPath = fs::weakly_canonical(strInto).string() + "/";
    for (const std::string& strDir : vDirs) {
        for (const char* pFolder : {RECORD_FOLDER, BACKUP_FOLDER, IMAGE_FOLDER}) {
            const std::string strTree = fs::weakly_canonical(strDir + "/" + pFolder).string() + "/";
            if (!strPath.starts_with(strTree)) continue;
            throw CUsageError(strInto + " lies in " + strTree +
                              ", where the engine deletes; take a folder outside");
        }
    }
}

/// Whether the content of its file stays as it is. In the remote-backup layout a host may begin a
/// recording of the same times anew, in the same file.
bool IsFinal(const recording& st, bool bLast) {
    return st.stName.eLayout == LOCAL_STORAGE_CLIENT && !(bLast && IsInUse(st.strDir));
}

manifest Fill(CKeepFolder& objFolder, const keepOptions& stOptions, const timeSpan& stRange,
              const std::vector<recording>& vFound, const std::atomic<bool>& bStop) {
    manifest stKept{stOptions.strCamera, stRange, stOptions.strNote, Now(), UserAtHost(), {}};
    CProgress objProgress("keep " + stOptions.strCamera);
    std::uint64_t nDone = 0, nWhole = 0;
    for (const recording& st : vFound) nWhole += st.nBytes;
    for (const recording& st : vFound) {
        const std::string strName = objFolder.Add(st.Path(), IsFinal(st, &st == &vFound.back()));
        const auto fnBytes = [&](std::size_t nBytes) {
            objProgress.Show(nDone += nBytes, nWhole, strName);
        };
        manifestFile stFile = DescribeFile(objFolder.PathOf(strName), st.Span(), bStop, fnBytes);
        stFile.strSource = fs::absolute(st.Path());
        stKept.vFiles.push_back(std::move(stFile));
    }
    return stKept;
}

void TellResult(const manifest& st, const std::string& strManifest, bool bJson) {
    std::uint64_t nBytes = 0;
    for (const manifestFile& stFile : st.vFiles) nBytes += stFile.nBytes;
    const std::string strSha256 = Sha256Of(strManifest, std::atomic<bool>(false));
    if (bJson) {
        PrintJson({{"manifest", strManifest},
                   {"sha256", strSha256},
                   {"camera", st.strCamera},
                   {"files", st.vFiles.size()},
                   {"bytes", nBytes}});
        return;
    }
    PrintLine(strManifest + ": " + Count(st.vFiles.size(), "recording") + " of " + st.strCamera +
              ", " + FormatBytes(nBytes));
    PrintLine("its SHA-256: " + strSha256);
}

int Run(keepOptions& stOptions) {
    stOptions.stSelection.vCameras = {stOptions.strCamera};
    recordingFilter stFilter = stOptions.stSelection.Filter();
    stFilter.bEach = true;
    const auto vDirs = ExistingDirs(stOptions.stSelection.vDirs);
    RefuseInside(stOptions.strInto, vDirs);
    const auto [vFound, mUnread] = SearchRecordings(vDirs, stFilter);
    TellUnread(mUnread);
    TellHidden(vDirs, vFound);
    if (vFound.empty()) {
        TellNothingFound(stOptions.strCamera, *stFilter.stRange, "nothing was kept");
        return CodeWithout(mUnread, EXIT_NOTHING_FOUND);
    }
    CKeepFolder objFolder(stOptions.strInto);
    const manifest stKept =
        Fill(objFolder, stOptions, *stFilter.stRange, vFound, CatchStopSignals());
    TellResult(stKept, objFolder.Finish(stKept), stOptions.bJson);
    return CodeWithout(mUnread);
}

}  // namespace

command KeepCommand() {
    const auto pOptions = std::make_shared<keepOptions>();
    keepOptions& st = *pOptions;
    return {"keep",
            "Store a range outside of the engine's reach, with a manifest",
            KEEP_EXAMPLES,
            {DirsOption(st.stSelection.vDirs),
             CameraOption(st.strCamera, "Camera"),
             Required(FromOption(st.stSelection)),
             Required(ToOption(st.stSelection)),
             Required({"--into", &st.strInto, "Folder to keep it in; made where missing", "DIR"}),
             {"--note", &st.strNote, "Why it is kept, for the manifest", "TEXT"},
             JsonOption(st.bJson)},
            [pOptions] { return Run(*pOptions); }};
}
