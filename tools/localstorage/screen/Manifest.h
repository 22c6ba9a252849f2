// What was taken out of the record directories as evidence: a file of JSON that lies beside it and
// tells what each file is, and by its SHA-256 that it is still the same.

#ifndef LOCALSTORAGE_TOOL_SCREEN_MANIFEST_H
#define LOCALSTORAGE_TOOL_SCREEN_MANIFEST_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Catalogue/Coverage.h"

/// The name of the file in a folder that was kept.
constexpr const char* MANIFEST_NAME = "manifest.json";

struct manifestFile {
    std::string strName;    ///< in the folder of the manifest
    std::string strSource;  ///< where it was recorded; empty: it is a clip
    timeSpan stSpan;        ///< what it shows
    std::uint64_t nBytes = 0;
    std::string strSha256;
};

struct manifest {
    std::string strCamera;
    timeSpan stRange;  ///< what was asked for
    std::string strNote;
    UtcTime tMade;
    std::string strMadeBy;  ///< user@host
    std::vector<manifestFile> vFiles;
    std::vector<manifestFile> vRecordings = {};  ///< of which a clip was made; they are not kept
};

/// What a file is now; its name is that which it has. `fnBytes` hears of every piece that was read.
/// Throws CFailure when the file cannot be read, or when stopped.
manifestFile DescribeFile(
    const std::string& strPath, const timeSpan& stSpan, const std::atomic<bool>& bStop,
    const std::function<void(std::size_t)>& fnBytes = [](std::size_t) {});

/// Writes it whole or not at all, and durably. Throws CFailure.
void WriteManifest(const std::string& strPath, const manifest& st);

/// Without the recordings of a clip. Throws CFailure for a file that is no manifest, or that names
/// a file outside of its folder.
manifest ReadManifest(const std::string& strPath);

#endif  // LOCALSTORAGE_TOOL_SCREEN_MANIFEST_H
