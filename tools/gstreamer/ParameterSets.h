// The parameter sets of an H.264 or H.265 byte stream: what a decoder needs before the first
// picture. Many streams say them only once, yet every file of a recording is to be decoded alone.

#ifndef LOCALSTORAGE_GSTREAMER_PARAMETERSETS_H
#define LOCALSTORAGE_GSTREAMER_PARAMETERSETS_H

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

enum class ECodec { H264, H265 };

/// Used by one thread.
class CParameterSets {
public:
    explicit CParameterSets(ECodec eCodec) : m_eCodec(eCodec) {}

    struct insertion {
        std::size_t nAt = 0;  ///< bytes of the access unit that stand in front
        std::string strSets;  ///< empty: it lacks nothing that is known
    };
    /// Takes the sets of an access unit, which begins with a start code, for those that count from
    /// now on, and tells what of them the unit itself lacks. Reads up to the first slice.
    insertion Complete(std::string_view strUnit);

private:
    /// Video, sequence and picture parameter sets, with their start codes.
    using Sets = std::array<std::string, 3>;

    const ECodec m_eCodec;
    Sets m_aSets;
};

#endif  // LOCALSTORAGE_GSTREAMER_PARAMETERSETS_H
