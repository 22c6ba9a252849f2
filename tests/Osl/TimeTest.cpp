#include <cstdlib>

#include <gtest/gtest.h>

#include "Osl/Osl.h"
#include "Support/FaultInjection.h"

TEST(TimeTest, TheClockCanBeStopped) {
    CFaultInjection faults;
    faults.SetTime(1709622000, 42);
    EXPECT_EQ(OSL_Time(), 1709622000);
    EXPECT_EQ(OSL_TimeMilliseconds(), 1709622000042);
    faults.AdvanceTime(1958);
    EXPECT_EQ(OSL_TimeMilliseconds(), 1709622002000);
}

TEST(TimeTest, LocalTimeFollowsTheZone) {
    std::tm stTime = {};
    ::setenv("TZ", "UTC0", 1);
    ASSERT_TRUE(OSL_LocalTime(1709622000, stTime));
    EXPECT_EQ(stTime.tm_hour, 7);
    ::setenv("TZ", "XXX-5", 1);
    ASSERT_TRUE(OSL_LocalTime(1709622000, stTime));
    EXPECT_EQ(stTime.tm_hour, 12);
    ::unsetenv("TZ");
}
