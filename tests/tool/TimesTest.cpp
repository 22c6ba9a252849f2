#include <gtest/gtest.h>

#include "../../tools/localstorage/Times.h"

namespace {

const LocalTime NOW = FromFields({2024, 3, 5, 14, 30, 20});

TEST(Times, WhatPeopleType) {
    const struct {
        const char* pText;
        const char* pExpected;
    } ROWS[] = {
        {"2024-03-05T08:00:00", "2024-03-05 08:00:00"},
        {"2024-02-29 08:00", "2024-02-29 08:00:00"},
        {"2024-03-05", "2024-03-05 00:00:00"},
        {"2024-03-05 24:00", "2024-03-06 00:00:00"},
        {"08:15", "2024-03-05 08:15:00"},
        {"now", "2024-03-05 14:30:20"},
        {"today 06:00", "2024-03-05 06:00:00"},
        {"yesterday", "2024-03-04 00:00:00"},
        {"yesterdayT23:59:59", "2024-03-04 23:59:59"},
        {"-2h", "2024-03-05 12:30:20"},
        {"-30", "2024-03-05 14:29:50"},
        {"-1d12h", "2024-03-04 02:30:20"},
    };
    for (const auto& stRow : ROWS) {
        const auto tTime = ParseTime(stRow.pText, NOW);
        EXPECT_EQ(tTime ? FormatTime(*tTime) : "", stRow.pExpected) << stRow.pText;
    }
    for (const char* pText : {"", "-", "2h", "-2x", "-2h-1m", "- 2h", "tomorrow", "2023-02-29",
                              "2024-13-01", "2024-3-5", "2024-03-05 8:00", "2024-03-05 08:60",
                              "2024-03-05 24:01", "2024-03-05  08:00", "2024-03-05 08:00:00Z",
                              "-99999999999999999999h", "-9223372036854775807w"}) {
        EXPECT_FALSE(ParseTime(pText, NOW)) << pText;
    }
}

TEST(Times, DigitsOfNamesAreNeverRefusedForTheCalendar) {
    EXPECT_EQ(FormatIso(ParseDigits("20240305081500").value()), "2024-03-05T08:15:00");
    EXPECT_EQ(FormatTime(ParseDigits("20231399").value()), "2024-04-08 00:00:00");
    EXPECT_EQ(ParseDigits("00000000").value(), FromFields({0, 0, 0}));
    EXPECT_FALSE(ParseDigits("2024030508150"));
    EXPECT_FALSE(ParseDigits("2024030508150x"));
}

TEST(Times, Spans) {
    EXPECT_EQ(ParseSpan("90"), Seconds(90));
    EXPECT_EQ(ParseSpan("1h30m"), Seconds(5400));
    for (const char* pText : {"", "h", "-5", "1.5h", "5 m", "m5"}) {
        EXPECT_FALSE(ParseSpan(pText)) << pText;
    }
    EXPECT_EQ(FormatSpan(Seconds(86400)), "24:00:00");
    EXPECT_EQ(FormatSpan(Seconds(2 * 86400 + 3661)), "2d 01:01:01");
}

}  // namespace
