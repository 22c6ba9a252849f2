// A still picture of a stream: its latest key frame as JPEG.

#ifndef LOCALSTORAGE_TOOL_MEDIA_SNAPSHOT_H
#define LOCALSTORAGE_TOOL_MEDIA_SNAPSHOT_H

#include <cstdint>
#include <vector>

#include "media/MediaInput.h"

/// Decodes one key frame, parameter sets included, and encodes it as JPEG. Throws CFailure.
std::vector<std::uint8_t> MakeJpeg(Bytes stKeyFrame, const AVCodecParameters& stParameters);

#endif  // LOCALSTORAGE_TOOL_MEDIA_SNAPSHOT_H
