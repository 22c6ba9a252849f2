// What the names of days, recordings and pictures tell of time.

#ifndef LOCALSTORAGE_CATALOGUE_RECORDINGNAME_H
#define LOCALSTORAGE_CATALOGUE_RECORDINGNAME_H

#include <optional>
#include <string>
#include <string_view>

#include "Catalogue/LocalTime.h"
#include "RecordTree/IndexRecords.h"

/// What a recording's name says.
struct recordingName {
    LocalStorageType eLayout = LOCAL_STORAGE_REMOTE_BACKUP;
    LocalTime tStart;
    LocalTime tEnd;      ///< the client layout does not know it: the start
    unsigned nType = 0;  ///< kind of recording; always 0 in the client layout
};

LocalTime FromFileTime(const fileTimeInfo& stTime);

/// Nothing when the name is no recording's, in either layout.
std::optional<recordingName> ParseRecordingName(std::string_view strName);

/// When the picture was taken; nothing when the name is no picture's.
std::optional<LocalTime> ParsePictureName(std::string_view strName);

/// The beginning of a day folder's day; nothing when the name is no day's.
std::optional<LocalTime> ParseDayName(std::string_view strName);
/// The name of the folder of a day.
std::string DayName(LocalTime tTime);

#endif  // LOCALSTORAGE_CATALOGUE_RECORDINGNAME_H
