#include "Catalogue/RecordingName.h"

#include "RecordTree/Names.h"

namespace {

std::optional<LocalTime> ParseSecond(std::string_view strName, const char* pExtension) {
    fileTimeInfo st;
    if (!ConvertStrSecondToFileTime(strName, pExtension, st)) return std::nullopt;
    return FromFileTime(st);
}

}  // namespace

LocalTime FromFileTime(const fileTimeInfo& st) {
    return FromFields({st.wYear, st.byMonth, st.byDay, st.byHour, st.byMinute, st.bySecond});
}

std::optional<recordingName> ParseRecordingName(std::string_view strName) {
    if (const auto tStart = ParseSecond(strName, RECORDING_EXTENSION)) {
        return recordingName{LOCAL_STORAGE_CLIENT, *tStart, *tStart, 0};
    }
    indexLevel3Body st;
    if (!ConvertStrRecFileToIndexLevel3Body(strName, st)) return std::nullopt;
    return recordingName{LOCAL_STORAGE_REMOTE_BACKUP, FromFileTime(st.stStartTime),
                         FromFileTime(st.stEndTime), st.enumRecFileType};
}

std::optional<LocalTime> ParsePictureName(std::string_view strName) {
    return ParseSecond(strName, PICTURE_EXTENSION);
}

std::optional<LocalTime> ParseDayName(std::string_view strName) {
    indexLevel1Body st;
    if (!ConvertStrDateToIndexLevel1Body(strName, st)) return std::nullopt;
    return FromFields({st.stDate.wYear, st.stDate.byMonth, st.stDate.byDay});
}

std::string DayName(LocalTime tTime) {
    const tagBlockTime st = ToBlockTime(tTime);
    return GetDirName(dateInfo{st.wYear, st.byMonth, st.byDay});
}
