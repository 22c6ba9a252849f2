// The frame rate that a raw stream states for itself, in its sequence parameter set. A pure
// function of its bytes.

#ifndef LOCALSTORAGE_CATALOGUE_FRAMERATE_H
#define LOCALSTORAGE_CATALOGUE_FRAMERATE_H

#include <cstdint>
#include <optional>
#include <span>

#include "StreamProbe/Nal.h"

/// Frames a second, by the first sequence parameter set in the beginning of a stream. Nothing where
/// it states none, or none between 1 and 1000; any bytes may come.
std::optional<double> FrameRateOf(ECodec eCodec, std::span<const std::uint8_t> stHead);

#endif  // LOCALSTORAGE_CATALOGUE_FRAMERATE_H
