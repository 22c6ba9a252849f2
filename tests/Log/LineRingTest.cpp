#include <deque>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "Log/LineRing.h"

namespace {

/// Takes what the ring hands out; every line must be the next one that was put in.
void TakeAndCompare(CLineRing& ring, std::deque<std::string>& deExpected) {
    LogLines stLines = ring.Oldest();
    const LogLines stAll = stLines;
    EXPECT_EQ(stLines.m_vecLen.empty(), deExpected.empty());
    EXPECT_LE(stLines.Bytes(), CLineRing::AT_ONCE);
    for (; !stLines.m_vecLen.empty(); stLines = stLines.Behind(1)) {
        ASSERT_EQ(std::string(stLines.m_pText, stLines.m_vecLen[0]), deExpected.front());
        deExpected.pop_front();
    }
    ring.GiveBack(stAll);
}

}  // namespace

TEST(LineRingTest, LinesComeOutAsTheyWentInAcrossManyWraps) {
    CLineRing ring;
    ASSERT_TRUE(ring.Create());
    std::mt19937 random(7);
    std::deque<std::string> deExpected;
    for (std::size_t i = 0; i < 2 * CLineRing::LINES; ++i) {
        std::string strLine = std::to_string(i) + "|";
        strLine.resize(40 + random() % (i % 50 == 0 ? 10000 : 100),
                       static_cast<char>('a' + i % 26));
        const bool bTaken = ring.Push(strLine.data(), strLine.size());
        if (bTaken) deExpected.push_back(strLine);
        if (!bTaken || random() % 40000 == 0) TakeAndCompare(ring, deExpected);
    }
    while (!deExpected.empty()) TakeAndCompare(ring, deExpected);
    const std::string strLine(0x8000, 'x');
    for (std::size_t i = 0; i < CLineRing::CAPACITY / strLine.size(); ++i) {
        ASSERT_TRUE(ring.Push(strLine.data(), strLine.size())) << "all room came back";
    }
    EXPECT_FALSE(ring.Push("y", 1));
}

TEST(LineRingTest, LinesWithoutEndAreRefusedAtTheirCount) {
    CLineRing ring;
    ASSERT_TRUE(ring.Create());
    for (std::size_t i = 0; i < CLineRing::LINES; ++i) ASSERT_TRUE(ring.Push("x", 1));
    EXPECT_FALSE(ring.Push("x", 1));
}
