// Names of days and files, of the host's records. Text only.

#ifndef LOCALSTORAGE_RECORD_NAMING_H
#define LOCALSTORAGE_RECORD_NAMING_H

#include <string>

#include "localstorage/LocalStorage.h"

/// A day folder's name: eight digits.
std::string GetDayName(const tagBlockTime& stTime);

/// Name of a recording in the remote-backup layout: start, end and type, ".mp4".
std::string GetSpanName(const recFileInfo& stRecFileInfo);

/// Whether a path does not fit the fields that carry it to the host.
bool IsPathTooLong(const std::string& strPath);

#endif  // LOCALSTORAGE_RECORD_NAMING_H
