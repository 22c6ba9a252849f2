#include "StreamProbe/StreamSplitter.h"

#include <algorithm>

namespace {

// After a program stream lost its thread; packs come far more often than this.
constexpr std::uint64_t DISTRUST = std::uint64_t{1} << 20;

// Where the system layer may begin in what was taken for a bare stream.
bool OpensProgramStream(EUnit eUnit) {
    return eUnit == EUnit::Pack || eUnit == EUnit::System || eUnit == EUnit::Map ||
           eUnit == EUnit::Video;
}

}  // namespace

std::size_t CStreamSplitter::Read(const std::uint8_t* pData, std::size_t nSize) {
    const auto nUndecided = static_cast<std::size_t>(m_nCursor - GetDecided());
    if (nUndecided == MAX_UNDECIDED) {
        m_nPassedOn = m_nCursor;
        m_nPack = NOWHERE;
        return 0;
    }
    return ReadSome(pData, std::min(nSize, MAX_UNDECIDED - nUndecided));
}

std::size_t CStreamSplitter::ReadSome(const std::uint8_t* pData, std::size_t nSize) {
    switch (m_eState) {
        case EState::Bare:
            return ReadBare(pData, nSize);
        case EState::Payload:
            return ReadPayload(pData, nSize);
        case EState::Skip:
            return ReadSkip(nSize);
        case EState::Code:
            ReadCode(*pData);
            return 1;
        case EState::Head:
            ReadHead(*pData);
            return 1;
    }
    return nSize;
}

std::uint64_t CStreamSplitter::GetDecided() const {
    const std::uint64_t nDecided =
        std::min({m_nCursor - GetOpenCode(), m_objVideo.GetUndecided(), m_nPack});
    return std::max(nDecided, m_nPassedOn);
}

// Bytes just read that may be the start code of a unit.
std::size_t CStreamSplitter::GetOpenCode() const {
    switch (m_eState) {
        case EState::Code:
            return m_nCode;
        case EState::Payload:
            return std::min(m_objVideo.GetOpenCode(),
                            static_cast<std::size_t>(m_nCursor - m_nPayloadPos));
        default:
            return 0;
    }
}

bool CStreamSplitter::PeekMark(frameMark& stMark) const {
    stMark = m_stMark;
    return m_bMark && m_stMark.nPos < GetDecided();
}

// The frame that the video has just begun. It begins where the one before does when that one's
// slice was so short that only the next pack ended it.
void CStreamSplitter::SetMark() {
    const std::uint64_t nPos = m_objVideo.GetFrameAnchor();
    if (nPos == NOWHERE || nPos < m_nPassedOn) return;
    const bool bSame = m_bMark && m_stMark.nPos == nPos;
    m_stMark = {nPos, m_objVideo.IsKeyFrame() || (bSame && m_stMark.bKeyFrame)};
    m_bMark = true;
}

void CStreamSplitter::Finish() {
    if (m_objVideo.Finish() == CElementaryStream::EEvent::Frame) SetMark();
    m_nPassedOn = m_nCursor;
}

// ---- bare stream ----

std::size_t CStreamSplitter::ReadBare(const std::uint8_t* pData, std::size_t nSize) {
    std::size_t nUsed = 0;
    const auto eEvent = m_objVideo.Feed({pData, nSize, m_nCursor, 1}, nUsed);
    m_nCursor += nUsed;
    OnBareEvent(eEvent);
    return nUsed;
}

void CStreamSplitter::OnBareEvent(CElementaryStream::EEvent eEvent) {
    if (eEvent == CElementaryStream::EEvent::Frame && m_objVideo.GetFrameAnchor() >= m_nTrustFrom) {
        SetMark();
    }
    if (eEvent == CElementaryStream::EEvent::SystemCode &&
        OpensProgramStream(GetUnit(m_objVideo.GetSystemCode()))) {
        const std::uint8_t byCode = m_objVideo.GetSystemCode();
        m_objVideo.Restart();
        BeginUnit(byCode, m_nCursor - 4);
    }
}

// ---- program stream ----

// Between units zeros may stand, as padding and as the first part of the next start code.
void CStreamSplitter::ReadCode(std::uint8_t byData) {
    ++m_nCursor;
    if (m_nCode == 3) {
        m_bProven = m_bProven || GetUnit(byData) != EUnit::Foreign;
        BeginUnit(byData, m_nCursor - 4);
    } else if (byData == 0) {
        m_nCode = std::min<std::size_t>(m_nCode + 1, 2);
    } else if (byData == 1 && m_nCode == 2) {
        m_nCode = 3;
    } else {
        LoseThread();
    }
}

void CStreamSplitter::BeginUnit(std::uint8_t byCode, std::uint64_t nPos) {
    const EUnit eUnit = GetUnit(byCode);
    if (eUnit == EUnit::Pack || (m_nPack == NOWHERE && OpensProgramStream(eUnit))) m_nPack = nPos;
    m_aHead[0] = m_aHead[1] = 0;
    m_aHead[2] = 1;
    m_aHead[3] = byCode;
    m_nHead = 4;
    m_stShape = {};
    m_eState = EState::Head;
    ShapeUnit();
}

