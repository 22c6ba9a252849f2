// The wall time that travels in a stream: each key frame carries an SEI message with its UTC time,
// in the form that MISB ST 0604 defines. Players skip it. Pure functions on bytes.

#ifndef LOCALSTORAGE_CATALOGUE_UTCSTAMP_H
#define LOCALSTORAGE_CATALOGUE_UTCSTAMP_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "Catalogue/LocalTime.h"
#include "StreamProbe/Nal.h"

/// The message as a NAL unit of its own, start code included. `eCodec` must be known.
std::vector<std::uint8_t> MakeUtcStamp(ECodec eCodec, UtcTime tTime);

/// The first whole one in a piece of a byte stream. Packets of a container must have been taken
/// off.
std::optional<UtcTime> FindUtcStamp(std::span<const std::uint8_t> stBytes);

#endif  // LOCALSTORAGE_CATALOGUE_UTCSTAMP_H
