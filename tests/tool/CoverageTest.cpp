#include <gtest/gtest.h>

#include "../../tools/localstorage/TimelineBars.h"
#include "../../tools/localstorage/TimelineSvg.h"

namespace {

const LocalTime DAY = FromFields({2024, 3, 5});
const timeSpan WHOLE{DAY, DAY + Seconds(86400)};

timeSpan Hours(int nFrom, int nTo) {
    return {DAY + Seconds(nFrom * 3600), DAY + Seconds(nTo * 3600)};
}

TEST(Coverage, OverlappingAndTouchingSpansBecomeOne) {
    const auto vecMerged = Merge({Hours(5, 6), Hours(1, 3), Hours(2, 4), Hours(6, 7), Hours(9, 9)});
    EXPECT_EQ(vecMerged, (std::vector<timeSpan>{Hours(1, 4), Hours(5, 7)}));
    EXPECT_EQ(GapsBetween(vecMerged), std::vector<timeSpan>{Hours(4, 5)});
    EXPECT_EQ(TotalLength(vecMerged), Seconds(5 * 3600));
    EXPECT_TRUE(GapsBetween({}).empty());
}

TEST(Coverage, TwoSecondsAreNoGapYet) {
    const timeSpan stFirst{DAY, DAY + Seconds(10)};
    EXPECT_EQ(Merge({stFirst, {DAY + Seconds(12), DAY + Seconds(20)}}).size(), 1u);
    EXPECT_EQ(Merge({stFirst, {DAY + Seconds(13), DAY + Seconds(20)}}).size(), 2u);
}

recording Recorded(const std::string& strCamera, int nFrom, int nTo, unsigned nType) {
    recording st;
    st.strCamera = strCamera;
    st.stName = {LOCAL_STORAGE_REMOTE_BACKUP, Hours(nFrom, nTo).tStart, Hours(nFrom, nTo).tEnd,
                 nType};
    st.tEnd = st.stName.tEnd;
    return st;
}

TEST(Timeline, CellsTellHowMuchAndWhat) {
    const auto st = MakeTimeline({Recorded("a", -2, 6, 1), Recorded("a", 12, 15, 4)}, WHOLE);
    ASSERT_EQ(st.vecRows.size(), 1u);
    const auto vecCells = MakeCells(st.vecRows[0], WHOLE, 4);
    EXPECT_DOUBLE_EQ(vecCells[0].fCovered, 1);
    EXPECT_EQ(vecCells[0].nType, 1u);
    EXPECT_DOUBLE_EQ(vecCells[1].fCovered, 0);
    EXPECT_DOUBLE_EQ(vecCells[2].fCovered, 0.5);
    EXPECT_EQ(vecCells[2].nType, 4u);
    EXPECT_EQ(st.Types(), (std::set<unsigned>{1, 4}));
}

TEST(Timeline, BarsFitTheWidthAndAreAsciiWhenAsked) {
    const auto st = MakeTimeline({Recorded("door", 0, 12, 1), Recorded("yard", 6, 7, 2)}, WHOLE);
    for (const unsigned nWidth : {80u, 133u}) {
        for (const std::string& strLine : DrawBars(st, {nWidth, true, false})) {
            EXPECT_LT(strLine.size(), nWidth) << strLine;
            for (const char c : strLine) EXPECT_TRUE(c >= ' ' && c <= '~');
        }
    }
    const auto vecLines = DrawBars(st, {49, true, false});
    EXPECT_EQ(vecLines[1], "door        ############............    12:00:00");
}

TEST(Timeline, TheSvgEscapesNamesAndKnowsItsTypes) {
    const std::string strSvg = DrawSvg(MakeTimeline({Recorded("a<&\">", 1, 2, 7)}, WHOLE));
    EXPECT_NE(strSvg.find("a&lt;&amp;&quot;&gt;"), std::string::npos);
    EXPECT_EQ(strSvg.find("a<&"), std::string::npos);
    EXPECT_NE(strSvg.find("type 7"), std::string::npos);
    EXPECT_EQ(strSvg.find("type 1"), std::string::npos);
}

}  // namespace
