// When the frames of a recording of bare video were taken. It holds no times but those that its key
// frames may carry: else all that is known is when the file began and ended, the order of the
// frames and, perhaps, a frame rate. Pure functions.

#ifndef LOCALSTORAGE_TOOL_MEDIA_FRAMETIMES_H
#define LOCALSTORAGE_TOOL_MEDIA_FRAMETIMES_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Catalogue/UtcStamp.h"
#include "base/Times.h"

/// A frame as it stands in the file, in decoding order.
struct codedFrame {
    bool bKey = false;
    int nOrder = 0;  ///< picture order count: grows with display, begins anew with a sequence
};

/// For each frame, in decoding order, its place in the order of display.
std::vector<std::size_t> DisplayPlaces(const std::vector<codedFrame>& vFrames);

/// Seconds from one frame to the next. The stream's own rate (0: unknown, taken as 25) where the
/// file's length in time agrees with it, or cannot be true (a file recorded faster than real time);
/// else the frames are spread evenly over the file's length.
double FrameStep(std::size_t nFrames, Seconds nLength, double fRate);

/// A frame that carries its time.
struct stampedFrame {
    std::size_t nPlace;  ///< in the order of display
    UtcTime tTime;
};

/// When a file's first frame was taken, and the seconds from one frame to the next.
struct fileTimes {
    UtcTime tStart;
    double fStep;

    UtcTime TimeOf(std::size_t nPlace) const;
};

/// As the frames say that carry their times, else from `tStart` to `tEnd`, see FrameStep.
fileTimes TimesOf(std::size_t nFrames, const std::vector<stampedFrame>& vStamped, UtcTime tStart,
                  UtcTime tEnd, double fRate);

/// Which frames of a file go into a clip, in decoding order: from nFirst up to, not including,
/// nEnd. Those in between that are shown before the first one need frames that are left out.
struct frameRange {
    std::size_t nFirst = 0;
    std::size_t nEnd = 0;
};

/// From the last key frame shown at or before `fFrom` seconds into the file (else the first one) up
/// to `fTo`, and on until no frame shown in between is missing. Empty without a key frame.
frameRange SelectFrames(const std::vector<codedFrame>& vFrames,
                        const std::vector<std::size_t>& vPlaces, double fStep, double fFrom,
                        double fTo);

#endif  // LOCALSTORAGE_TOOL_MEDIA_FRAMETIMES_H
