#include "RecordTree/IndexRecords.h"

#include <array>
#include <charconv>
#include <cstring>
#include <string_view>

namespace {

// "00" to "99", one behind the other.
constexpr std::array<char, 200> TWO_DIGITS = [] {
    std::array<char, 200> aText{};
    for (std::size_t n = 0; n < 100; ++n) {
        aText[2 * n] = static_cast<char>('0' + n / 10);
        aText[2 * n + 1] = static_cast<char>('0' + n % 10);
    }
    return aText;
}();

char* PutTwo(char* pText, std::size_t nValue) {
    std::memcpy(pText, &TWO_DIGITS[2 * nValue], 2);
    return pText + 2;
}

// A number that outgrows its width is written whole.
char* PutField(char* pText, std::uint8_t byValue) {
    return byValue < 100 ? PutTwo(pText, byValue) : std::to_chars(pText, pText + 3, byValue).ptr;
}

char* PutYear(char* pText, std::uint16_t wYear) {
    if (wYear > 9999) return std::to_chars(pText, pText + 5, wYear).ptr;
    return PutTwo(PutTwo(pText, wYear / 100u), wYear % 100u);
}

template <typename Put>
char* PutFields(char* pText, const fileTimeInfo& st, Put put) {
    for (const std::uint8_t byValue : {st.byMonth, st.byDay, st.byHour, st.byMinute, st.bySecond}) {
        pText = put(pText, byValue);
    }
    return pText;
}

template <typename Record>
int Compare(const Record& a, const Record& b) {
    char szA[TIME_DIGITS_BUFFER], szB[TIME_DIGITS_BUFFER];
    const std::string_view strA(szA, static_cast<std::size_t>(a.PutDigits(szA) - szA));
    const std::string_view strB(szB, static_cast<std::size_t>(b.PutDigits(szB) - szB));
    return strA.compare(strB);
}

}  // namespace

char* dateInfo::PutDigits(char* pText) const {
    return PutField(PutField(PutYear(pText, wYear), byMonth), byDay);
}

char* fileTimeInfo::PutDigits(char* pText) const {
    pText = PutYear(pText, wYear);
    // One look at all fields instead of one at each: a query makes thousands of names.
    return IsPlain() ? PutFields(pText, *this, PutTwo) : PutFields(pText, *this, PutField);
}

int dateInfo::CompareDigits(const dateInfo& other) const {
    return Compare(*this, other);
}

int fileTimeInfo::CompareDigits(const fileTimeInfo& other) const {
    return Compare(*this, other);
}
