// A day of recordings as bars of text.

#ifndef LOCALSTORAGE_TOOL_SCREEN_TIMELINEBARS_H
#define LOCALSTORAGE_TOOL_SCREEN_TIMELINEBARS_H

#include <string>
#include <vector>

#include "screen/TimelineDay.h"

struct barStyle {
    unsigned nWidth = 80;  ///< columns that a line may take
    bool bAscii = true;    ///< no characters beyond ASCII
    bool bColour = false;  ///< types as terminal colours
};

/// The lines of the picture: hours, a bar for each camera, a legend.
std::vector<std::string> DrawBars(const timelineDay& stTimeline, const barStyle& stStyle);

#endif  // LOCALSTORAGE_TOOL_SCREEN_TIMELINEBARS_H
