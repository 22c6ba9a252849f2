#include <cstdio>
#include <random>

#include <gtest/gtest.h>

#include "IndexMgr/Records.h"

namespace {

// The definition of every comparison: that of the texts.
std::string Text(const fileTimeInfo& t) {
    char szText[32];
    std::snprintf(szText, sizeof(szText), "%04d%02d%02d%02d%02d%02d", t.wYear, t.byMonth, t.byDay,
                  t.byHour, t.byMinute, t.bySecond);
    return szText;
}
std::string Text(const dateInfo& d) {
    char szText[16];
    std::snprintf(szText, sizeof(szText), "%04d%02d%02d", d.wYear, d.byMonth, d.byDay);
    return szText;
}

template <typename T>
void ExpectOrderOfTexts(const T& a, const T& b) {
    EXPECT_EQ(a < b, Text(a) < Text(b)) << Text(a) << " " << Text(b);
    EXPECT_EQ(a <= b, Text(a) <= Text(b)) << Text(a) << " " << Text(b);
    EXPECT_EQ(a >= b, Text(a) >= Text(b)) << Text(a) << " " << Text(b);
    EXPECT_EQ(a == b, Text(a) == Text(b)) << Text(a) << " " << Text(b);
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
        ExpectOrderOfTexts(a, b);
        EXPECT_EQ(a > b, Text(a) > Text(b));
        ExpectOrderOfTexts(a.GetDate(), b.GetDate());
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
    const auto type = [](int n) { return static_cast<RecFileType>(n); };
    EXPECT_TRUE(VerifyRecFileType(type(3), type(0)));
    EXPECT_TRUE(VerifyRecFileType(type(8), type(8)));
    EXPECT_TRUE(VerifyRecFileType(type(0), type(0)));
    EXPECT_FALSE(VerifyRecFileType(type(0), type(3)));
    EXPECT_FALSE(VerifyRecFileType(type(3), type(9)));
    EXPECT_FALSE(VerifyRecFileType(type(9), type(9)));
}
