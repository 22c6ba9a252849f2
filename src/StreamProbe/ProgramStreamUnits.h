// The units of an MPEG program stream: how long their headers are and what the program stream map
// says. Pure functions of the first bytes of a unit, beginning with its start code.

#ifndef LOCALSTORAGE_STREAMPROBE_PROGRAMSTREAMUNITS_H
#define LOCALSTORAGE_STREAMPROBE_PROGRAMSTREAMUNITS_H

#include <cstddef>
#include <cstdint>

#include "StreamProbe/Nal.h"

/// What a unit is, by the byte after its start code.
enum class EUnit : std::uint8_t {
    Foreign,  ///< none of a program stream: a NAL unit, or MPEG-2 video
    End,      ///< program end code, 4 bytes
    Pack,
    System,  ///< system header
    Map,     ///< program stream map
    Video,   ///< PES packet of the video stream
    Other    ///< any other PES packet: audio, private, padding
};
EUnit GetUnit(std::uint8_t byCode);

/// Room for the longest header that is looked at as a whole: a map.
constexpr std::size_t UNIT_HEAD_SIZE = 1024;

/// How a unit divides. While `bKnown` is false, `nHeader` bytes must be there to go on.
struct unitShape {
    bool bKnown = false;
    bool bValid = true;
    std::size_t nHeader = 4;   ///< bytes to collect
    std::size_t nSkip = 0;     ///< bytes after them that are passed over
    std::size_t nPayload = 0;  ///< bytes of video after those
    bool bOpen = false;        ///< video up to the next unit, of no given length
};

/// The shape as far as the first `nSize` bytes tell it (at least 4).
unitShape GetUnitShape(const std::uint8_t* pUnit, std::size_t nSize);

/// The kind of the first H.264 or H.265 stream in a whole map; Unknown when it names none.
ECodec GetMapCodec(const std::uint8_t* pMap, std::size_t nSize);

#endif  // LOCALSTORAGE_STREAMPROBE_PROGRAMSTREAMUNITS_H
