// What the containers share: reading on from a position, frames as marks to take, and how frames
// lie in the packets of a container.
//
// In a container a frame begins at an anchor in front of its first byte: the pack or the transport
// packets that its PES packet begins with. Several that have one anchor count as one, a key frame
// if there is one. Muxers are of two sorts:
//   - Cameras begin every frame with a PES packet of its own: all is decided at the first slice,
//     and what follows passes through.
//   - Others put several frames behind one anchor: a key frame may begin anywhere behind it, so all
//     is undecided until the next one. A file cut there begins with the anchor, and some of the
//     frames before may stand in front of the key frame. Decoders pass over that or show one
//     damaged picture; cut any later, the file would lose the head of the key frame itself.
// Deliberate: a key frame whose anchor was passed on already (it is the first sign of the second
// sort, or more than the limit of undecided bytes lay in front) is none: no file could be cut
// there.

#ifndef LOCALSTORAGE_STREAMPROBE_VIDEOFRAMES_H
#define LOCALSTORAGE_STREAMPROBE_VIDEOFRAMES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "StreamProbe/ElementaryStream.h"

/// Where a frame begins.
struct frameMark {
    std::uint64_t nPos;
    bool bKeyFrame;
};

/// How many bytes may be undecided at once.
constexpr std::size_t MAX_UNDECIDED = std::size_t{4} << 20;

class CVideoFrames {
public:
    /// Reads bytes from GetCursor on until there may be a mark to take, or to the end.
    void Read(const std::uint8_t* pData, std::size_t nSize);

    /// Position of the byte to read next. It may go back as far as GetDecided.
    std::uint64_t GetCursor() const { return m_nCursor; }

    /// Every byte in front of this position is decided, but for the mark to take.
    std::uint64_t GetDecided() const;

    /// The next frame that begins in front of GetDecided; false when there is none. It stays until
    /// DropMark, which is due before reading on.
    bool PeekMark(frameMark& stMark) const;
    void DropMark() { m_bMark = false; }

    /// The stream ends: everything read counts as it stands and is decided.
    void Finish();

protected:
    CVideoFrames() = default;
    ~CVideoFrames() = default;
    CVideoFrames(const CVideoFrames&) = default;
    CVideoFrames& operator=(const CVideoFrames&) = default;

    /// Reads some of these bytes (at least one are given), and moves m_nCursor on.
    virtual void ReadSome(const std::uint8_t* pData, std::size_t nSize) = 0;

    /// How many of the bytes just read the container itself has not understood yet.
    virtual std::size_t GetOpen() const = 0;

    /// The frame that the video has just begun is one of the stream's.
    void SetMark();

    /// The payload of a PES packet begins: frames found in it begin at m_nAnchor.
    void BeginPayload() { m_bFresh = true; }

    /// Reads some of it; what is SystemCode is left to the container.
    CElementaryStream::EEvent ReadPayload(const std::uint8_t* pData, std::size_t nSize);

    /// Whether a frame was found that was not taken yet.
    bool HasMark() const { return m_bMark; }

    /// Whether payload changes nothing unless it TouchesStartCode, being the inside of a unit.
    /// Worth a look for one packet of a transport stream; more would be searched twice.
    bool IsInside() const { return !m_bFresh && m_objVideo.IsSlack(); }

    /// Reads from this position once more, or from as far back as is undecided.
    void GoBack(std::uint64_t nPos) { m_nCursor = std::max(nPos, m_nPassedOn); }

    std::uint64_t m_nCursor = 0;            ///< position of the next byte to read
    std::uint64_t m_nAnchor = NOWHERE;      ///< where a frame found now would begin
    std::uint64_t m_nNextAnchor = NOWHERE;  ///< where one in the next PES packet would
    CElementaryStream m_objVideo;

private:
    /// How the frames of this stream lie in it.
    enum class ELayout : std::uint8_t { Unknown, FramePerPes, Packed };

    void OnPayloadFrame();

    std::uint64_t m_nPassedOn = 0;  ///< all in front of this was decided by force
    bool m_bMark = false;
    frameMark m_stMark{};
    ELayout m_eLayout = ELayout::Unknown;
    bool m_bFresh = false;  ///< all payload of this PES packet so far is in front of a frame
};

#endif  // LOCALSTORAGE_STREAMPROBE_VIDEOFRAMES_H
