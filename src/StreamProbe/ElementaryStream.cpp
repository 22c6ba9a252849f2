#include "StreamProbe/ElementaryStream.h"

#include <algorithm>

#include "StreamProbe/StartCode.h"

CElementaryStream::EEvent CElementaryStream::Feed(const streamSpan& stSpan, std::size_t& nUsed) {
    std::size_t i = 0;
    EEvent eEvent = EEvent::None;
    while (i < stSpan.nSize && eEvent == EEvent::None) {
        if (IsSlack()) {
            i = Skip(stSpan, i);
        } else {
            eEvent = Step(stSpan.pData[i], stSpan.AnchorOf(i), stSpan.nStride);
            ++i;
        }
    }
    nUsed = i;
    return eEvent;
}

// On to the last byte of the next start code, or to the end; counts the zeros in front of it.
std::size_t CElementaryStream::Skip(const streamSpan& stSpan, std::size_t nFrom) {
    const std::uint8_t* pEnd = stSpan.pData + stSpan.nSize;
    const std::uint8_t* pFound = FindStartCode(stSpan.pData + nFrom, pEnd);
    const std::size_t nStop =
        static_cast<std::size_t>(pFound - stSpan.pData) + (pFound == pEnd ? 0 : 2);
    std::size_t nZeros = 0;
    while (nZeros < 3 && nStop - nZeros > nFrom && stSpan.pData[nStop - nZeros - 1] == 0) ++nZeros;
    for (; nZeros > 0; --nZeros) PushZero(stSpan.AnchorOf(nStop - nZeros), stSpan.nStride);
    return nStop;
}

// A start code takes two zeros, and a third one, its zero byte, where bytes have places of their
// own. In a program stream that one may lie in an earlier pack, none of which is this frame's.
void CElementaryStream::PushZero(std::uint64_t nAnchor, std::uint64_t nStride) {
    if (m_nZeros == 0) {
        m_nCodeAnchor = nAnchor;
    } else if (m_nZeros >= 2) {
        m_nCodeAnchor = m_nLastZero - nStride;
    }
    m_nLastZero = nAnchor;
    m_nZeros = static_cast<std::uint8_t>(m_nZeros < 3 ? m_nZeros + 1 : 3);
}

CElementaryStream::EEvent CElementaryStream::Step(std::uint8_t byData, std::uint64_t nAnchor,
                                                  std::uint64_t nStride) {
    if (byData == 1 && m_nZeros >= 2) return BeginNal();
    if (byData == 0) {
        PushZero(nAnchor, nStride);
    } else {
        m_nZeros = 0;
    }
    if (m_eState == EState::Head) return PushHead(byData);
    if (m_eState == EState::Sei) m_bRecoveryPoint |= m_objSei.Push(byData);
    return EEvent::None;
}

CElementaryStream::EEvent CElementaryStream::BeginNal() {
    const EEvent eEvent = m_eState == EState::Head ? JudgeNal() : EEvent::None;
    m_nNalAnchor = m_nCodeAnchor;
    m_eState = EState::Head;
    m_nZeros = 0;
    m_nHead = 0;
    m_aHead.fill(0);
    return eEvent;
}

CElementaryStream::EEvent CElementaryStream::PushHead(std::uint8_t byData) {
    m_aHead[m_nHead++] = byData;
    if (m_nHead == NAL_HEAD_SIZE) return JudgeNal();
    return m_nHead == 1 && byData >= FIRST_SYSTEM_CODE ? EEvent::SystemCode : EEvent::None;
}

CElementaryStream::EEvent CElementaryStream::JudgeNal() {
    m_eState = EState::Slack;
    m_eCodec = RecogniseCodec(m_eCodec, m_aHead);
    switch (GetNalRole(m_eCodec, m_aHead)) {
        case ENalRole::Other:
            return EEvent::None;
        case ENalRole::Front:
            m_nFront = m_bFront ? m_nFront : m_nNalAnchor;
            m_bFront = true;
            ScanSei();
            return EEvent::None;
        case ENalRole::Slice:
            return DropFront();
        case ENalRole::FirstSlice:
            return BeginFrame(m_bRecoveryPoint);
        case ENalRole::FirstKey:
            return BeginFrame(true);
    }
    return EEvent::None;
}

void CElementaryStream::ScanSei() {
    if (!IsH264Sei(m_aHead)) return;
    m_eState = EState::Sei;
    m_objSei = CRecoveryPointScan();
    for (std::size_t i = 1; i < m_nHead; ++i) m_bRecoveryPoint |= m_objSei.Push(m_aHead[i]);
}

CElementaryStream::EEvent CElementaryStream::BeginFrame(bool bKeyFrame) {
    m_nFrameAnchor = m_bFront ? m_nFront : m_nNalAnchor;
    m_bKeyFrame = bKeyFrame;
    DropFront();
    return EEvent::Frame;
}

CElementaryStream::EEvent CElementaryStream::DropFront() {
    const bool bHadFront = m_bFront;
    m_bFront = false;
    m_bRecoveryPoint = false;
    return bHadFront ? EEvent::Settled : EEvent::None;
}

CElementaryStream::EEvent CElementaryStream::Finish() {
    const EEvent eEvent = m_eState == EState::Head ? JudgeNal() : EEvent::None;
    return eEvent == EEvent::Frame ? eEvent : EEvent::None;
}

void CElementaryStream::Restart() {
    const ECodec eCodec = m_eCodec;
    *this = CElementaryStream();
    m_eCodec = eCodec;
}

void CElementaryStream::SetHint(ECodec eCodec) {
    m_eCodec = m_eCodec == ECodec::Unknown ? eCodec : m_eCodec;
}

std::uint64_t CElementaryStream::GetUndecided() const {
    return std::min({m_bFront ? m_nFront : NOWHERE,
                     m_eState == EState::Head ? m_nNalAnchor : NOWHERE,
                     m_nZeros > 0 ? std::min(m_nCodeAnchor, m_nLastZero) : NOWHERE});
}

std::size_t CElementaryStream::GetOpenCode() const {
    return m_eState == EState::Head && m_nHead == 0 ? 3 : m_nZeros < 2 ? m_nZeros : 2;
}

void CElementaryStream::DropUnit() {
    m_eState = EState::Slack;
    m_nZeros = 0;
}
