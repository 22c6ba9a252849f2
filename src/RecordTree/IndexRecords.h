// The records of the index: days, channel folders and record files, and the heads in front of them.
//
// They are the elements of the index files and of the index in memory alike: each is copied byte
// for byte to and from disk, little-endian, so their layout is fixed (pinned below).
//
// Every comparison of dates and times is one of their digits as text ("20240305",
// "20240305080000"). For values in range that is the order of the numbers, and done with numbers; a
// field that outgrows its width makes the text longer and the order purely textual.
//
// Plain values: no locks, no I/O, any thread. What they are called on disk, Names.h tells.

#ifndef LOCALSTORAGE_RECORDTREE_INDEXRECORDS_H
#define LOCALSTORAGE_RECORDTREE_INDEXRECORDS_H

#include <bit>
#include <cstddef>
#include <cstdint>

/// Kind of a recording as it stands in file names. In a query 0 asks for every kind.
enum RecFileType : std::uint32_t {
    REC_FILE_TYPE_ALL = 0,
    REC_FILE_TYPE_1 = 1,
    REC_FILE_TYPE_2 = 2,
    REC_FILE_TYPE_3 = 3,
    REC_FILE_TYPE_4 = 4,
    REC_FILE_TYPE_5 = 5,
    REC_FILE_TYPE_6 = 6,
    REC_FILE_TYPE_7 = 7,
    REC_FILE_TYPE_8 = 8
};

/// The type filter of queries: 0 wants every type, 1 to 8 that type, anything else nothing.
inline bool VerifyRecFileType(RecFileType fileType, RecFileType wanted) {
    return wanted == REC_FILE_TYPE_ALL || (wanted <= REC_FILE_TYPE_8 && fileType == wanted);
}

/// Room for the digits of any date or time.
constexpr std::size_t TIME_DIGITS_BUFFER = 24;

/// A day.
struct dateInfo {
    std::uint16_t wYear = 0;
    std::uint8_t byMonth = 0;
    std::uint8_t byDay = 0;

    bool operator<(const dateInfo& other) const {
        return IsPlain() && other.IsPlain() ? Number() < other.Number() : CompareDigits(other) < 0;
    }
    bool operator==(const dateInfo& other) const {
        return IsPlain() && other.IsPlain() ? Number() == other.Number()
                                            : CompareDigits(other) == 0;
    }
    bool operator<=(const dateInfo& other) const { return !(other < *this); }
    bool operator>=(const dateInfo& other) const { return !(*this < other); }

    /// Every field fits its width in the text, so numbers and texts have the same order.
    bool IsPlain() const { return wYear <= 9999 && byMonth <= 99 && byDay <= 99; }
    std::uint32_t Number() const {
        return std::uint32_t{wYear} << 16 | std::uint32_t{byMonth} << 8 | byDay;
    }

    /// Writes "%04d%02d%02d" without a NUL to `pText` (TIME_DIGITS_BUFFER bytes) and returns its
    /// end.
    char* PutDigits(char* pText) const;

private:
    int CompareDigits(const dateInfo& other) const;
};

/// A local date and time to the second. `byReserved` takes no part in comparisons and names.
struct fileTimeInfo {
    std::uint16_t wYear = 0;
    std::uint8_t byMonth = 0;
    std::uint8_t byDay = 0;
    std::uint8_t byHour = 0;
    std::uint8_t byMinute = 0;
    std::uint8_t bySecond = 0;
    std::uint8_t byReserved = 0;

    dateInfo GetDate() const { return {wYear, byMonth, byDay}; }

    bool operator<(const fileTimeInfo& other) const {
        return IsPlain() && other.IsPlain() ? Number() < other.Number() : CompareDigits(other) < 0;
    }
    bool operator==(const fileTimeInfo& other) const {
        return IsPlain() && other.IsPlain() ? Number() == other.Number()
                                            : CompareDigits(other) == 0;
    }
    bool operator>(const fileTimeInfo& other) const { return other < *this; }
    bool operator<=(const fileTimeInfo& other) const { return !(other < *this); }
    bool operator>=(const fileTimeInfo& other) const { return !(*this < other); }

    /// Every field fits its width in the text: the text has exactly 14 digits.
    bool IsPlain() const { return wYear <= 9999 && TooLarge() == 0; }
    /// 0 when every field but the year fits its width.
    std::uint64_t TooLarge() const {
        // The five bytes at once: 28 more than 99 reaches a byte's highest bit.
        const auto n = std::bit_cast<std::uint64_t>(*this);
        return (((n & 0x007F7F7F7F7F0000) + 0x001C1C1C1C1C0000) | n) & 0x0080808080800000;
    }
    std::uint64_t Number() const {
        // Month to second are in the order of their weight, lowest address first.
        const auto n = __builtin_bswap64(std::bit_cast<std::uint64_t>(*this));
        return std::uint64_t{wYear} << 40 | (n >> 8 & 0x000000FFFFFFFFFF);
    }

