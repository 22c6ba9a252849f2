#include <random>

#include <gtest/gtest.h>

#include "IndexMgr/Records.h"

namespace {

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

// The definition of every comparison: that of the texts.
template <typename T>
void ExpectOrderOfTexts(const T& a, const T& b) {
    const std::string strA = Text(a), strB = Text(b);
    EXPECT_EQ(a < b, strA < strB) << strA << " " << strB;
    EXPECT_EQ(a <= b, strA <= strB) << strA << " " << strB;
    EXPECT_EQ(a >= b, strA >= strB) << strA << " " << strB;
    EXPECT_EQ(a == b, strA == strB) << strA << " " << strB;
}

}  // namespace

TEST(Records, CompareAndPrintAsTextsInAndOutOfRange) {
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
        ExpectOrderOfTexts(a.GetDate(), b.GetDate());
        EXPECT_EQ(a > b, Text(a) > Text(b));
        EXPECT_EQ(a.GetDate().GetDirName(), Text(a.GetDate()));
        const indexLevel3Body st{a, b, RecFileType(i % 12), {}};
        EXPECT_EQ(st.GetRecFileName(), Text(a) + "_" + Text(b) + Print("_%d.mp4", i % 12));
    }
}
