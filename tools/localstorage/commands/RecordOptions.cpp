#include "commands/RecordOptions.h"

#include "base/Address.h"
#include "base/Failure.h"
#include "help/CommonOptions.h"

namespace {

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
    return strValue.empty() ? "\"" + strName + "\": write an option as KEY=VALUE" : "";
}

/// Numbers are no secrets.
std::string ShownInputOption(const std::string& strText) {
    const auto [strName, strValue] = SplitPair(strText);
    const bool bNumber = strValue.find_first_not_of("0123456789") == std::string::npos;
    return bNumber ? strText : strName + "=...";
}

option KeepOption(const std::string& strName, unsigned& nDays, const std::string& strWhat) {
    return {.strNames = strName,
            .target = &nDays,
            .strDescription = "Delete " + strWhat +
                              " of days that are longer ago than this, once an hour; 0: only when "
                              "the disks are full",
            .strValue = "DAYS",
            .strDefault = std::to_string(nDays),
            .stRange = {0, 36500}};
}

/// Those that each camera may have for itself.
std::vector<option> CameraOptions(cameraSettings& st) {
    option stStall =
        SpanOption("--stall", st.strStall, "Connect anew when no picture comes for so long");
    stStall.strDefault = st.strStall;
    return {
        ContainerOption(st.stForm.strContainer),
        AudioOption(st.stForm.bAudio),
        StampsOption(st.stForm.bStamps),
        KeepOption("--keep-days", st.nKeepDays, "recordings"),
        SpanOption("--snapshot-every", st.strSnapshotEvery,
                   "Store a JPEG of each camera's latest key frame, again and again after "
                   "this time"),
        KeepOption("--snapshot-keep-days", st.nSnapshotKeepDays, "snapshots"),
        {.strNames = "--pace",
         .target = &st.strPace,
         .strDescription = "Read files as fast as a camera would deliver them (real) or as fast as "
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
         .fnFault = InputOptionFault,
         .fnShown = ShownInputOption},
        stStall,
        {"--retry", &st.bRetry, "Try files again, too, when they have ended or failed"}};
}

/// Those that count from the start of the engine to its end.
std::vector<option> FixedOptions(recordOptions& st) {
    return {DirsOption(st.vDirs),
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
            {"--require-mount", &st.stHost.bRequireMount,
             "Take a record directory on the system's own disk for one whose disk is not mounted "
             "yet: record on the others, and there once it is"},
            AutoDeleteOption(st.stHost.bAutoDelete),
            FileKindOption("--delete-kind", st.strDeleteKind),
            {.strNames = "--on-event",
             .target = &st.strOnEvent,
             .strDescription =
                 "Have the shell run this for every event, with LOCALSTORAGE_EVENT, _CAMERA, "
                 "_PATH, _START and _BYTES in its environment; at most four at once",
             .strValue = "CMD"},
            {.strNames = "--metrics",
             .target = &st.strMetrics,
             .strDescription =
                 "Keep numbers for Prometheus in this file, for the node exporter's textfile "
                 "folder",
             .strValue = "FILE"},
            JsonOption(st.bJson)};
}

std::vector<option> TableOptions(cameraSettings& st) {
    std::vector<option> vOptions = {{.strNames = "--input",
                                     .target = &st.strInput,
                                     .bRequired = true,
                                     .fnShown = WithoutPassword}};
    for (option& stOption : CameraOptions(st)) vOptions.push_back(std::move(stOption));
    return vOptions;
}

std::vector<option> BeginTable(recordOptions& st, const std::string& strCamera,
                               const std::string& strWhere) {
    const std::string strFault = CameraIdFault(strCamera);
    if (!strFault.empty()) throw CUsageError(strWhere + ": " + strFault);
    cameraSettings& stCamera = st.mTables[strCamera] = st.stCommon;
    stCamera.strWhere = strWhere;
    return TableOptions(stCamera);
}

}  // namespace

std::vector<option> OptionsOfRecord(recordOptions& st) {
    std::vector<option> vOptions = FixedOptions(st);
    vOptions.push_back({.strNames = "--camera",
                        .target = &st.vCameras,
                        .strDescription =
                            "Camera and where its stream comes from: whatever FFmpeg opens, H.264 "
                            "or H.265, address-file:PATH or env:NAME; may be given several times",
                        .strValue = "ID=INPUT",
                        .fnFault = CameraFault,
                        .bInConfig = false});
    for (option& stOption : CameraOptions(st.stCommon)) vOptions.push_back(std::move(stOption));
    vOptions.push_back({.strNames = "--print-config",
                        .target = &st.bPrintConfig,
                        .strDescription = "Only print all of this as a configuration file",
                        .bInConfig = false});
    // Last: a camera of the file begins with what all have by then.
    vOptions.push_back({.strNames = "--config",
                        .target = &st.stConfig,
                        .strDescription = "Take options and cameras from this file (TOML), too",
                        .strValue = "FILE",
                        .bInConfig = false});
    return vOptions;
}

configTable CameraTables(recordOptions& st) {
    return {"camera", [&st](const std::string& strCamera, const std::string& strWhere) {
                return BeginTable(st, strCamera, strWhere);
            }};
}

std::pair<std::string, std::string> SplitPair(const std::string& strText) {
    const std::size_t nEquals = strText.find('=');
    if (nEquals == std::string::npos) return {strText, {}};
    return {strText.substr(0, nEquals), strText.substr(nEquals + 1)};
}

std::map<std::string, cameraSettings> AllCameras(const recordOptions& st) {
    auto mCameras = st.mTables;
    for (const std::string& strText : st.vCameras) {
        const auto [strCamera, strInput] = SplitPair(strText);
        const auto [it, bNew] = mCameras.emplace(strCamera, st.stCommon);
        if (!bNew) {
            const std::string strWhere = it->second.strWhere;
            throw CUsageError((strWhere.empty() ? "" : strWhere + ": ") + "camera " + strCamera +
                              " is given twice");
        }
        it->second.strInput = strInput;
    }
    return mCameras;
}

std::string ConfigText(recordOptions& st) {
    std::string strText = ConfigText(FixedOptions(st)) + ConfigText(CameraOptions(st.stCommon));
    for (auto& [strCamera, stSettings] : AllCameras(st)) {
        strText += "\n[camera.\"" + strCamera + "\"]\n" + ConfigText(TableOptions(stSettings));
    }
    return strText;
}

std::vector<std::string> FixedDifferences(recordOptions& st, recordOptions& stOther) {
    std::vector<std::string> vNames;
    const auto vOptions = FixedOptions(st), vOthers = FixedOptions(stOther);
    for (std::size_t n = 0; n < vOptions.size(); ++n) {
        if (ConfigText({vOptions[n]}) != ConfigText({vOthers[n]})) {
            vNames.push_back(vOptions[n].Key());
        }
    }
    return vNames;
}