    /// Writes "%04d%02d%02d%02d%02d%02d" without a NUL to `pText` (TIME_DIGITS_BUFFER bytes) and
    /// returns its end.
    char* PutDigits(char* pText) const;

private:
    int CompareDigits(const fileTimeInfo& other) const;
};

/// Head of index01.bin.
struct indexLevel1Head {
    std::uint32_t nExistDays = 0;
    std::uint8_t byRes[4] = {};
};

/// One day that holds recordings.
struct indexLevel1Body {
    dateInfo stDate;

    bool operator==(const indexLevel1Body& other) const { return stDate == other.stDate; }
    bool operator<(const indexLevel1Body& other) const { return stDate < other.stDate; }
};

/// Head of index02.bin.
struct indexLevel2Head {
    std::uint32_t nRecChannels = 0;
    std::uint8_t byRes[4] = {};
};

/// Value of indexLevel2Body::byRes1 for a camera identifier that is kept whole.
constexpr std::uint8_t INDEX_BARE_IDENTIFIER = 1;

/// One channel folder of a day. The folder's name is either text_number_number, kept in three
/// fields, or any other text, kept whole in szCameraID with byRes1 = INDEX_BARE_IDENTIFIER and both
/// numbers 0.
struct indexLevel2Body {
    char szCameraID[64] = {};  ///< NUL-terminated
    std::uint16_t wDirNum1 = 0;
    std::uint8_t byDirNum2 = 0;
    std::uint8_t byRes1 = 0;
    std::uint8_t byRes2[24] = {};

    bool IsBare() const { return byRes1 == INDEX_BARE_IDENTIFIER; }
};

/// Head of index03.bin.
struct indexLevel3Head {
    std::uint32_t nRecFiles = 0;
    std::uint8_t byRes[4] = {};
};

/// One record file of a channel folder.
struct indexLevel3Body {
    fileTimeInfo stStartTime;  ///< first second recorded
    fileTimeInfo stEndTime;    ///< last second recorded
    RecFileType enumRecFileType = REC_FILE_TYPE_ALL;
    std::uint8_t byRes[24] = {};

    /// Deliberate: the type takes no part, so two recordings with the same times are one entry.
    bool operator==(const indexLevel3Body& other) const {
        return stStartTime == other.stStartTime && stEndTime == other.stEndTime;
    }
    /// By start time alone.
    bool operator<(const indexLevel3Body& other) const { return stStartTime < other.stStartTime; }
};

static_assert(std::endian::native == std::endian::little, "records are their bytes on disk");
static_assert(sizeof(dateInfo) == 4 && offsetof(dateInfo, wYear) == 0 &&
              offsetof(dateInfo, byMonth) == 2 && offsetof(dateInfo, byDay) == 3);
static_assert(sizeof(fileTimeInfo) == 8 && offsetof(fileTimeInfo, wYear) == 0 &&
              offsetof(fileTimeInfo, byMonth) == 2 && offsetof(fileTimeInfo, byDay) == 3 &&
              offsetof(fileTimeInfo, byHour) == 4 && offsetof(fileTimeInfo, byMinute) == 5 &&
              offsetof(fileTimeInfo, bySecond) == 6 && offsetof(fileTimeInfo, byReserved) == 7);
static_assert(sizeof(indexLevel1Head) == 8 && sizeof(indexLevel2Head) == 8 &&
              sizeof(indexLevel3Head) == 8);
static_assert(sizeof(indexLevel1Body) == 4 && offsetof(indexLevel1Body, stDate) == 0);
static_assert(sizeof(indexLevel2Body) == 92 && offsetof(indexLevel2Body, szCameraID) == 0 &&
              offsetof(indexLevel2Body, wDirNum1) == 64 &&
              offsetof(indexLevel2Body, byDirNum2) == 66 &&
              offsetof(indexLevel2Body, byRes1) == 67 && offsetof(indexLevel2Body, byRes2) == 68);
static_assert(sizeof(indexLevel3Body) == 44 && offsetof(indexLevel3Body, stStartTime) == 0 &&
              offsetof(indexLevel3Body, stEndTime) == 8 &&
              offsetof(indexLevel3Body, enumRecFileType) == 16 &&
              offsetof(indexLevel3Body, byRes) == 20);

#endif  // LOCALSTORAGE_RECORDTREE_INDEXRECORDS_H
