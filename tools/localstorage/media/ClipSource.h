// A recording as a source of a clip: its frames, read twice, once to know them all and once to
// copy.

#ifndef LOCALSTORAGE_TOOL_MEDIA_CLIPSOURCE_H
#define LOCALSTORAGE_TOOL_MEDIA_CLIPSOURCE_H

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "media/FrameTimes.h"
#include "media/MediaInput.h"

/// What the first reading finds. A key frame and those behind it up to the next are a group.
struct clipFrames {
    ECodec eCodec = ECodec::H264;
    int nWidth = 0, nHeight = 0;
    double fRate = 0;  ///< frames per second that the stream names; 0: none
    std::vector<codedFrame> vFrames;
    std::vector<std::size_t> vPlaces;
    std::vector<stampedFrame> vStamped;  ///< key frames

    /// Leaves out the last key frame and what follows it, of which more may come.
    void CutToWholeGroups();
};

/// Told of the size of each frame that was read.
using BytesFunction = std::function<void(std::size_t)>;

/// Reads an open recording whole. Throws CFailure.
clipFrames ScanFrames(const openMedia& stMedia, const BytesFunction& fnBytes);

#endif  // LOCALSTORAGE_TOOL_MEDIA_CLIPSOURCE_H
