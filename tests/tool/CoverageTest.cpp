#include <gtest/gtest.h>

#include "../../tools/localstorage/TimelineBars.h"
#include "../../tools/localstorage/TimelineSvg.h"

namespace {

const LocalTime DAY = FromFields({2024, 3, 5});
const timeSpan WHOLE{DAY, DAY + Seconds(86400)};

timeSpan Hours(int nFrom, int nTo) {
    return {DAY + Seconds(nFrom * 3600), DAY + Seconds(nTo * 3600)};
}

timelineDay TimelineOf(const std::string& strCamera, int nFrom, int nTo, unsigned nType) {
    recording st;
    st.strCamera = strCamera;
    const timeSpan stSpan = Hours(nFrom, nTo);
    st.stName = {LOCAL_STORAGE_REMOTE_BACKUP, stSpan.tStart, stSpan.tEnd, nType};
    st.tEnd = stSpan.tEnd;
    return MakeTimeline({st}, WHOLE);
}

TEST(Coverage, OverlappingAndTouchingSpansBecomeOne) {
    const auto vecMerged = Merge({Hours(5, 6), Hours(1, 3), Hours(2, 4), Hours(6, 7), Hours(9, 9)});
    EXPECT_EQ(vecMerged, (std::vector<timeSpan>{Hours(1, 4), Hours(5, 7)}));
    EXPECT_EQ(GapsBetween(vecMerged), std::vector<timeSpan>{Hours(4, 5)});
    EXPECT_EQ(TotalLength(vecMerged), Seconds(5 * 3600));
    for (const int nGap : {2, 3}) {  // two seconds are none yet
        const timeSpan stFirst{DAY, DAY + Seconds(10)};
        const timeSpan stNext{stFirst.tEnd + Seconds(nGap), stFirst.tEnd + Seconds(10)};
        EXPECT_EQ(Merge({stFirst, stNext}).size(), nGap == 2 ? 1u : 2u);
    }
}

TEST(Timeline, BarsTellHowMuchAndFitTheWidth) {
    const auto st = TimelineOf("door", -2, 9, 4);
    const auto vecCells = MakeCells(st.vecRows[0], WHOLE, 4);
    EXPECT_DOUBLE_EQ(vecCells[0].fCovered, 1);
    EXPECT_DOUBLE_EQ(vecCells[1].fCovered, 0.5);
    EXPECT_EQ(vecCells[1].nType, 4u);
    for (const unsigned nWidth : {80u, 133u}) {
        for (const std::string& strLine : DrawBars(st, {nWidth, true, false})) {
            EXPECT_LT(strLine.size(), nWidth) << strLine;
            for (const char c : strLine) EXPECT_TRUE(c >= ' ' && c <= '~');
        }
    }
    EXPECT_EQ(DrawBars(TimelineOf("door", 0, 12, 1), {49, true, false})[1],
              "door        ############............    12:00:00");
}

TEST(Timeline, TheSvgEscapesNamesAndKnowsItsTypes) {
    const std::string strSvg = DrawSvg(TimelineOf("a<&\">", 1, 2, 7));
    EXPECT_NE(strSvg.find("a&lt;&amp;&quot;&gt;"), std::string::npos);
    EXPECT_EQ(strSvg.find("a<&"), std::string::npos);
    EXPECT_NE(strSvg.find("type 7"), std::string::npos);
    EXPECT_EQ(strSvg.find("type 1"), std::string::npos);
}

}  // namespace
