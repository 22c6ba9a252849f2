// Looks through an H.264 SEI unit for a recovery point, byte by byte.

#ifndef LOCALSTORAGE_STREAMPROBE_RECOVERYPOINT_H
#define LOCALSTORAGE_STREAMPROBE_RECOVERYPOINT_H

#include <cstdint>

/// Decoders begin at one, however many frames it takes until the picture is right: none at an I
/// picture (an open group of pictures, as CRA in H.265), tens in a stream that is refreshed bit by
/// bit, where but for the very first frame there is no other place to begin. In H.265 they begin at
/// intra pictures only, so nobody looks for a recovery point there.
class CRecoveryPointScan {
public:
    /// The next byte of the unit, after its header byte. True once a recovery point was found.
    bool Push(std::uint8_t byData);

private:
    enum class EPhase : std::uint8_t { Type, Size, Payload };

    bool PushPayload(std::uint8_t byData);

    EPhase m_ePhase = EPhase::Type;
    std::uint8_t m_nZeros = 0;
    std::uint32_t m_nType = 0;
    std::uint32_t m_nLeft = 0;  ///< bytes of the message still to come
};

#endif  // LOCALSTORAGE_STREAMPROBE_RECOVERYPOINT_H
