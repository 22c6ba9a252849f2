// Divides an H.264 or H.265 byte stream into frames: a byte state machine whose answers do not
// depend on how the stream was cut.
//
// Every byte has an anchor: the position at which a frame begins whose first byte it is. In a bare
// stream that is the byte's own position, in a program stream that of the pack around it. A frame
// begins at the anchor of the first unit in front of its first slice, once that slice is seen;
// until then everything from that anchor on is undecided.

#ifndef LOCALSTORAGE_STREAMPROBE_ELEMENTARYSTREAM_H
#define LOCALSTORAGE_STREAMPROBE_ELEMENTARYSTREAM_H

#include <cstddef>
#include <cstdint>
#include <limits>

#include "StreamProbe/Nal.h"
#include "StreamProbe/RecoveryPoint.h"

/// No position: the anchor of bytes in which no frame can begin any more, and of nothing.
constexpr std::uint64_t NOWHERE = std::numeric_limits<std::uint64_t>::max();

/// Some bytes of the stream and the anchor of each: `nAnchor + i * nStride`, stride 0 or 1.
struct streamSpan {
    const std::uint8_t* pData;
    std::size_t nSize;
    std::uint64_t nAnchor;
    std::uint64_t nStride;

    std::uint64_t AnchorOf(std::size_t i) const { return nAnchor + i * nStride; }
};

class CElementaryStream {
public:
    enum class EEvent : std::uint8_t {
        None,       ///< the bytes are used up
        Frame,      ///< a frame begins: GetFrameAnchor, IsKeyFrame
        Settled,    ///< what stood in front belongs to no new frame
        SystemCode  ///< the byte just read is a code of the system layer behind a start code
    };

    /// Reads until an event or the end; `nUsed` is the number of bytes read.
    EEvent Feed(const streamSpan& stSpan, std::size_t& nUsed);

    /// The stream ends: the last unit counts as it stands. Frame or None.
    EEvent Finish();

    /// Forgets the position in the stream; what kind of stream it is stays known.
    void Restart();

    /// What the stream is, as told from outside; its content has the last word.
    void SetHint(ECodec eCodec);
    ECodec GetCodec() const { return m_eCodec; }

    /// Of the last Frame event.
    std::uint64_t GetFrameAnchor() const { return m_nFrameAnchor; }
    bool IsKeyFrame() const { return m_bKeyFrame; }

    /// The anchor of the first undecided byte, NOWHERE when there is none.
    std::uint64_t GetUndecided() const;

    /// Whether something stands in front of a frame that has not begun. An event ends it.
    bool HasFront() const { return m_bFront; }

    /// Whether the bytes so far are decided, with no start code or frame begun.
    bool IsIdle() const { return !m_bFront && m_eState != EState::Head && m_nZeros == 0; }

    /// Whether only a start code can change anything, and none has begun.
    bool IsSlack() const { return m_eState == EState::Slack && m_nZeros == 0; }

    /// How many of the last bytes read may be the beginning of a start code (0 to 3).
    std::size_t GetOpenCode() const;

    std::uint8_t GetSystemCode() const { return m_aHead[0]; }

    /// The start code just read was none of this stream.
    void DropUnit();

private:
    enum class EState : std::uint8_t {
        Slack,  ///< only the next start code matters
        Head,   ///< the first bytes after a start code
        Sei     ///< inside an H.264 SEI
    };

    EEvent Step(std::uint8_t byData, std::uint64_t nAnchor, std::uint64_t nStride);
    EEvent BeginNal();
    EEvent PushHead(std::uint8_t byData);
    EEvent JudgeNal();
    EEvent BeginFrame(bool bKeyFrame);
    EEvent DropFront();
    void ScanSei();
    void PushZero(std::uint64_t nAnchor, std::uint64_t nStride);
    std::size_t Skip(const streamSpan& stSpan, std::size_t nFrom);

    ECodec m_eCodec = ECodec::Unknown;
    EState m_eState = EState::Slack;

    std::uint8_t m_nZeros = 0;              ///< zeros just read, counted up to 3
    std::uint64_t m_nLastZero = NOWHERE;    ///< anchor of the last of them
    std::uint64_t m_nCodeAnchor = NOWHERE;  ///< where a start code that they open begins

    nalHead m_aHead{};
    std::size_t m_nHead = 0;               ///< bytes in m_aHead
    std::uint64_t m_nNalAnchor = NOWHERE;  ///< of the current unit's start code

    bool m_bFront = false;             ///< units that may stand in front of a frame were read
    std::uint64_t m_nFront = NOWHERE;  ///< anchor of the first of them
    CRecoveryPointScan m_objSei;
    bool m_bRecoveryPoint = false;

    std::uint64_t m_nFrameAnchor = NOWHERE;
    bool m_bKeyFrame = false;
};

#endif  // LOCALSTORAGE_STREAMPROBE_ELEMENTARYSTREAM_H
