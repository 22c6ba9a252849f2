#include "Log/LineRing.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <numeric>

std::size_t LogLines::Bytes() const {
    return std::accumulate(m_vecLen.begin(), m_vecLen.end(), std::size_t{0});
}

LogLines LogLines::Behind(std::size_t nCount) const {
    const LogLines stSkipped = {m_pText, m_vecLen.first(nCount)};
    return {m_pText + stSkipped.Bytes(), m_vecLen.subspan(nCount)};
}

bool CLineRing::Create() {
    Destroy();
    // Cleared, so that no caller pays for the first touch of the memory in the middle of a burst.
    m_pBuffer.reset(new (std::nothrow) char[CAPACITY]());
    m_pLen.reset(new (std::nothrow) std::uint16_t[LINES]());
    return m_pBuffer && m_pLen;
}

void CLineRing::Destroy() {
    *this = CLineRing();
}

bool CLineRing::Push(const char* pText, std::size_t nLen) {
    const std::size_t nTail = CAPACITY - m_nWrite;
    const bool bWrap = nTail < nLen;  // no line is split
    const std::size_t nNeeded = nLen + (bWrap ? nTail : 0);
    if (m_nFree < nNeeded || m_nLines == LINES) return false;
    if (bWrap) {
        m_nWrap = m_nWrite;
        m_nWrite = 0;
    }
    std::memcpy(m_pBuffer.get() + m_nWrite, pText, nLen);
    m_pLen[(m_nFirstLine + m_nLines++) % LINES] = static_cast<std::uint16_t>(nLen);
    m_nWrite += nLen;
    m_nFree -= nNeeded;
    return true;
}

LogLines CLineRing::Oldest() const {
    const std::size_t nMost = std::min(m_nLines, LINES - m_nFirstLine);
    const std::size_t nEnd = std::min(m_nWrap, m_nRead + AT_ONCE);
    std::size_t nAt = m_nRead, nCount = 0;
    while (nCount < nMost && nAt + m_pLen[m_nFirstLine + nCount] <= nEnd) {
        nAt += m_pLen[m_nFirstLine + nCount++];
    }
    return {m_pBuffer.get() + m_nRead, {m_pLen.get() + m_nFirstLine, nCount}};
}

void CLineRing::GiveBack(const LogLines& stLines) {
    const std::size_t nBytes = stLines.Bytes();
    m_nRead += nBytes;
    m_nFree += nBytes;
    m_nLines -= stLines.m_vecLen.size();
    m_nFirstLine = (m_nFirstLine + stLines.m_vecLen.size()) % LINES;
    if (m_nRead == m_nWrap) {
        m_nFree += CAPACITY - m_nWrap;
        m_nRead = 0;
        m_nWrap = NOWHERE;
    }
    if (m_nLines == 0) m_nRead = m_nWrite = 0;
}