void CStreamSplitter::ReadHead(std::uint8_t byData) {
    ++m_nCursor;
    m_aHead[m_nHead++] = byData;
    ShapeUnit();
}

void CStreamSplitter::ShapeUnit() {
    if (m_nHead < m_stShape.nHeader) return;
    m_stShape = GetUnitShape(m_aHead.data(), m_nHead);
    if (!m_stShape.bValid) {
        LoseThread();
    } else if (m_stShape.bKnown) {
        EndHead();
    }
}

void CStreamSplitter::EndHead() {
    if (GetUnit(m_aHead[3]) == EUnit::Map) m_objVideo.SetHint(GetMapCodec(m_aHead.data(), m_nHead));
    m_eState = EState::Skip;
    m_nLeft = m_stShape.nSkip;
    if (m_nLeft == 0) EndSkip();
}

std::size_t CStreamSplitter::ReadSkip(std::size_t nSize) {
    const std::size_t nUsed = std::min(nSize, m_nLeft);
    m_nCursor += nUsed;
    m_nLeft -= nUsed;
    if (m_nLeft == 0) EndSkip();
    return nUsed;
}

void CStreamSplitter::EndSkip() {
    if (m_stShape.nPayload == 0 && !m_stShape.bOpen) {
        EndUnit();
        return;
    }
    m_eState = EState::Payload;
    m_nLeft = m_stShape.nPayload;
    m_nPayloadPos = m_nCursor;
    m_bFresh = true;
}

// Zeros at the end of a payload may be the next start code's, when bytes of it are missing.
void CStreamSplitter::EndUnit() {
    m_nCode = std::min<std::size_t>(GetOpenCode(), 2);
    m_eState = EState::Code;
}

void CStreamSplitter::LoseThread() {
    m_nTrustFrom = m_bProven ? m_nCursor + DISTRUST : m_nTrustFrom;
    m_bProven = false;
    m_nPack = NOWHERE;
    m_eState = EState::Bare;
    m_objVideo.Restart();
}

// Byte by byte where more than one thing may be settled at once: in front of a frame, and while the
// last pack's frame still waits for what began in it.
std::size_t CStreamSplitter::ReadPayload(const std::uint8_t* pData, std::size_t nSize) {
    const bool bStep = m_bFresh || (m_bMark && m_stMark.nPos != m_nPack);
    const std::size_t nMost = m_stShape.bOpen ? nSize : std::min(nSize, m_nLeft);
    std::size_t nUsed = 0;
    const auto eEvent = m_objVideo.Feed({pData, bStep ? 1 : nMost, m_nPack, 0}, nUsed);
    m_nCursor += nUsed;
    m_nLeft -= m_stShape.bOpen ? 0 : nUsed;
    OnPayloadEvent(eEvent);
    if (m_eState == EState::Payload && m_nLeft == 0 && !m_stShape.bOpen) EndUnit();
    return nUsed;
}

void CStreamSplitter::OnPayloadEvent(CElementaryStream::EEvent eEvent) {
    if (eEvent == CElementaryStream::EEvent::Frame) {
        OnPayloadFrame();
    } else if (eEvent == CElementaryStream::EEvent::SystemCode) {
        OnPayloadCode();
    } else if (m_bFresh && m_objVideo.IsIdle()) {
        m_bFresh = false;
        m_nPack = m_eLayout == ELayout::FramePerPes ? NOWHERE : m_nPack;
    }
}

void CStreamSplitter::OnPayloadFrame() {
    // A short frame that ended the pack before is judged only now; it says nothing of this one.
    if (m_bFresh && m_objVideo.GetFrameAnchor() != m_nPack) {
        SetMark();
        return;
    }
    m_eLayout = m_bFresh && m_eLayout != ELayout::Packed ? ELayout::FramePerPes : ELayout::Packed;
    m_bFresh = false;
    SetMark();
    const bool bKeyHere = m_objVideo.IsKeyFrame() && m_objVideo.GetFrameAnchor() == m_nPack;
    if (bKeyHere || m_eLayout == ELayout::FramePerPes) m_nPack = NOWHERE;
}

// No NAL unit contains a pack: the packet is shorter than it said, bytes are missing. A packet of
// no given length ends at any unit.
void CStreamSplitter::OnPayloadCode() {
    const std::uint8_t byCode = m_objVideo.GetSystemCode();
    const bool bWhole = m_nCursor - m_nPayloadPos >= 4;
    if (bWhole && (m_stShape.bOpen || GetUnit(byCode) == EUnit::Pack)) {
        m_objVideo.DropUnit();
        BeginUnit(byCode, m_nCursor - 4);
    }
}
