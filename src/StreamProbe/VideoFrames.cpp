#include "StreamProbe/VideoFrames.h"

#include <algorithm>

void CVideoFrames::Read(const std::uint8_t* pData, std::size_t nSize) {
    const auto nUndecided = static_cast<std::size_t>(m_nCursor - GetDecided());
    if (nUndecided == MAX_UNDECIDED) {
        m_nPassedOn = m_nCursor;
        m_nAnchor = m_nNextAnchor = NOWHERE;
        return;
    }
    ReadSome(pData, std::min(nSize, MAX_UNDECIDED - nUndecided));
}

std::uint64_t CVideoFrames::GetDecided() const {
    const std::uint64_t nDecided =
        std::min({m_nCursor - GetOpen(), m_objVideo.GetUndecided(), m_nAnchor, m_nNextAnchor});
    return std::max(nDecided, m_nPassedOn);
}

bool CVideoFrames::PeekMark(frameMark& stMark) const {
    if (!m_bMark) return false;
    stMark = m_stMark;
    return m_stMark.nPos < GetDecided();
}

// It begins where the one before does when that one's slice was so short that only the next packet
// ended it.
void CVideoFrames::SetMark() {
    const std::uint64_t nPos = m_objVideo.GetFrameAnchor();
    if (nPos == NOWHERE || nPos < m_nPassedOn) return;
    const bool bSame = m_bMark && m_stMark.nPos == nPos;
    m_stMark = {nPos, m_objVideo.IsKeyFrame() || (bSame && m_stMark.bKeyFrame)};
    m_bMark = true;
}

void CVideoFrames::Finish() {
    if (m_objVideo.Finish() == CElementaryStream::EEvent::Frame) SetMark();
    m_nPassedOn = m_nCursor;
}

// Byte by byte where what is read may turn out to be no part of a frame's front without an event,
// and while the frame of the anchor before still waits for what began behind it.
CElementaryStream::EEvent CVideoFrames::ReadPayload(const std::uint8_t* pData, std::size_t nSize) {
    auto eEvent = CElementaryStream::EEvent::None;
    const std::uint8_t* const pEnd = pData + nSize;
    do {
        const bool bStep =
            (m_bFresh && !m_objVideo.HasFront()) || (m_bMark && m_stMark.nPos != m_nAnchor);
        const std::size_t nMost = bStep ? 1 : static_cast<std::size_t>(pEnd - pData);
        std::size_t nUsed = 0;
        eEvent = m_objVideo.Feed({pData, nMost, m_nAnchor, 0}, nUsed);
        pData += nUsed;
        m_nCursor += nUsed;
        if (eEvent == CElementaryStream::EEvent::Frame) {
            OnPayloadFrame();
        } else if (m_bFresh && m_objVideo.IsIdle()) {
            m_bFresh = false;
            m_nAnchor = m_eLayout == ELayout::FramePerPes ? NOWHERE : m_nAnchor;
        }
    } while (eEvent == CElementaryStream::EEvent::None && !m_bMark && pData < pEnd);
    return eEvent;
}

void CVideoFrames::OnPayloadFrame() {
    // A short frame that ended the packet before is judged only now; it says nothing of this one.
    if (m_bFresh && m_objVideo.GetFrameAnchor() != m_nAnchor) {
        SetMark();
        return;
    }
    m_eLayout = m_bFresh && m_eLayout != ELayout::Packed ? ELayout::FramePerPes : ELayout::Packed;
    m_bFresh = false;
    SetMark();
    const bool bKeyHere = m_objVideo.IsKeyFrame() && m_objVideo.GetFrameAnchor() == m_nAnchor;
    if (bKeyHere || m_eLayout == ELayout::FramePerPes) m_nAnchor = NOWHERE;
}
