#include "help/CommonOptions.h"

#include <cstdlib>

#include "RecordTree/Names.h"
#include "base/Failure.h"
#include "base/System.h"
#include "base/Times.h"

namespace {

std::string TimeFault(const std::string& strText) {
    if (ParseTime(strText, Now())) return {};
    return "\"" + strText +
           "\" is no time; write it as 2024-03-05T08:00:00, \"2024-03-05 08:00\", 08:00, today or "
           "-2h; Z or +02:00 may stand behind a time of day";
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

option Required(option stOption) {
    stOption.bRequired = true;
    stOption.strDefault.clear();
    return stOption;
}

option DirsOption(std::vector<std::string>& vDirs) {
    return Required(
        {"--dir", &vDirs, "Record directory, one per disk; may be given several times", "DIR"});
}

option CamerasOption(std::vector<std::string>& vCameras) {
    return {.strNames = "--camera",
            .target = &vCameras,
            .strDescription = "Only this camera; may be given several times",
            .strValue = "ID",
            .fnFault = CameraIdFault};
}

option CameraOption(std::string& strCamera, const std::string& strDescription) {
    return {.strNames = "--camera",
            .target = &strCamera,
            .strDescription = strDescription,
            .strValue = "ID",
            .bRequired = true,
            .fnFault = CameraIdFault};
}

option JsonOption(bool& bJson) {
    return {"--json", &bJson, "Print one JSON object per line"};
}

option FileKindOption(const std::string& strName, std::string& strKind) {
    strKind = "recordings";
    return {.strNames = strName,
            .target = &strKind,
            .strDescription = "What may be deleted",
            .strValue = "recordings|pictures",
            .strDefault = strKind,
            .vChoices = {"recordings", "pictures"}};
}

StoreFileType FileKindOf(const std::string& strKind) {
    return strKind == "pictures" ? STORE_FILE_IMAGE : STORE_FILE_RECORD;
}

option AutoDeleteOption(bool& bAutoDelete) {
    return {"--auto-delete,!--no-auto-delete", &bAutoDelete,
            std::string("When every disk is full, delete the oldest day to go on (") +
                (bAutoDelete ? "on" : "off") + " unless said otherwise)"};
}

option ContainerOption(std::string& strContainer) {
    return {.strNames = "--container",
            .target = &strContainer,
            .strDescription =
                "Keep an MPEG transport stream, with sound and times (ts), or video "
                "alone as the bare H.264 or H.265 stream (es)",
            .strValue = "ts|es",
            .strDefault = strContainer,
            .vChoices = {"ts", "es"}};
}

option AudioOption(bool& bAudio) {
    return {"--audio,!--no-audio", &bAudio, "Keep the sound (on unless said otherwise)"};
}

option StampsOption(bool& bStamps) {
    return {"--stamps,!--no-stamps", &bStamps,
            "Let every key frame carry its UTC time (on unless said otherwise)"};
}

option TypeOption(unsigned& nType, unsigned nLeast) {
    return {.strNames = "--type",
            .target = &nType,
            .strDescription = nLeast == 0 ? "Only recordings of this type, 1 to 8; 0: of any"
                                          : "Type of the recording, 1 to 8",
            .strValue = "N",
            .strDefault = std::to_string(nType),
            .stRange = {nLeast, 8}};
}

option TimeOption(const std::string& strName, std::string& strTime,
                  const std::string& strDescription) {
    return {.strNames = strName,
            .target = &strTime,
            .strDescription = strDescription,
            .strValue = "TIME",
            .strDefault = strTime,
            .fnFault = TimeFault};
}

option SpanOption(const std::string& strName, std::string& strSpan,
                  const std::string& strDescription) {
    return {.strNames = strName,
            .target = &strSpan,
            .strDescription = strDescription,
            .strValue = "SPAN",
            .fnFault = SpanFault};
}

timeSpan selection::Range() const {
    // Times that come twice: all of both hours.
    timeSpan stRange{TimeOf(strFrom), ParseTime(strTo, Now()).value().tSecond};
    if (strTo == "now") stRange.tEnd += Seconds(1);  // the second that has just begun belongs to it
    if (stRange.tStart < stRange.tEnd) return stRange;
    throw CUsageError("the range is empty: from " + FormatTime(stRange.tStart) + " to " +
                      FormatTime(stRange.tEnd));
}

option FromOption(selection& stSelection) {
    return TimeOption("--from", stSelection.strFrom, "Beginning of the range");
}

option ToOption(selection& stSelection) {
    return TimeOption("--to", stSelection.strTo, "End of the range");
}

UtcTime TimeOf(const std::string& strTime) {
    return ParseTime(strTime, Now()).value().tFirst;
}
Seconds SpanOf(const std::string& strSpan) {
    return ParseSpan(strSpan).value();
}

std::string CameraIdFault(const std::string& strCamera) {
    if (IsCameraID(strCamera)) return {};
    return "camera \"" + strCamera +
           "\": a name has 1 to 63 bytes, no slashes and no control characters, and is neither . "
           "nor .. nor that of a file of the index";
}
