// What the name of a recording tells, in either layout. Text only.
//
//     remote-backup layout   20240305080000_20240305090000_1.mp4   start, end, type
//     client layout          20240305_080000.mp4                   start

#ifndef LOCALSTORAGE_TOOL_RECORDS_RECORDINGNAME_H
#define LOCALSTORAGE_TOOL_RECORDS_RECORDINGNAME_H

#include <optional>
#include <string_view>

#include "RecordTree/IndexRecords.h"
#include "base/Times.h"

/// What a recording's name says.
struct recordingName {
    LocalStorageType eLayout = LOCAL_STORAGE_REMOTE_BACKUP;
    LocalTime tStart;
    LocalTime tEnd;      ///< the client layout does not know it: the start
    unsigned nType = 0;  ///< kind of recording; always 0 in the client layout
};

LocalTime FromFileTime(const fileTimeInfo& stTime);

/// Nothing when the name is no recording's.
std::optional<recordingName> ParseRecordingName(std::string_view strName);

/// Whether the name is a picture's (20240305_080000.jpg), and when it was taken.
std::optional<LocalTime> ParsePictureName(std::string_view strName);

#endif  // LOCALSTORAGE_TOOL_RECORDS_RECORDINGNAME_H
