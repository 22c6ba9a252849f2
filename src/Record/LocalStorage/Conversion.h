// From the host's records to the engine's and back.

#ifndef LOCALSTORAGE_RECORD_CONVERSION_H
#define LOCALSTORAGE_RECORD_CONVERSION_H

#include <ctime>
#include <list>
#include <string>

#include "IndexMgr/IndexMgr.h"
#include "localstorage/LocalStorage.h"

/// Local time of `t`; `stTime` stays as it is when the system cannot tell it.
void ConvertLocalTimeToBlockTime(std::time_t t, tagBlockTime& stTime);
inline fileTimeInfo ConvertBlockTimeToFileTime(const tagBlockTime& stTime) {
    return {stTime.wYear,
            stTime.byMonth,
            stTime.byDay,
            stTime.byHour,
            stTime.byMinute,
            stTime.bySecond,
            0};
}

/// The type of the same number; 0 for a number above 8.
RecFileType ConvertFromRecordTypeToRecFileType(RecordType enumRecordType);
/// The entry of a recording of the remote-backup layout.
indexLevel3Body ConvertRecFileInfoToIndexLevel3Body(const recFileInfo& stRecFileInfo);
/// The index of a layout; that of layout 0 for a value above 1.
CIndexMgr::StorageType ConvertLocalStorageTypeToStorageType(LocalStorageType enumStorageType);

/// Appends every path of `src` to `dst`.
void ConvertVexListToStdList(const CVexList<pathNode>& src, std::list<std::string>& dst);
/// Appends every path of `src` to `dst`, but for those that a pathNode cannot hold.
void ConvertStdListToVexList(const std::list<std::string>& src, CVexList<pathNode>& dst);

/// Whether a path does not fit the fields that carry it to the host.
inline bool IsPathTooLong(const std::string& strPath) {
    return strPath.size() >= LOCALSTORAGE_PATH_SIZE;
}
/// Copies text into a field of fixed size, cut to leave room for the NUL.
void CopyText(char* pField, std::size_t nSize, const std::string& strText);

#endif  // LOCALSTORAGE_RECORD_CONVERSION_H
