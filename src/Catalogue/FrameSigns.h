// The frames in a piece of a recording, by what tells of time: a container's presentation times and
// the UTC time that key frames carry. Pure functions on bytes; a piece may begin and end anywhere.

#ifndef LOCALSTORAGE_CATALOGUE_FRAMESIGNS_H
#define LOCALSTORAGE_CATALOGUE_FRAMESIGNS_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "Catalogue/UtcStamp.h"

/// Presentation times count in these, modulo PTS_WRAP.
constexpr std::int64_t TICKS_PER_SECOND = 90000;
constexpr std::int64_t PTS_WRAP = std::int64_t{1} << 33;

enum class streamKind {
    UNKNOWN,
    TRANSPORT,  ///< packets
    PROGRAM,    ///< packs
    RAW         ///< H.264 or H.265 alone: frames have no times
};

/// What has to be known of a recording to read a piece of it.
struct recordedForm {
    streamKind eKind = streamKind::UNKNOWN;
    std::uint16_t nVideoPid = 0;      ///< of a transport stream
    ECodec eCodec = ECodec::Unknown;  ///< of a raw stream
};

/// By the beginning of a recording.
recordedForm RecogniseForm(std::span<const std::uint8_t> stHead);

/// A frame of a raw stream, or a PES packet of video.
struct frameSign {
    std::optional<std::int64_t> nPts;
    std::optional<UtcTime> tStamp;
};

/// In the order in which they stand there.
std::vector<frameSign> FindFrames(const recordedForm& stForm,
                                  std::span<const std::uint8_t> stBytes);

#endif  // LOCALSTORAGE_CATALOGUE_FRAMESIGNS_H
