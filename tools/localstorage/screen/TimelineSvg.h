// A day of recordings as a picture: cameras as rows, hours as columns, types as colours.

#ifndef LOCALSTORAGE_TOOL_SCREEN_TIMELINESVG_H
#define LOCALSTORAGE_TOOL_SCREEN_TIMELINESVG_H

#include <string>

#include "screen/TimelineDay.h"

/// The whole SVG document.
std::string DrawSvg(const timelineDay& stTimeline);

#endif  // LOCALSTORAGE_TOOL_SCREEN_TIMELINESVG_H
