#include "StreamProbe/TransportPackets.h"

#include "StreamProbe/SystemLayer.h"

namespace {

constexpr std::size_t SECTION_START = 3;  // table_id and length
constexpr std::size_t CRC_SIZE = 4;
constexpr std::size_t PAT_PROGRAMS = 8, PAT_PROGRAM_SIZE = 4;
constexpr std::size_t PMT_INFO_LENGTH = 10, PMT_STREAM_SIZE = 5;

constexpr std::array<std::uint32_t, 256> CRC_TABLE = [] {
    std::array<std::uint32_t, 256> aTable{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t nCrc = i << 24;
        for (int nBit = 0; nBit < 8; ++nBit) {
            nCrc = nCrc << 1 ^ ((nCrc & 0x80000000) != 0 ? 0x04C11DB7 : 0);
        }
        aTable[i] = nCrc;
    }
    return aTable;
}();

// Over a section with the CRC at its end it comes to 0.
bool IsCrcRight(tableSection stSection) {
    std::uint32_t nCrc = 0xFFFFFFFF;
    for (const std::uint8_t byData : stSection) nCrc = nCrc << 8 ^ CRC_TABLE[nCrc >> 24 ^ byData];
    return nCrc == 0;
}

// Of the long form, with `nHead` bytes at least in front of the CRC, and in force now.
bool IsTable(tableSection stSection, std::uint8_t byTable, std::size_t nHead) {
    return stSection.size() >= nHead + CRC_SIZE && stSection[0] == byTable &&
           (stSection[1] & 0x80) != 0 && (stSection[5] & 1) != 0 && IsCrcRight(stSection);
}

std::uint16_t GetPid(const std::uint8_t* pData) {
    return static_cast<std::uint16_t>(Get16(pData) & 0x1FFF);
}
std::size_t GetLength(const std::uint8_t* pData) {
    return Get16(pData) & 0x0FFF;
}

}  // namespace

bool CSyncSearch::Push(std::uint8_t byData) {
    for (m_nFound = 0; m_nFound < LAYOUTS.size(); ++m_nFound) {
        syncRuns& stRuns = m_aRuns[m_nFound];
        std::uint8_t& nCount = stRuns.aCount[stRuns.nNext];
        nCount = byData == TS_SYNC ? static_cast<std::uint8_t>(nCount + 1) : std::uint8_t{0};
        if (nCount == ENOUGH) return true;
        stRuns.nNext = (stRuns.nNext + 1) % LAYOUTS[m_nFound].GetSize();
    }
    return false;
}

packetLayout CSyncSearch::GetLayout() const {
    return LAYOUTS[m_nFound];
}

std::size_t CSyncSearch::GetReach() const {
    return GetLayout().nBefore + (ENOUGH - 1) * GetLayout().GetSize();
}

std::size_t GetPacketHeadSize(const std::uint8_t* pPacket) {
    const bool bAdaptation = (pPacket[3] & 0x20) != 0;
    return bAdaptation ? 5 : 4;
}

packetHead GetPacketHead(const std::uint8_t* pPacket) {
    const bool bAdaptation = (pPacket[3] & 0x20) != 0, bPayload = (pPacket[3] & 0x10) != 0;
    const std::size_t nPayload = bAdaptation ? std::size_t{5} + pPacket[4] : 4;
    return {.nPid = GetPacketPid(pPacket),
            .nCounter = static_cast<std::uint8_t>(pPacket[3] & 0x0F),
            .bStart = (pPacket[1] & 0x40) != 0,
            .bReadable = (pPacket[1] & 0x80) == 0 && (pPacket[3] & 0xC0) == 0,
            .nPayload = bPayload && nPayload < TS_PACKET_SIZE ? nPayload : TS_PACKET_SIZE};
}

// Start code, stream_id, length; then what only an MPEG-2 header has, with a length of its own. The
// packet's length is not looked at: for video it may be 0, and cameras cut it off at 16 bits.
std::size_t GetPesHeaderSize(const std::array<std::uint8_t, PES_HEAD_SIZE>& aHead) {
    const bool bStartCode = aHead[0] == 0 && aHead[1] == 0 && aHead[2] == 1;
    const bool bClear = (aHead[6] & 0xF0) == 0x80;
    return bStartCode && bClear ? PES_HEAD_SIZE + aHead[8] : 0;
}

void CSectionCollector::BeginPacket(std::uint16_t nPid, bool bStart) {
    m_bOpen = m_bOpen && nPid == m_nPid;
    m_nPid = nPid;
    m_bPointer = bStart;
    m_nToNext = 0;
}

bool CSectionCollector::Push(std::uint8_t byData) {
    if (m_bPointer) {
        m_bPointer = false;
        m_nToNext = std::size_t{byData} + 1;
        return false;
    }
    if (m_nToNext > 0 && --m_nToNext == 0) {
        m_bOpen = true;
        m_nSize = 0;
    }
    return m_bOpen && Append(byData);
}

// Behind the last section the packet is filled with 0xFF.
bool CSectionCollector::Append(std::uint8_t byData) {
    if (m_nSize == 0 && byData == 0xFF) {
        m_bOpen = false;
        return false;
    }
    m_aSection[m_nSize++] = byData;
    if (m_nSize < SECTION_START) return false;
    const std::size_t nTotal = SECTION_START + GetLength(&m_aSection[1]);
    if (nTotal > MAX_SECTION) m_bOpen = false;
    if (m_nSize < nTotal) return false;
    m_nWhole = m_nSize;
    m_nSize = 0;
    return true;
}

bool IsPat(tableSection stSection) {
    return IsTable(stSection, 0, PAT_PROGRAMS) && stSection[6] == 0;
}

bool IsPmt(tableSection stSection) {
    return IsTable(stSection, 2, PMT_INFO_LENGTH + 2);
}

std::size_t CountPrograms(tableSection stPat) {
    return (stPat.size() - CRC_SIZE - PAT_PROGRAMS) / PAT_PROGRAM_SIZE;
}

tsProgram GetProgram(tableSection stPat, std::size_t i) {
    const std::uint8_t* pProgram = &stPat[PAT_PROGRAMS + i * PAT_PROGRAM_SIZE];
    return {static_cast<std::uint16_t>(Get16(pProgram)), GetPid(pProgram + 2)};
}

std::size_t FindProgram(tableSection stPat, const tsProgram& stProgram) {
    for (std::size_t i = 0; i < CountPrograms(stPat); ++i) {
        if (GetProgram(stPat, i) == stProgram) return i;
    }
    return NO_PROGRAM;
}

std::uint16_t GetProgramNumber(tableSection stPmt) {
    return static_cast<std::uint16_t>(Get16(&stPmt[SECTION_START]));
}

// Behind the descriptors of the program: each stream's type, PID, and descriptors with their
// length.
tsVideo GetVideo(tableSection stPmt) {
    std::size_t n = PMT_INFO_LENGTH + 2 + GetLength(&stPmt[PMT_INFO_LENGTH]);
    while (n + PMT_STREAM_SIZE + CRC_SIZE <= stPmt.size()) {
        const std::uint8_t* pStream = &stPmt[n];
        const ECodec eCodec = GetTypeCodec(pStream[0]);
        if (eCodec != ECodec::Unknown) return {GetPid(pStream + 1), eCodec};
        n += PMT_STREAM_SIZE + GetLength(pStream + 3);
    }
    return {};
}
