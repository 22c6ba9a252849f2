#include <gtest/gtest.h>

#include "IndexMgr/OldestDay.h"

TEST(ChooseOldestDay, ByDayThenTimeThenOrder) {
    EXPECT_EQ(ChooseOldestDay({{"20240306", 1}, {"20240305", 9}}), 1u);
    EXPECT_EQ(ChooseOldestDay({{"20240305", 2}, {"20240306", 0}, {"20240305", 1}}), 2u);
    EXPECT_EQ(ChooseOldestDay({{"20240305", 1}, {"20240305", 1}}), 0u);
}
