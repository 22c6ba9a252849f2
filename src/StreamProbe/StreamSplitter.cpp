#include "StreamProbe/StreamSplitter.h"

void CStreamSplitter::Read(const std::uint8_t* pData, std::size_t nSize) {
    constexpr std::uint64_t LONGEST_START_CODE = 4;
    if (m_bStartCodes) {
        m_objStartCodes.Read(pData, nSize);
        return;
    }
    const std::uint64_t nPos = m_objTransport.GetCursor();
    const bool bFirst = nPos < LONGEST_START_CODE && !m_objTransport.HasBegun();
    if (bFirst) m_nFirst = m_nFirst << 8 | *pData;
    m_objTransport.Read(pData, bFirst ? 1 : nSize);
    const bool bStartCode = bFirst && nPos >= 2 && m_nFirst == 1;
    if (bStartCode || m_objTransport.HasGivenUp()) TakeForStartCodes();
}

void CStreamSplitter::DropMark() {
    m_bStartCodes ? m_objStartCodes.DropMark() : m_objTransport.DropMark();
}

void CStreamSplitter::Finish() {
    if (m_bStartCodes) {
        m_objStartCodes.Finish();
    } else if (m_objTransport.HasBegun()) {
        m_objTransport.Finish();
    } else {
        TakeForStartCodes();
    }
}

void CStreamSplitter::TakeForStartCodes() {
    m_bStartCodes = true;
    m_objStartCodes.BeginAt(m_objTransport.GetDecided());
}
