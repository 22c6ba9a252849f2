// Looks through an H.264 SEI unit for a recovery point, byte by byte.

#ifndef LOCALSTORAGE_STREAMPROBE_RECOVERYPOINT_H
#define LOCALSTORAGE_STREAMPROBE_RECOVERYPOINT_H

#include <cstdint>

/// Deliberate: only a recovery point of 0 frames counts. Before an I picture it announces what CRA
/// is in H.265 (an open group of pictures): from here on every picture is right, and the leading
/// ones that look back over the cut are passed over by players. A gradual refresh is none: nothing
/// decodes alone there.
class CRecoveryPointScan {
public:
    /// The next byte of the unit, after its header byte. True once a recovery point was found.
    bool Push(std::uint8_t byData);

private:
    enum class EPhase : std::uint8_t { Type, Size, Payload };

    bool PushPayload(std::uint8_t byData);

    EPhase m_ePhase = EPhase::Type;
    std::uint8_t m_nZeros = 0;
    bool m_bFirst = false;  ///< the next payload byte is the message's first
    std::uint32_t m_nType = 0;
    std::uint32_t m_nLeft = 0;  ///< bytes of the message still to come
};

#endif  // LOCALSTORAGE_STREAMPROBE_RECOVERYPOINT_H
