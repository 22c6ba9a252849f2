// From the records of the C interface to those of the rooms below it, and back.

#ifndef LOCALSTORAGE_C_CONVERSION_H
#define LOCALSTORAGE_C_CONVERSION_H

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "Catalogue/LocalTime.h"
#include "localstorage/LocalStorage.h"
#include "localstorage/localstorage.h"

/// A record as this library knows it, from a host that may know less or more of it; nothing where
/// there is none.
template <typename Record>
std::optional<Record> TakeRecord(const Record* pRecord) {
    if (!pRecord || pRecord->size <= sizeof(pRecord->size)) return std::nullopt;
    Record stRecord{};
    std::memcpy(&stRecord, pRecord, std::min(pRecord->size, sizeof(Record)));
    return stRecord;
}

/// A list of texts; nothing where one of them is missing.
std::optional<std::vector<std::string>> TakeTexts(const char* const* ppTexts, std::size_t nCount);

/// Nothing for a time that no calendar has.
std::optional<tagBlockTime> TakeTime(const ls_time& stTime);
/// The same for two; false, too, for an end before its begin.
bool TakeSpan(const ls_time& stBegin, const ls_time& stEnd, tagBlockTime& stFirst,
              tagBlockTime& stLast);

/// Of the moments that names can tell.
constexpr UtcTime FIRST_MOMENT{};
constexpr UtcTime LAST_MOMENT = std::chrono::sys_days(std::chrono::year(9999) / 12 / 31);

ls_time GiveTime(const tagBlockTime& stTime);
std::int64_t GiveMoment(UtcTime tTime);

#endif  // LOCALSTORAGE_C_CONVERSION_H
