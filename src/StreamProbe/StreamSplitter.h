// Divides a camera's stream into frames, whatever it turns out to be: a bare H.264 or H.265 stream,
// or an MPEG program stream around one.
//
// A stream counts as bare until a unit of the system layer shows up, and again when such a unit is
// not followed by another where it ends. After a program stream has lost its thread, what looks
// like a bare stream is most likely the inside of a PES packet, and no frame that begins within the
// next MiB counts.
//
// In a program stream a frame begins at the pack in which its first byte lies (several that begin
// in one pack count as one, a key frame if there is one), so a file cut there begins with a pack.
// Muxers are of two sorts:
//   - Cameras begin every frame with a PES packet of its own: all is decided at the first slice,
//     and what follows passes through. A frame in a further PES packet of the same pack begins at
//     that packet.
//   - Others fill packs of a fixed size with whatever comes: a key frame may begin anywhere in a
//     pack, so each pack is undecided until its end. A file cut there begins with the pack, in
//     which some of the frames before stands in front of the key frame. Decoders pass over that or
//     show one damaged picture; cut any later, the file would lose the head of the key frame
//     itself.
// Deliberate: a key frame whose pack was passed on already (it is the first sign of the second
// sort, or more than the limit of undecided bytes lay in front) is none: no file could be cut
// there.

#ifndef LOCALSTORAGE_STREAMPROBE_STREAMSPLITTER_H
#define LOCALSTORAGE_STREAMPROBE_STREAMSPLITTER_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "StreamProbe/ElementaryStream.h"
#include "StreamProbe/ProgramStreamUnits.h"

/// Where a frame begins.
struct frameMark {
    std::uint64_t nPos;
    bool bKeyFrame;
};

/// How many bytes may be undecided at once.
constexpr std::size_t MAX_UNDECIDED = std::size_t{4} << 20;

class CStreamSplitter {
public:
    /// Reads on until there may be something new to take, or to the end. Returns the bytes used.
    std::size_t Read(const std::uint8_t* pData, std::size_t nSize);

    /// Every byte in front of this position is decided, but for the mark to take.
    std::uint64_t GetDecided() const;

    /// The next frame that begins in front of GetDecided; false when there is none. It stays until
    /// DropMark, which is due before reading on.
    bool PeekMark(frameMark& stMark) const;
    void DropMark() { m_bMark = false; }

    /// The stream ends: everything counts as it stands and is decided.
    void Finish();

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

    /// How the frames of this program stream lie in it.
    enum class ELayout : std::uint8_t { Unknown, FramePerPes, Packed };

    std::size_t ReadSome(const std::uint8_t* pData, std::size_t nSize);
    std::size_t ReadBare(const std::uint8_t* pData, std::size_t nSize);
    std::size_t ReadPayload(const std::uint8_t* pData, std::size_t nSize);
    std::size_t ReadSkip(std::size_t nSize);
    void ReadCode(std::uint8_t byData);
    void ReadHead(std::uint8_t byData);

    void BeginUnit(std::uint8_t byCode, std::uint64_t nPos);
    void ShapeUnit();
    void EndHead();
    void EndSkip();
    void EndUnit();
    void LoseThread();
    void OnPayloadCode();
    void OnBareEvent(CElementaryStream::EEvent eEvent);
    void OnPayloadEvent(CElementaryStream::EEvent eEvent);
    void OnPayloadFrame();
    void SetMark();
    std::size_t GetOpenCode() const;

    std::uint64_t m_nCursor = 0;  ///< position of the next byte to read
    EState m_eState = EState::Bare;
    CElementaryStream m_objVideo;
    std::uint64_t m_nPassedOn = 0;  ///< all in front of this was decided by force

    bool m_bMark = false;
    frameMark m_stMark{};

    // Program stream.
    std::uint64_t m_nTrustFrom = 0;   ///< frames of a bare stream in front of this do not count
    std::uint64_t m_nPack = NOWHERE;  ///< where a frame found now would begin
    ELayout m_eLayout = ELayout::Unknown;
    bool m_bProven = false;   ///< a unit was followed by another where it ended
    bool m_bFresh = false;    ///< all payload of this PES packet so far is in front of a frame
    std::size_t m_nCode = 0;  ///< in state Code: bytes of the next start code so far, 0 to 3
    std::size_t m_nLeft = 0;  ///< in states Skip and Payload: bytes to come
    std::uint64_t m_nPayloadPos = 0;  ///< where the payload begins
    unitShape m_stShape{};
    std::size_t m_nHead = 0;
    std::array<std::uint8_t, UNIT_HEAD_SIZE> m_aHead{};
};

#endif  // LOCALSTORAGE_STREAMPROBE_STREAMSPLITTER_H
