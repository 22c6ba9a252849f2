// NAL units of H.264 and H.265: what their first bytes say about the frame they belong to. Pure
// functions of those bytes.

#ifndef LOCALSTORAGE_STREAMPROBE_NAL_H
#define LOCALSTORAGE_STREAMPROBE_NAL_H

#include <array>
#include <cstddef>
#include <cstdint>

enum class ECodec : std::uint8_t { Unknown, H264, H265 };

/// What a NAL unit does to the division of the stream into frames.
enum class ENalRole : std::uint8_t {
    Other,       ///< goes with what is around it: filler, end of sequence, suffix SEI, unknown
    Front,       ///< stands in front of a picture: delimiter, parameter set, SEI
    Slice,       ///< goes on with a picture
    FirstSlice,  ///< begins a picture: a key frame behind a recovery point
    FirstKey     ///< begins a picture at which decoding can start (IDR; CRA and BLA too)
};

/// How many bytes after the start code are enough to tell all of that.
constexpr std::size_t NAL_HEAD_SIZE = 6;

/// The first bytes after a start code; zeros beyond the end of a shorter unit.
using nalHead = std::array<std::uint8_t, NAL_HEAD_SIZE>;

/// The kind of stream that a NAL unit gives away. `eKnown` is what is thought so far: a parameter
/// set may correct it at any time, a slice only helps while nothing is known.
ECodec RecogniseCodec(ECodec eKnown, const nalHead& aHead);

/// While the kind of the stream is unknown, everything that could be Front is, and nothing begins
/// a picture.
ENalRole GetNalRole(ECodec eCodec, const nalHead& aHead);

/// Whether a Front unit is an H.264 SEI, which may announce a recovery point.
bool IsH264Sei(const nalHead& aHead);

/// The parameter sets that decoding a stream of that kind needs, as bits.
constexpr unsigned PARAMETER_SET_VIDEO = 1;
constexpr unsigned PARAMETER_SET_SEQUENCE = 2;
constexpr unsigned PARAMETER_SET_PICTURE = 4;
unsigned AllParameterSets(ECodec eCodec);
/// The bit of the parameter set that a unit is; 0 for any other unit.
unsigned ParameterSetOf(ECodec eCodec, const nalHead& aHead);

/// Whether a unit is the delimiter that begins an access unit.
bool IsDelimiter(ECodec eCodec, const nalHead& aHead);

/// From this byte after a start code on, it belongs to the MPEG system layer (packs, PES), never to
/// a NAL unit.
constexpr std::uint8_t FIRST_SYSTEM_CODE = 0xB9;

#endif  // LOCALSTORAGE_STREAMPROBE_NAL_H
