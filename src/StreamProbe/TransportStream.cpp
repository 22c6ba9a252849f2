#include "StreamProbe/TransportStream.h"

#include <algorithm>

#include "StreamProbe/StartCode.h"

namespace {

// How far packets are looked for: at the beginning of a stream, all of which stays undecided, and
// after they were lost.
constexpr std::uint64_t FRONT = 4096, LOST = std::uint64_t{1} << 20;

}  // namespace

void CTransportStream::ReadSome(const std::uint8_t* pData, std::size_t nSize) {
    if (m_eState == EState::Search) {
        Search(pData, nSize);
        return;
    }
    const std::uint64_t nBegin = m_nCursor, nEnd = nBegin + nSize;
    do {
        const std::uint8_t* pNext = pData + (m_nCursor - nBegin);
        const auto nLeft = static_cast<std::size_t>(nEnd - m_nCursor);
        if (m_eState == EState::Body) {
            ReadBody(pNext, nLeft);
        } else if (m_nHead > 0 || !SkipPackets(pNext, nLeft)) {
            ReadHead(pNext, nLeft);
        }
    } while (m_eState != EState::Search && m_nCursor < nEnd && !HasMark());
}

std::size_t CTransportStream::GetOpen() const {
    switch (m_eState) {
        case EState::Search:
            return static_cast<std::size_t>(std::min(m_nCursor - m_nSearchFrom, FRONT));
        case EState::Head:
            return m_nHead;
        case EState::Body:
            return 0;
    }
    return 0;
}

// ---- packets ----

bool CTransportStream::HasGivenUp() const {
    return m_eState == EState::Search && m_nCursor - m_nSearchFrom >= (m_bBegun ? LOST : FRONT);
}

// Packets begin where the first of those found lies whole.
void CTransportStream::Search(const std::uint8_t* pData, std::size_t nSize) {
    for (std::size_t i = 0; i < nSize && !HasGivenUp(); ++i) {
        ++m_nCursor;
        if (!m_objSearch.Push(pData[i])) continue;
        m_stLayout = m_objSearch.GetLayout();
        const std::uint64_t nRead = m_nCursor - m_nSearchFrom, nFound = m_objSearch.GetReach() + 1;
        const bool bWhole = nFound <= nRead;
        GoBack(m_nCursor - nFound + (bWhole ? 0 : m_stLayout.GetSize()));
        BeginPacket(m_nCursor);
        m_bBegun = true;
        return;
    }
}

void CTransportStream::LoseSync() {
    LosePes();
    m_nNextAnchor = NOWHERE;
    GoBack(m_nPacket);
    m_nSearchFrom = m_nCursor;
    m_objSearch = CSyncSearch();
    m_eState = EState::Search;
}

void CTransportStream::BeginPacket(std::uint64_t nPos) {
    m_nPacket = nPos;
    m_nHead = 0;
    m_nHeadSize = m_stLayout.nBefore + std::size_t{4};
    m_eState = EState::Head;
}

// Whole packets that go on with a picture, as nearly all do, or do not matter; false when there is
// none. Behind a PAT all do.
bool CTransportStream::SkipPackets(const std::uint8_t* pData, std::size_t nSize) {
    constexpr std::size_t PLAIN_HEAD_SIZE = 4;
    if (m_nNextAnchor != NOWHERE) return false;
    const bool bInside = m_ePes == EPes::Video && IsInside();
    const std::size_t nPacket = m_stLayout.GetSize();
    const std::uint64_t nBegin = m_nCursor;
    pData += m_stLayout.nBefore;
    for (; nSize >= nPacket; nSize -= nPacket, pData += nPacket, m_nCursor += nPacket) {
        const std::uint8_t nNext = (m_nCounter + 1) & 0x0F;
        if (bInside && GetPlainHead(pData) == MakePlainHead(m_stVideo.nPid, nNext) &&
            !TouchesStartCode(pData + PLAIN_HEAD_SIZE, pData + TS_PACKET_SIZE)) {
            m_nCounter = nNext;
        } else if (pData[0] != TS_SYNC || m_aPid[GetPacketPid(pData)] != EPid::Other) {
            break;
        }
    }
    if (m_nCursor == nBegin) return false;
    BeginPacket(m_nCursor);
    return true;
}

