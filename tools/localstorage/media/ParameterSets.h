// Parameter sets of H.264 and H.265 byte streams: each key frame gets them in front, so that a file
// that begins there plays alone. Pure functions on bytes.

#ifndef LOCALSTORAGE_TOOL_MEDIA_PARAMETERSETS_H
#define LOCALSTORAGE_TOOL_MEDIA_PARAMETERSETS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

enum class videoCodec { H264, H265 };

using Bytes = std::span<const std::uint8_t>;

/// What parameter sets a stretch of byte stream holds.
struct parameterSets {
    std::vector<std::uint8_t> vecBytes;  ///< the sets themselves, start codes included
    bool bComplete = false;              ///< one of every kind that decoding needs
};

/// Collects the parameter sets of a stretch of byte stream.
parameterSets CollectParameterSets(Bytes stBytes, videoCodec eCodec);

/// Where parameter sets go into an access unit: behind its delimiter, else in front of everything.
std::size_t ParameterSetPlace(Bytes stUnit, videoCodec eCodec);

/// Gives key frames the parameter sets that they lack: the latest complete ones of the stream.
class CParameterSetKeeper {
public:
    /// `stExtra`: the byte stream's sets known beforehand; may be empty.
    CParameterSetKeeper(videoCodec eCodec, Bytes stExtra);

    /// The access unit as it should be stored, valid until the next call.
    Bytes Complete(Bytes stUnit, bool bKeyFrame);

private:
    videoCodec m_eCodec;
    std::vector<std::uint8_t> m_vecSets;
    std::vector<std::uint8_t> m_vecUnit;
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_PARAMETERSETS_H
