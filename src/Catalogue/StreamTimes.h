// When a recording was taken, by its own bytes. Only its head and its tail are read, also while it
// grows. What cannot be read tells nothing.

#ifndef LOCALSTORAGE_CATALOGUE_STREAMTIMES_H
#define LOCALSTORAGE_CATALOGUE_STREAMTIMES_H

#include <cstdint>
#include <optional>
#include <string>

#include "Catalogue/FrameSigns.h"

/// What is known of it; nothing of a stream that is not understood.
struct streamTimes {
    streamKind eKind = streamKind::UNKNOWN;
    std::optional<UtcTime> tStart;             ///< by the first stamp
    std::optional<UtcTime> tEnd;               ///< by the last stamp and the frames behind it
    std::optional<UtcTime::duration> nLength;  ///< by the container's times
};

/// Of a file of so many bytes.
streamTimes ReadStreamTimes(const std::string& strPath, std::uint64_t nBytes);

/// The length of a raw stream: its frames, at the rate that it states; else at 25 a second. Reads
/// all of it.
UtcTime::duration CountFrames(const std::string& strPath, std::uint64_t nBytes);

#endif  // LOCALSTORAGE_CATALOGUE_STREAMTIMES_H
