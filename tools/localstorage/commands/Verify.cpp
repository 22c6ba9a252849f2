// localstorage verify: is what was kept still what it was?

#include <filesystem>
#include <memory>

#include "Catalogue/Tree.h"
#include "base/Failure.h"
#include "base/System.h"
#include "base/Text.h"
#include "base/Times.h"
#include "commands/Commands.h"
#include "help/CommonOptions.h"
#include "media/Checksum.h"
#include "screen/Json.h"
#include "screen/Manifest.h"
#include "screen/Terminal.h"

namespace {

constexpr const char* VERIFY_EXAMPLES =
    "  localstorage verify /mnt/evidence/2024-117\n"
    "  localstorage verify --json door.mp4.manifest.json\n\n"
    "Compares every file with the manifest: its size and its SHA-256. That the manifest itself is "
    "the\n"
    "one that was written only its own SHA-256 tells, which is printed, too: compare it with the "
    "one\n"
    "noted down. Exit code 0: all is as it was, 4: something is not, 1: it could not be read.";

struct verifyOptions {
    std::string strPath;
    bool bJson = false;
};

/// What is wrong with a file; empty when nothing is.
std::string FaultOf(const std::string& strPath, const manifestFile& stFile, CProgress& objProgress,
                    const std::atomic<bool>& bStop) {
    if (!Exists(strPath)) return "missing";
    const std::uint64_t nBytes = FileSize(strPath);
    if (nBytes != stFile.nBytes) {
        return std::to_string(nBytes) + " bytes instead of " + std::to_string(stFile.nBytes);
    }
    std::uint64_t nDone = 0;
    const auto fnBytes = [&](std::size_t n) {
        objProgress.Show(nDone += n, nBytes, stFile.strName);
    };
    return Sha256Of(strPath, bStop, fnBytes) == stFile.strSha256 ? "" : "changed";
}

int Run(const verifyOptions& stOptions) {
    const std::filesystem::path given(stOptions.strPath);
    const auto path = std::filesystem::is_directory(given) ? given / MANIFEST_NAME : given;
    const std::atomic<bool>& bStop = CatchStopSignals();
    const manifest st = ReadManifest(path);
    std::size_t nWrong = 0;
    {
        CProgress objProgress("verify");
        for (const manifestFile& stFile : st.vFiles) {
            const std::string strFile = path.parent_path() / stFile.strName;
            const std::string strFault = FaultOf(strFile, stFile, objProgress, bStop);
            nWrong += strFault.empty() ? 0 : 1;
            if (stOptions.bJson) {
                PrintJson({{"path", strFile}, {"state", strFault.empty() ? "same" : strFault}});
            } else if (!strFault.empty()) {
                PrintLine(strFile + ": " + strFault);
            }
        }
    }
    if (stOptions.bJson) return nWrong == 0 ? EXIT_OK : EXIT_DAMAGED;
    PrintLine(Count(st.vFiles.size(), "file") + " of " + st.strCamera + ", kept " +
              FormatTime(st.tMade) + " by " + st.strMadeBy +
              (nWrong == 0 ? ": all the same" : ": " + std::to_string(nWrong) + " not the same"));
    PrintLine("SHA-256 of the manifest: " + Sha256Of(path, bStop));
    return nWrong == 0 ? EXIT_OK : EXIT_DAMAGED;
}

}  // namespace

command VerifyCommand() {
    const auto pOptions = std::make_shared<verifyOptions>();
    verifyOptions& st = *pOptions;
    return {"verify",
            "Check what \"keep\" or \"export\" stored against its manifest",
            VERIFY_EXAMPLES,
            {Required({"DIR", &st.strPath, "Folder that was kept, or a manifest"}),
             JsonOption(st.bJson)},
            [pOptions] { return Run(*pOptions); }};
}
