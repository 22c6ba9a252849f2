// The wall time at which pictures were taken, from their times on the time line. Pure: the caller
// tells what time it is.

#ifndef LOCALSTORAGE_TOOL_MEDIA_UTCCLOCK_H
#define LOCALSTORAGE_TOOL_MEDIA_UTCCLOCK_H

#include <cstdint>
#include <optional>

#include "Catalogue/UtcStamp.h"

class CUtcClock {
public:
    /// With `optStart` the first picture was taken then, and the others as their times say.
    /// Without, pictures are taken as they arrive: some come late, so the earliest of the last
    /// seconds tells how the clocks stand to each other.
    explicit CUtcClock(std::optional<UtcTime> optStart) : m_optStart(optStart) {}

    /// To be called for every picture. `nShow`: ticks, see TimeMender.h; `optCamera`: what the
    /// camera says, which is believed where it is plausible, and from then on while it stays what
    /// it was: a network may hold pictures up for longer than a camera's clock is trusted at once.
    /// No picture is told as taken after it arrived, as those of a clock a little fast would be.
    UtcTime TimeOf(std::int64_t nShow, UtcTime tArrived, std::optional<UtcTime> optCamera);

private:
    using Span = std::chrono::microseconds;

    UtcTime SmoothArrival(Span nShow, UtcTime tArrived);
    bool IsPlausible(Span nShow, UtcTime tCamera, UtcTime tArrival) const;

    std::optional<UtcTime> m_optStart;
    std::optional<Span> m_optFirst;        ///< the first picture's time
    UtcTime m_tWindow;                     ///< where the window began
    UtcTime m_tLeast, m_tLeastPrevious;    ///< earliest second 0 of the time line, by window
    std::optional<UtcTime> m_optBelieved;  ///< second 0 by the camera, where it was believed last
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_UTCCLOCK_H
