#include <deque>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "Log/LineRing.h"

namespace {

std::string Line(std::size_t nNumber, std::size_t nLen) {
    std::string strLine = std::to_string(nNumber) + "|";
    strLine.resize(nLen, static_cast<char>('a' + nNumber % 26));
    return strLine;
}

/// Takes what the ring hands out; every line must be the next one that was put in.
void TakeAndCompare(CLineRing& ring, std::deque<std::string>& deExpected) {
    LogLines stLines = ring.Oldest();
    const LogLines stAll = stLines;
    EXPECT_EQ(stLines.m_vecLen.empty(), deExpected.empty());
    for (; !stLines.m_vecLen.empty(); stLines = stLines.Behind(1)) {
        ASSERT_EQ(std::string(stLines.m_pText, stLines.m_vecLen[0]), deExpected.front());
        deExpected.pop_front();
    }
    ring.GiveBack(stAll);
}

const std::string LINE(0x8000, 'x');

void ExpectRoomForAll(CLineRing& ring) {
    for (std::size_t i = 0; i < CLineRing::CAPACITY / LINE.size(); ++i) {
        ASSERT_TRUE(ring.Push(LINE.data(), LINE.size()));
    }
    EXPECT_FALSE(ring.Push("y", 1));
}

}  // namespace

TEST(LineRingTest, LinesComeOutAsTheyWentInAcrossManyWraps) {
    CLineRing ring;
    ASSERT_TRUE(ring.Create());
    std::mt19937 random(7);
    std::deque<std::string> deExpected;
    std::size_t nRefused = 0;
    for (std::size_t i = 0; i < 20000; ++i) {
        const std::string strLine = Line(i, 40 + random() % (i % 3 == 0 ? 10000 : 200));
        if (ring.Push(strLine.data(), strLine.size())) {
            deExpected.push_back(strLine);
        } else {
            ++nRefused;
            TakeAndCompare(ring, deExpected);
        }
        if (random() % 400 == 0) TakeAndCompare(ring, deExpected);
    }
    while (!deExpected.empty()) TakeAndCompare(ring, deExpected);
    EXPECT_GT(nRefused, 10u) << "the ring was never full";
    ExpectRoomForAll(ring);
}

TEST(LineRingTest, TheWholeRoomIsUsedAndTheSkippedTailCounts) {
    CLineRing ring;
    ASSERT_TRUE(ring.Create());
    ExpectRoomForAll(ring);
    ASSERT_EQ(ring.Oldest().Bytes(), CLineRing::AT_ONCE);
    ring.GiveBack(ring.Oldest());

    ASSERT_TRUE(ring.Push(LINE.data(), LINE.size() - 1));
    std::size_t nMore = 0;
    while (ring.Push(LINE.data(), LINE.size())) ++nMore;
    EXPECT_EQ(nMore, CLineRing::AT_ONCE / LINE.size() - 1);
    EXPECT_TRUE(ring.Push("y", 1));
    EXPECT_FALSE(ring.Push("y", 1));
}

TEST(LineRingTest, LinesWithoutEndAreRefusedAtTheirCount) {
    CLineRing ring;
    ASSERT_TRUE(ring.Create());
    for (std::size_t i = 0; i < CLineRing::LINES; ++i) ASSERT_TRUE(ring.Push("x", 1));
    EXPECT_FALSE(ring.Push("x", 1));
    ring.GiveBack(ring.Oldest());
    EXPECT_TRUE(ring.Push("x", 1));
}
