// The time line of what is stored: stamps that cameras send made to run forward, and the wall time
// that belongs to them.

#include <cmath>

#include "Support/Test.h"
#include "media/Arrivals.h"
#include "media/TimeMender.h"
#include "media/UtcClock.h"

namespace {

constexpr std::int64_t STEP = TICKS / 25;
using Stamp = std::optional<std::int64_t>;

/// What happens to a camera's stamps after its first 100 pictures, one STEP apart.
struct stampTrouble {
    const char* pName;
    Stamp optShow, optDecode;  ///< the next picture's
    std::int64_t nArrives;     ///< so long after the one before
    packetTimes stExpected;    ///< from the one before on
};

// A file that runs backwards does not play to its end; sound moved otherwise is out of step for
// good.
TEST(TimeMender, EveryKindOfStampRunsForward) {
    constexpr std::int64_t FIRST = (std::int64_t{1} << 33) - 100 * STEP;  // wraps behind the last
    constexpr std::int64_t LAST = FIRST + 99 * STEP, HOUR = 3600 * TICKS;
    const stampTrouble ROWS[] = {
        {"in order", LAST + STEP, LAST + STEP, STEP, {STEP, STEP}},
        {"shown later", LAST + 3 * STEP, LAST + STEP, STEP, {3 * STEP, STEP}},
        {"a pause", LAST + 9 * TICKS, LAST + 9 * TICKS, 9 * TICKS, {9 * TICKS, 9 * TICKS}},
        {"33 bits wrap", 0, 0, STEP, {STEP, STEP}},
        {"begins anew", HOUR, HOUR, STEP, {STEP, STEP}},
        {"jumps ahead", LAST + HOUR, LAST + HOUR, STEP, {STEP, STEP}},
        {"back after a break", LAST - HOUR, LAST - HOUR, TICKS, {TICKS, TICKS}},
        {"a little back", LAST - 9, LAST - 9, STEP, {1, 1}},
        {"shown before it is decoded", LAST, LAST + STEP, STEP, {STEP, STEP}},
        {"none", {}, {}, STEP, {STEP, STEP}},
        {"no decoding time", LAST + 3 * STEP, {}, STEP, {3 * STEP, STEP}},
    };
    for (const stampTrouble& row : ROWS) {
        CTimeMender obj;
        packetTimes stVideo, stAudio;
        for (int n = 0; n < 100; ++n) {
            const std::int64_t nTime = FIRST + n * STEP;
            stVideo = obj.Mend(0, {nTime, nTime, STEP}, n * STEP);
            stAudio = obj.Mend(1, {nTime, nTime, STEP}, n * STEP);
        }
        EXPECT_EQ(stVideo, stAudio);
        const packetTimes st =
            obj.Mend(0, {row.optShow, row.optDecode, STEP}, 99 * STEP + row.nArrives);
        EXPECT_EQ(st.nShow - stVideo.nShow, row.stExpected.nShow) << row.pName;
        EXPECT_EQ(st.nDecode - stVideo.nDecode, row.stExpected.nDecode) << row.pName;
        // One packet of sound from before the jump, one from behind it.
        const std::int64_t nOld = LAST + STEP, nNew = row.optDecode.value_or(nOld) + STEP;
        EXPECT_EQ(obj.Mend(1, {nOld, nOld, STEP}, 100 * STEP).nDecode - stAudio.nDecode, STEP)
            << row.pName;
        const packetTimes stSound = obj.Mend(1, {nNew, nNew, STEP}, 100 * STEP);
        EXPECT_NEAR(stSound.nDecode, st.nDecode + STEP, 10) << row.pName << ": out of step";
    }
    EXPECT_EQ(CTimeMender().Mend(0, {-5, -50, STEP}, 0),
              (packetTimes{CTimeMender::BEGIN + 45, CTimeMender::BEGIN}));
}

// Stamps by which four cameras' pictures of one clock agree.
TEST(UtcClock, FollowsTheCameraAndNotTheNetwork) {
    const UtcTime tBegin(1'700'000'000s);
    const auto Error = [&](double fRate, std::optional<std::chrono::milliseconds> nCamera) {
        CUtcClock obj(std::nullopt);
        std::chrono::microseconds nWorst(0);
        for (int n = 0; n < 3000; ++n) {
            const UtcTime tTaken = tBegin + std::chrono::microseconds(40'000L * n);
            const auto nJitter = std::chrono::milliseconds(n % 7 == 0 ? 0 : n * 37 % 400);
            const auto optCamera = nCamera ? std::optional(tTaken + *nCamera) : std::nullopt;
            const UtcTime tTime =
                obj.TimeOf(std::llround(n * fRate * STEP), tTaken + nJitter, optCamera);
            nWorst = std::max(nWorst, std::chrono::abs(tTime - tTaken));
        }
        const UtcTime tLast = tBegin + std::chrono::microseconds(40'000L * 3000);
        const UtcTime tSilent = obj.TimeOf(std::llround(3000 * fRate * STEP), tLast + 20s, {});
        if (!nCamera) nWorst = std::max(nWorst, std::chrono::abs(tSilent - tLast));
        return nWorst;
    };
    EXPECT_LT(Error(1, {}), 1ms);
    EXPECT_LT(Error(0.9995, {}), 20ms) << "a camera's slow clock";
    EXPECT_LT(Error(1.0005, {}), 20ms) << "a camera's fast clock";
    EXPECT_EQ(Error(1, -300ms), 300ms) << "a camera that says when, plausibly";
    EXPECT_LT(Error(1, 90ms), 1ms) << "a camera whose clock is a little fast";
    EXPECT_LT(Error(1, 2h), 1ms) << "a camera whose clock is wrong";
    EXPECT_EQ(CUtcClock(tBegin).TimeOf(5 * TICKS, tBegin + 9h, {}), tBegin);
    // A network that holds up all pictures of 20 seconds.
    CUtcClock objHeldUp(std::nullopt);
    for (int n = 0; n < 1000; ++n) {
        const UtcTime tTaken = tBegin + std::chrono::milliseconds(40 * n);
        const auto nDelay = n < 500 ? 0s : 3s;
        EXPECT_EQ(objHeldUp.TimeOf(n * STEP, tTaken + nDelay, tTaken), tTaken) << n;
    }
}

// A container that holds pictures back tells of none how long it did.
TEST(Arrivals, ArePicturesOwnHoweverManyAreHeldBack) {
    for (const std::int64_t nHeld : {0, 1, 2}) {
        CArrivals obj;
        const UtcTime tBegin(1'700'000'000s);
        const auto CameAt = [&](std::int64_t n) { return tBegin + n * n * 1ms; };  // ever slower
        for (std::int64_t n = 0; n < 100; ++n) {
            const std::int64_t nPlace = n < 50 ? 1000 * n : 1000 * (n - 50);  // begins anew
            const UtcTime t = obj.Of(nPlace, nPlace + 1000 * nHeld + 188, CameAt(n + nHeld));
            EXPECT_EQ(t, CameAt(n % 50 < nHeld ? n - n % 50 + nHeld : n))
                << n << ", held: " << nHeld;
        }
    }
}

}  // namespace
