// Times as people type them.

#include <gtest/gtest.h>

#include "base/Times.h"

namespace {

// A time misunderstood is a day deleted or the wrong clip handed out.
TEST(Times, WhatPeopleType) {
    const LocalTime tNow = FromFields({2024, 3, 5, 14, 30, 20});
    const struct {
        const char* pText;
        const char* pExpected;  // empty: refused
    } ROWS[] = {
        {"2024-03-05 24:00", "2024-03-06 00:00:00"},
        {"08:15", "2024-03-05 08:15:00"},
        {"yesterday", "2024-03-04 00:00:00"},
        {"-1d12h", "2024-03-04 02:30:20"},
        {"2023-02-29", ""},
        {"-99999999999999999999h", ""},
    };
    for (const auto& stRow : ROWS) {
        const auto tTime = ParseTime(stRow.pText, tNow);
        EXPECT_EQ(tTime ? FormatTime(*tTime) : "", stRow.pExpected) << stRow.pText;
    }
}

}  // namespace