void CTransportStream::ReadHead(const std::uint8_t* pData, std::size_t nSize) {
    const std::size_t nUsed = std::min(nSize, m_nHeadSize - m_nHead);
    std::copy_n(pData, nUsed, &m_aHead[m_nHead]);
    m_nHead += nUsed;
    m_nCursor += nUsed;
    if (m_nHead < m_nHeadSize) return;
    const std::uint8_t* pPacket = &m_aHead[m_stLayout.nBefore];
    m_nHeadSize = m_stLayout.nBefore + GetPacketHeadSize(pPacket);
    if (pPacket[0] != TS_SYNC) {
        LoseSync();
    } else if (m_nHead == m_nHeadSize) {
        OnHead(GetPacketHead(pPacket));
    }
}

void CTransportStream::OnHead(const packetHead& stHead) {
    const std::uint64_t nBegin = m_nPacket + m_stLayout.nBefore;
    const bool bPayload = stHead.nPayload < TS_PACKET_SIZE;
    m_nPayloadEnd = nBegin + TS_PACKET_SIZE;
    m_nPacketEnd = m_nPayloadEnd + m_stLayout.nAfter;
    m_nPayloadPos = bPayload && OnPayload(stHead) ? nBegin + stHead.nPayload : m_nPacketEnd;
    m_eState = EState::Body;
}

// Whether the payload matters.
bool CTransportStream::OnPayload(const packetHead& stHead) {
    m_ePid = stHead.bReadable ? m_aPid[stHead.nPid] : EPid::Other;
    switch (m_ePid) {
        case EPid::Other:
            m_nNextAnchor = NOWHERE;
            return false;
        case EPid::Quiet:
            return false;
        case EPid::Pat:
            if (stHead.bStart) m_nNextAnchor = m_nPacket;
            [[fallthrough]];
        case EPid::Pmt:
            m_objTables.BeginPacket(stHead.nPid, stHead.bStart);
            return true;
        case EPid::Video:
            return OnVideoPacket(stHead);
    }
    return false;
}

void CTransportStream::ReadBody(const std::uint8_t* pData, std::size_t nSize) {
    const bool bPayload = m_nCursor >= m_nPayloadPos && m_nCursor < m_nPayloadEnd;
    const std::uint64_t nEnd = m_nCursor < m_nPayloadPos ? m_nPayloadPos
                               : bPayload                ? m_nPayloadEnd
                                                         : m_nPacketEnd;
    nSize = std::min(nSize, static_cast<std::size_t>(nEnd - m_nCursor));
    if (!bPayload) {
        m_nCursor += nSize;
    } else if (m_ePid == EPid::Video) {
        ReadVideo(pData, nSize);
    } else {
        ReadTable(pData, nSize);
    }
    if (m_nCursor == m_nPacketEnd) BeginPacket(m_nCursor);
}

// ---- tables ----

void CTransportStream::ReadTable(const std::uint8_t* pData, std::size_t nSize) {
    for (std::size_t i = 0; i < nSize && m_objTables.IsCollecting(); ++i) {
        if (!m_objTables.Push(pData[i])) continue;
        const tableSection stSection = m_objTables.GetSection();
        m_objTables.GetPid() == PID_PAT ? OnPat(stSection) : OnPmt(stSection);
    }
    m_nCursor += nSize;
}

void CTransportStream::OnPat(tableSection stPat) {
    if (!IsPat(stPat) || std::ranges::equal(stPat, tableSection(m_aPat.data(), m_nPat))) return;
    ForgetPrograms();
    m_nPat = stPat.size();
    std::ranges::copy(stPat, m_aPat.begin());
    for (std::size_t i = 0; i < CountPrograms(stPat); ++i) {
        const tsProgram stProgram = GetProgram(stPat, i);
        m_aPid[stProgram.nPid] = stProgram.nNumber == 0 ? EPid::Quiet : EPid::Pmt;
    }
    m_aPid[PID_PAT] = EPid::Pat;
}

