#include "records/RecordingName.h"

#include <string>

#include "RecordTree/Names.h"

namespace {

constexpr std::string_view RECORDING = ".mp4";
constexpr std::string_view PICTURE = ".jpg";

/// `20240305_080000` with the extension behind it.
std::optional<LocalTime> ParseClockName(std::string_view strName, std::string_view strExtension) {
    if (strName.size() != 15 + strExtension.size() || strName[8] != '_') return std::nullopt;
    if (!strName.ends_with(strExtension)) return std::nullopt;
    return ParseDigits(std::string(strName.substr(0, 8)) + std::string(strName.substr(9, 6)));
}

}  // namespace

LocalTime FromFileTime(const fileTimeInfo& st) {
    return FromFields({st.wYear, st.byMonth, st.byDay, st.byHour, st.byMinute, st.bySecond});
}

std::optional<recordingName> ParseRecordingName(std::string_view strName) {
    if (const auto tStart = ParseClockName(strName, RECORDING)) {
        return recordingName{LOCAL_STORAGE_CLIENT, *tStart, *tStart, 0};
    }
    indexLevel3Body st;
    if (!ConvertStrRecFileToIndexLevel3Body(strName, st)) return std::nullopt;
    return recordingName{LOCAL_STORAGE_REMOTE_BACKUP, FromFileTime(st.stStartTime),
                         FromFileTime(st.stEndTime), st.enumRecFileType};
}

std::optional<LocalTime> ParsePictureName(std::string_view strName) {
    return ParseClockName(strName, PICTURE);
}
