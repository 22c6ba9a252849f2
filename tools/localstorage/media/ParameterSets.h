// What stands in front of the pictures of H.264 and H.265 byte streams. Parameter sets above all:
// each key frame gets them, so that a file that begins there plays alone. Pure functions on bytes.

#ifndef LOCALSTORAGE_TOOL_MEDIA_PARAMETERSETS_H
#define LOCALSTORAGE_TOOL_MEDIA_PARAMETERSETS_H

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "StreamProbe/Nal.h"

using Bytes = std::span<const std::uint8_t>;

/// The parameter sets in front of a picture, each once, without start codes; none unless all are
/// there that decoding needs. Two key frames that have the same belong to one
/// stream.
std::set<std::string> ParameterSetsOf(Bytes stUnit, ECodec eCodec);

/// The codec that what stands in front of a picture gives away; `eKnown` where nothing speaks
/// against it.
ECodec CodecOf(Bytes stUnit, ECodec eKnown);

/// Where the first slice of an access unit begins; its end when there is none.
std::size_t FirstSlicePlace(Bytes stUnit, ECodec eCodec);

/// Makes `vResult` the access unit with something new at a place of it.
void InsertAt(Bytes stUnit, std::size_t nPlace, Bytes stNew, std::vector<std::uint8_t>& vResult);

/// Gives key frames the parameter sets that they lack: the latest complete ones of the stream.
class CParameterSetKeeper {
public:
    /// `stExtra`: the byte stream's sets known beforehand; may be empty.
    CParameterSetKeeper(ECodec eCodec, Bytes stExtra);

    /// The access unit as it should be stored, valid until the next call.
    Bytes Complete(Bytes stUnit, bool bKeyFrame);

private:
    ECodec m_eCodec;
    std::vector<std::uint8_t> m_vSets;
    std::vector<std::uint8_t> m_vUnit;
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_PARAMETERSETS_H
