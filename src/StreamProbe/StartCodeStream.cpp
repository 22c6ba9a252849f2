#include "StreamProbe/StartCodeStream.h"

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

void CStartCodeStream::ReadSome(const std::uint8_t* pData, std::size_t nSize) {
    switch (m_eState) {
        case EState::Bare:
            return ReadBare(pData, nSize);
        case EState::Payload:
            return ReadVideo(pData, nSize);
        case EState::Skip:
            return ReadSkip(nSize);
        case EState::Code:
            return ReadCode(*pData);
        case EState::Head:
            return ReadHead(*pData);
    }
}

// What may be the start code of a unit.
std::size_t CStartCodeStream::GetOpen() const {
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

void CStartCodeStream::ReadBare(const std::uint8_t* pData, std::size_t nSize) {
    std::size_t nUsed = 0;
    const auto eEvent = m_objVideo.Feed({pData, nSize, m_nCursor, 1}, nUsed);
    m_nCursor += nUsed;
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
void CStartCodeStream::ReadCode(std::uint8_t byData) {
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

void CStartCodeStream::BeginUnit(std::uint8_t byCode, std::uint64_t nPos) {
    const EUnit eUnit = GetUnit(byCode);
    if (eUnit == EUnit::Pack || (m_nAnchor == NOWHERE && OpensProgramStream(eUnit)))
        m_nAnchor = nPos;
    m_aHead[0] = m_aHead[1] = 0;
    m_aHead[2] = 1;
    m_aHead[3] = byCode;
    m_nHead = 4;
    m_stShape = {};
    m_eState = EState::Head;
    ShapeUnit();
}

void CStartCodeStream::ReadHead(std::uint8_t byData) {
    ++m_nCursor;
    m_aHead[m_nHead++] = byData;
    ShapeUnit();
}

void CStartCodeStream::ShapeUnit() {
    if (m_nHead < m_stShape.nHeader) return;
    m_stShape = GetUnitShape(m_aHead.data(), m_nHead);
    if (!m_stShape.bValid) {
        LoseThread();
    } else if (m_stShape.bKnown) {
        EndHead();
    }
}

void CStartCodeStream::EndHead() {
    if (GetUnit(m_aHead[3]) == EUnit::Map) m_objVideo.SetHint(GetMapCodec(m_aHead.data(), m_nHead));
    m_eState = EState::Skip;
    m_nLeft = m_stShape.nSkip;
    if (m_nLeft == 0) EndSkip();
}

void CStartCodeStream::ReadSkip(std::size_t nSize) {
    const std::size_t nUsed = std::min(nSize, m_nLeft);
    m_nCursor += nUsed;
    m_nLeft -= nUsed;
    if (m_nLeft == 0) EndSkip();
}

void CStartCodeStream::EndSkip() {
    if (m_stShape.nPayload == 0 && !m_stShape.bOpen) {
        EndUnit();
        return;
    }
    m_eState = EState::Payload;
    m_nLeft = m_stShape.nPayload;
    m_nPayloadPos = m_nCursor;
    BeginPayload();
}

// Zeros at the end of a payload may be the next start code's, when bytes of it are missing.
void CStartCodeStream::EndUnit() {
    m_nCode = std::min<std::size_t>(GetOpen(), 2);
    m_eState = EState::Code;
}

void CStartCodeStream::LoseThread() {
    m_nTrustFrom = m_bProven ? m_nCursor + DISTRUST : m_nTrustFrom;
    m_bProven = false;
    m_nAnchor = NOWHERE;
    m_eState = EState::Bare;
    m_objVideo.Restart();
}

void CStartCodeStream::ReadVideo(const std::uint8_t* pData, std::size_t nSize) {
    const bool bOpen = m_stShape.bOpen;
    const std::uint64_t nBegin = m_nCursor;
    const auto eEvent = ReadPayload(pData, bOpen ? nSize : std::min(nSize, m_nLeft));
    m_nLeft -= bOpen ? 0 : static_cast<std::size_t>(m_nCursor - nBegin);
    if (eEvent == CElementaryStream::EEvent::SystemCode) OnPayloadCode();
    if (m_eState == EState::Payload && m_nLeft == 0 && !m_stShape.bOpen) EndUnit();
}

// No NAL unit contains a pack: the packet is shorter than it said, bytes are missing. A packet of
// no given length ends at any unit.
void CStartCodeStream::OnPayloadCode() {
    const std::uint8_t byCode = m_objVideo.GetSystemCode();
    const bool bWhole = m_nCursor - m_nPayloadPos >= 4;
    if (bWhole && (m_stShape.bOpen || GetUnit(byCode) == EUnit::Pack)) {
        m_objVideo.DropUnit();
        BeginUnit(byCode, m_nCursor - 4);
    }
}
