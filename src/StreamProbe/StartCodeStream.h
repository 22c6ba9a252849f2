// The kinds of stream whose units begin with start codes: a bare H.264 or H.265 stream, or an MPEG
// program stream around one.
//
// A stream counts as bare until a unit of the system layer shows up, and again when such a unit is
// not followed by another where it ends. After a program stream has lost its thread, what looks
// like a bare stream is most likely the inside of a PES packet, and no frame that begins within the
// next MiB counts.
//
// In a program stream a frame begins at the pack in which its first byte lies, so a file cut there
// begins with a pack. A frame in a further PES packet of the same pack begins at that packet.

#ifndef LOCALSTORAGE_STREAMPROBE_STARTCODESTREAM_H
#define LOCALSTORAGE_STREAMPROBE_STARTCODESTREAM_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "StreamProbe/ProgramStreamUnits.h"
#include "StreamProbe/VideoFrames.h"

class CStartCodeStream final : public CVideoFrames {
public:
    /// The stream begins at this position.
    void BeginAt(std::uint64_t nPos) { m_nCursor = nPos; }

    void SetHint(ECodec eCodec) { m_objVideo.SetHint(eCodec); }
    ECodec GetCodec() const { return m_objVideo.GetCodec(); }

private:
    enum class EState : std::uint8_t {
        Bare,     ///< NAL units
        Code,     ///< program stream: between two units
        Head,     ///< in the header of a unit
        Skip,     ///< in bytes of a unit that do not matter
        Payload,  ///< in the video of a PES packet
    };

    void ReadSome(const std::uint8_t* pData, std::size_t nSize) override;
    std::size_t GetOpen() const override;

    void ReadBare(const std::uint8_t* pData, std::size_t nSize);
    void ReadVideo(const std::uint8_t* pData, std::size_t nSize);
    void ReadSkip(std::size_t nSize);
    void ReadCode(std::uint8_t byData);
    void ReadHead(std::uint8_t byData);

    void BeginUnit(std::uint8_t byCode, std::uint64_t nPos);
    void ShapeUnit();
    void EndHead();
    void EndSkip();
    void EndUnit();
    void LoseThread();
    void OnPayloadCode();

    EState m_eState = EState::Bare;

    // Program stream.
    std::uint64_t m_nTrustFrom = 0;  ///< frames of a bare stream in front of this do not count
    bool m_bProven = false;          ///< a unit was followed by another where it ended
    std::size_t m_nCode = 0;         ///< in state Code: bytes of the next start code so far, 0 to 3
    std::size_t m_nLeft = 0;         ///< in states Skip and Payload: bytes to come
    std::uint64_t m_nPayloadPos = 0;  ///< where the payload begins
    unitShape m_stShape{};
    std::size_t m_nHead = 0;
    std::array<std::uint8_t, UNIT_HEAD_SIZE> m_aHead{};
};

#endif  // LOCALSTORAGE_STREAMPROBE_STARTCODESTREAM_H
