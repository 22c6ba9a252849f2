// Which days are chosen to be deleted.

#include <gtest/gtest.h>

#include "records/PrunePlan.h"
#include "records/RecordingName.h"

namespace {

const LocalTime NOW = FromFields({2024, 3, 5, 12});

oldFile File(const char* pDisk, const char* pDay, std::uint64_t nBytes, int nEndsHours = 1) {
    return {pDisk,
            std::string(pDisk) + "/RecordFile",
            pDay,
            "cam",
            pDay,
            nBytes,
            ParseDayName(pDay).value() + Seconds(nEndsHours * 3600)};
}

std::string Days(const std::vector<oldFile>& vFiles) {
    std::string strDays;
    for (const oldFile& st : vFiles) strDays += st.strDir + st.strDay.substr(6) + " ";
    return strDays;
}

TEST(PrunePlan, NeverTouchesToday) {
    const auto vFiles = EarlierThanToday(
        {File("a", "20240305", 1), File("a", "20240306", 1), File("a", "20240304", 1, 25),
         File("b", "20240304", 1, 24), File("a", "20240301", 1)},
        NOW);
    EXPECT_EQ(Days(vFiles), "a01 b04 ");
    EXPECT_EQ(Days(BeforeDay(vFiles, FromFields({2024, 3, 4, 23}))), "a01 ");
}

TEST(PrunePlan, WholeDaysUntilEveryDiskHasRoom) {
    const std::vector<oldFile> vFiles = {File("a", "20240301", 10), File("b", "20240301", 10),
                                         File("a", "20240302", 10), File("a", "20240302", 10),
                                         File("b", "20240303", 10)};
    // a and b are disks of their own; a lacks 15 bytes, b none.
    EXPECT_EQ(Days(UntilFree(vFiles, {{"a", {1, 85}}, {"b", {2, 100}}}, 100)), "a01 a02 a02 ");
    // Both lie on one file system.
    EXPECT_EQ(Days(UntilFree(vFiles, {{"a", {1, 85}}, {"b", {1, 85}}}, 100)), "a01 b01 ");
}

}  // namespace
