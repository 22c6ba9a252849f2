#include <random>

#include <gtest/gtest.h>

#include "IndexMgr/Records.h"

namespace {

// The definition of every comparison: that of the texts.
template <typename T>
void ExpectOrderOfTexts(const T& a, const std::string& strA, const T& b, const std::string& strB) {
    EXPECT_EQ(a < b, strA < strB) << strA << " " << strB;
    EXPECT_EQ(a <= b, strA <= strB) << strA << " " << strB;
    EXPECT_EQ(a >= b, strA >= strB) << strA << " " << strB;
    EXPECT_EQ(a == b, strA == strB) << strA << " " << strB;
}

template <typename... Fields>
std::string Print(const char* pFormat, Fields... fields) {
    char szText[64];
    std::snprintf(szText, sizeof(szText), pFormat, fields...);
    return szText;
}
std::string Text(const dateInfo& st) {
    return Print("%04d%02d%02d", st.wYear, st.byMonth, st.byDay);
}
std::string Text(const fileTimeInfo& st) {
    return Text(st.GetDate()) + Print("%02d%02d%02d", st.byHour, st.byMinute, st.bySecond);
}

}  // namespace

TEST(Records, CompareAsTextsInAndOutOfRange) {
    std::mt19937 random(1);
    const std::uint16_t years[] = {0, 1, 999, 2024, 2025, 9999, 10000, 20240, 65535};
    const std::uint8_t fields[] = {0, 1, 9, 10, 99, 100, 255};
    const auto year = [&] { return years[random() % std::size(years)]; };
    const auto field = [&] { return fields[random() % std::size(fields)]; };
    for (int i = 0; i < 20000; ++i) {
        const fileTimeInfo a{year(), field(), field(), field(), field(), field(), field()};
        fileTimeInfo b = a;
        if (i % 4 != 0) b = {year(), field(), field(), field(), field(), field(), 0};
        ExpectOrderOfTexts(a, Text(a), b, Text(b));
        EXPECT_EQ(a > b, Text(a) > Text(b));
        EXPECT_EQ(a.GetString(), Text(a));
        const dateInfo da = a.GetDate(), db = b.GetDate();
        ExpectOrderOfTexts(da, Text(da), db, Text(db));
        EXPECT_EQ(da.GetDirName(), Text(da));
    }
}

TEST(Records, FilesWithTheSameTimesAreEqualWhateverTheirType) {
    const auto a = File("20240305080000", "20240305090000", 1);
    EXPECT_TRUE(a == File("20240305080000", "20240305090000", 2));
    EXPECT_FALSE(a == File("20240305080000", "20240305090001", 1));
    EXPECT_FALSE(a < File("20240305080000", "20240305100000", 1)) << "the end takes no part";
    EXPECT_TRUE(a < File("20240305080001", "20240305080002", 1));
}

TEST(Records, NamesOutOfRangeAreLongerButWhole) {
    indexLevel3Body st = File("20240305080000", "20240305090000", 8);
    st.stEndTime.wYear = 10000;
    st.enumRecFileType = static_cast<RecFileType>(12);
    EXPECT_EQ(st.GetRecFileName(), "20240305080000_100000305090000_12.mp4");
}

TEST(Records, TypeFilter) {
    const struct {
        int nFile, nWanted;
        bool bFound;
    } cases[] = {{3, 0, true},  {8, 8, true},  {0, 0, true},
                 {0, 3, false}, {3, 9, false}, {9, 9, false}};
    for (const auto& c : cases) {
        EXPECT_EQ(VerifyRecFileType(RecFileType(c.nFile), RecFileType(c.nWanted)), c.bFound)
            << c.nFile << " " << c.nWanted;
    }
}
