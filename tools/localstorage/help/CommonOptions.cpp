#include "help/CommonOptions.h"

#include <cstdlib>
#include <map>

#include "RecordTree/Names.h"
#include "base/Failure.h"
#include "base/System.h"

namespace {

std::string TimeFault(const std::string& strText) {
    if (ParseTime(strText, Now())) return {};
    return "\"" + strText +
           "\" is no time; write it as 2024-03-05T08:00:00, \"2024-03-05 08:00\", 08:00, today or "
           "-2h";
}

std::string SpanFault(const std::string& strText) {
    const auto nSpan = ParseSpan(strText);
    if (nSpan && *nSpan > Seconds(0)) return {};
    return "\"" + strText + "\" is no span of time; write it as 90, 90s, 15m, 1h30m";
}

}  // namespace

std::string DefaultLogDir() {
    if (const char* pState = std::getenv("XDG_STATE_HOME"); pState && *pState == '/') {
        return std::string(pState) + "/localstorage";
    }
    const char* pHome = std::getenv("HOME");
    return std::string(pHome && *pHome ? pHome : "/tmp") + "/" + STATE_BELOW_HOME + "/localstorage";
}

CLI::App* AddCommand(CLI::App& stApp, const std::string& strName, const std::string& strDescription,
                     const std::string& strExamples) {
    CLI::App* pCommand = stApp.add_subcommand(strName, strDescription);
    pCommand->footer("Examples:\n" + strExamples);
    return pCommand;
}

CLI::Option* AddDirs(CLI::App& stCommand, std::vector<std::string>& vecDirs) {
    return stCommand
        .add_option("--dir", vecDirs, "Record directory, one per disk; may be given several times")
        ->type_name("DIR")
        ->required()
        ->allow_extra_args(false)
        ->take_all();
}

CLI::Option* AddCameras(CLI::App& stCommand, std::vector<std::string>& vecCameras) {
    return stCommand
        .add_option("--camera", vecCameras, "Only this camera; may be given several times")
        ->type_name("ID")
        ->allow_extra_args(false)
        ->take_all()
        ->check(CLI::Validator(CameraIdFault, ""));
}

CLI::Option* AddJson(CLI::App& stCommand, bool& bJson) {
    return stCommand.add_flag("--json", bJson, "Print one JSON object per line");
}

CLI::Option* AddFileKind(CLI::App& stCommand, const std::string& strName, StoreFileType& eKind) {
    static const std::map<std::string, StoreFileType> mapKinds = {{"recordings", STORE_FILE_RECORD},
                                                                  {"pictures", STORE_FILE_IMAGE}};
    return stCommand
        .add_option_function<std::string>(
            strName, [&eKind](const std::string& str) { eKind = mapKinds.at(str); },
            "What may be deleted")
        ->type_name("recordings|pictures")
        ->default_str("recordings")
        ->check(CLI::IsMember({"recordings", "pictures"}).description(""));
}

CLI::Option* AddAutoDelete(CLI::App& stCommand, bool& bAutoDelete) {
    return stCommand.add_flag(
        "--auto-delete,!--no-auto-delete", bAutoDelete,
        std::string("When every disk is full, delete the oldest day to go on (") +
            (bAutoDelete ? "on" : "off") + " unless said otherwise)");
}

CLI::Option* AddType(CLI::App& stCommand, unsigned& nType, unsigned nLeast) {
    return stCommand
        .add_option("--type", nType,
                    nLeast == 0 ? "Only recordings of this type, 1 to 8; 0: of any"
                                : "Type of the recording, 1 to 8")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(nLeast, 8u).description(""));
}

CLI::Option* AddTime(CLI::App& stCommand, const std::string& strName, std::string& strTime,
                     const std::string& strDescription) {
    return stCommand.add_option(strName, strTime, strDescription)
        ->type_name("TIME")
        ->capture_default_str()
        ->check(CLI::Validator(TimeFault, ""));
}

CLI::Option* AddSpan(CLI::App& stCommand, const std::string& strName, std::string& strSpan,
                     const std::string& strDescription) {
    return stCommand.add_option(strName, strSpan, strDescription)
        ->type_name("SPAN")
        ->check(CLI::Validator(SpanFault, ""));
}

timeSpan selection::Range() const {
    timeSpan stRange{TimeOf(strFrom), TimeOf(strTo)};
    if (strTo == "now") stRange.tEnd += Seconds(1);  // the second that has just begun belongs to it
    if (stRange.tStart < stRange.tEnd) return stRange;
    throw CUsageError("the range is empty: from " + FormatTime(stRange.tStart) + " to " +
                      FormatTime(stRange.tEnd));
}

void AddRange(CLI::App& stCommand, selection& stSelection) {
    AddTime(stCommand, "--from", stSelection.strFrom, "Beginning of the range");
    AddTime(stCommand, "--to", stSelection.strTo, "End of the range");
}

LocalTime TimeOf(const std::string& strTime) {
    return ParseTime(strTime, Now()).value();
}
Seconds SpanOf(const std::string& strSpan) {
    return ParseSpan(strSpan).value();
}

std::string CameraIdFault(const std::string& strCamera) {
    if (IsCameraID(strCamera)) return {};
    return "camera \"" + strCamera +
           "\": a name has 1 to 63 bytes, no slashes and no control characters, and is not . or ..";
}
