// When the pictures of an input came. FFmpeg holds each back until it has read the next one, or the
// one behind that, as the container wants it: a picture had come by the first moment at which more
// had been read than what lies in front of it.

#ifndef LOCALSTORAGE_TOOL_MEDIA_ARRIVALS_H
#define LOCALSTORAGE_TOOL_MEDIA_ARRIVALS_H

#include <cstdint>
#include <deque>

#include "Catalogue/UtcStamp.h"

class CArrivals {
public:
    /// To be called for every picture at the moment it is handed out: at which place of the input
    /// it begins, and up to which place the input has been read. Any unit.
    UtcTime Of(std::int64_t nBegin, std::int64_t nRead, UtcTime tNow);

private:
    struct reading {
        std::int64_t nRead;
        UtcTime tTime;
    };
    std::deque<reading> m_dqReadings;  ///< forward; those that the next picture may lie in
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_ARRIVALS_H
