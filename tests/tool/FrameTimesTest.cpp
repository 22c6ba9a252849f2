// Which frames of a recording go into a clip, and in which order.

#include <gtest/gtest.h>

#include "media/FrameTimes.h"

namespace {

// What the streams of the use tests do not have: open groups, and frames that a cut would lose.
TEST(FrameTimes, AClipBeginsAtAKeyFrameAndLacksNone) {
    // A key frame that counts on (open group): what follows it may be shown before it.
    EXPECT_EQ(DisplayPlaces({{true, 0}, {false, 2}, {true, 8}, {false, 4}, {false, 6}}),
              (std::vector<std::size_t>{0, 1, 4, 2, 3}));
    // Key frames every 5 frames, one second each.
    std::vector<codedFrame> vFrames;
    for (int n = 0; n < 20; ++n) vFrames.push_back({n % 5 == 0, n % 5});
    const struct {
        double fFrom, fTo;
        std::size_t nFirst, nEnd;
    } ROWS[] = {{7, 12, 5, 12}, {-3, 2, 0, 2}, {19, 99, 15, 20}};
    for (const auto& st : ROWS) {
        const frameRange stRange =
            SelectFrames(vFrames, DisplayPlaces(vFrames), 1, st.fFrom, st.fTo);
        EXPECT_EQ(stRange.nFirst, st.nFirst) << st.fFrom;
        EXPECT_EQ(stRange.nEnd, st.nEnd) << st.fTo;
    }
    // I P B B P B B: cutting at 2 seconds would leave a hole where the B frames are.
    vFrames = {{true, 0}, {false, 6}, {false, 2}, {false, 4}, {false, 12}, {false, 8}, {false, 10}};
    EXPECT_EQ(SelectFrames(vFrames, DisplayPlaces(vFrames), 1, 0, 2).nEnd, 4u);
}

}  // namespace