void CTransportStream::ForgetPrograms() {
    m_aPid.fill(EPid::Other);
    std::fill_n(m_aPid.begin(), PID_FIRST_FREE, EPid::Quiet);
    m_aPid[PID_NULL] = EPid::Quiet;
    m_aPid[PID_PAT] = EPid::Pat;
    TakeVideo(NO_PROGRAM, {});
}

// One behind the program in use does not matter; one in front does once it has video.
void CTransportStream::OnPmt(tableSection stPmt) {
    if (!IsPmt(stPmt)) return;
    const std::size_t nProgram =
        FindProgram({m_aPat.data(), m_nPat}, {GetProgramNumber(stPmt), m_objTables.GetPid()});
    if (nProgram == NO_PROGRAM || nProgram > m_nProgram) return;
    const tsVideo stVideo = GetVideo(stPmt);
    const bool bVideo = stVideo.eCodec != ECodec::Unknown;
    if (nProgram < m_nProgram ? bVideo : stVideo != m_stVideo) {
        TakeVideo(bVideo ? nProgram : NO_PROGRAM, stVideo);
    }
}

void CTransportStream::TakeVideo(std::size_t nProgram, const tsVideo& stVideo) {
    if (m_aPid[m_stVideo.nPid] == EPid::Video) m_aPid[m_stVideo.nPid] = EPid::Other;
    if (m_aPid[stVideo.nPid] == EPid::Other) m_aPid[stVideo.nPid] = EPid::Video;
    m_nProgram = nProgram;
    m_stVideo = stVideo;
    LosePes();
    m_objVideo = CElementaryStream();
    m_objVideo.SetHint(stVideo.eCodec);
}

// ---- video ----

// A counter that stands still is a packet sent twice, or that of a muxer that does not count.
bool CTransportStream::OnVideoPacket(const packetHead& stHead) {
    const bool bFollows = ((stHead.nCounter - m_nCounter) & 0x0F) <= 1;
    if (!bFollows) LosePes();
    m_nCounter = stHead.nCounter;
    if (stHead.bStart) {
        m_nAnchor = std::min(m_nNextAnchor, m_nPacket);
        m_ePes = EPes::Header;
        m_nPes = 0;
        m_nPesSize = PES_HEAD_SIZE;
    }
    m_nNextAnchor = NOWHERE;
    return m_ePes != EPes::None;
}

void CTransportStream::ReadVideo(const std::uint8_t* pData, std::size_t nSize) {
    switch (m_ePes) {
        case EPes::None:
            m_nCursor += nSize;
            return;
        case EPes::Header:
            for (std::size_t i = 0; i < nSize && m_ePes == EPes::Header; ++i) {
                ReadPesHeader(pData[i]);
            }
            return;
        case EPes::Video:
            if (IsInside() && !TouchesStartCode(pData, pData + nSize)) {
                m_nCursor += nSize;
            } else {
                ReadPayload(pData, nSize);
            }
            return;
    }
}

void CTransportStream::ReadPesHeader(std::uint8_t byData) {
    if (m_nPes < PES_HEAD_SIZE) m_aPes[m_nPes] = byData;
    ++m_nPes;
    ++m_nCursor;
    if (m_nPes == PES_HEAD_SIZE) m_nPesSize = GetPesHeaderSize(m_aPes);
    if (m_nPesSize == 0) {
        LosePes();
    } else if (m_nPes == m_nPesSize) {
        m_ePes = EPes::Video;
        BeginPayload();
    }
}

void CTransportStream::LosePes() {
    m_ePes = EPes::None;
    m_nAnchor = NOWHERE;
    m_objVideo.Restart();
}
