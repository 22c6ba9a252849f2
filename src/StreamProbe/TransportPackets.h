// The packets of an MPEG transport stream: how they are found, what their headers say, and the
// tables that name the video. Pure functions of bytes, but for what collects bytes one by one.

#ifndef LOCALSTORAGE_STREAMPROBE_TRANSPORTPACKETS_H
#define LOCALSTORAGE_STREAMPROBE_TRANSPORTPACKETS_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "StreamProbe/Nal.h"

constexpr std::size_t TS_PACKET_SIZE = 188;
constexpr std::uint8_t TS_SYNC = 0x47;

/// The packet identifiers (PID) that have a meaning of their own, and how many there are.
constexpr std::uint16_t PID_PAT = 0, PID_FIRST_FREE = 0x20, PID_NULL = 0x1FFF, PID_COUNT = 0x2000;

/// What stands around the 188 bytes of each packet: nothing, a time stamp in front (as on discs) or
/// a checksum behind (as on air).
struct packetLayout {
    std::uint8_t nBefore = 0;
    std::uint8_t nAfter = 0;

    constexpr std::size_t GetSize() const { return nBefore + TS_PACKET_SIZE + nAfter; }
};

/// Looks for packets: for a sync byte where five packets in a row of one size would have it.
class CSyncSearch {
public:
    /// The next byte. True when it is the fifth sync byte: the packets have GetLayout, and the last
    /// byte read is GetReach bytes behind the first byte of the first packet.
    bool Push(std::uint8_t byData);

    packetLayout GetLayout() const;
    std::size_t GetReach() const;

private:
    static constexpr std::array<packetLayout, 3> LAYOUTS = {{{0, 0}, {4, 0}, {0, 16}}};
    static constexpr std::uint8_t ENOUGH = 5;

    struct syncRuns {
        std::size_t nNext = 0;
        std::array<std::uint8_t, 204> aCount{};  ///< how long each place has had sync bytes
    };
    std::array<syncRuns, LAYOUTS.size()> m_aRuns{};
    std::size_t m_nFound = 0;
};

/// Header and adaptation field.
struct packetHead {
    std::uint16_t nPid;
    std::uint8_t nCounter;  ///< of the PID's packets with payload, 0 to 15
    bool bStart;            ///< a PES packet begins in it, or a section of a table
    bool bReadable;         ///< neither damaged nor scrambled
    std::size_t nPayload;   ///< where the payload begins, TS_PACKET_SIZE when there is none
};

inline std::uint16_t GetPacketPid(const std::uint8_t* pPacket) {
    return static_cast<std::uint16_t>((pPacket[1] & 0x1F) << 8 | pPacket[2]);
}

/// The first 4 bytes of a packet, but for its priority: to be compared as a whole.
inline std::uint32_t GetPlainHead(const std::uint8_t* pPacket) {
    constexpr std::array<std::uint8_t, 4> MASK = {0xFF, 0xDF, 0xFF, 0xFF};
    std::uint32_t nHead = 0;
    std::memcpy(&nHead, pPacket, sizeof(nHead));
    return nHead & std::bit_cast<std::uint32_t>(MASK);
}
/// Those of one that begins nothing and holds nothing but readable payload.
inline std::uint32_t MakePlainHead(std::uint16_t nPid, std::uint8_t nCounter) {
    return std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{
        TS_SYNC, static_cast<std::uint8_t>(nPid >> 8), static_cast<std::uint8_t>(nPid),
        static_cast<std::uint8_t>(0x10 | nCounter)});
}

/// How many bytes of a packet GetPacketHead looks at, by its first 4: at most TS_HEAD_SIZE.
constexpr std::size_t TS_HEAD_SIZE = 5;
std::size_t GetPacketHeadSize(const std::uint8_t* pPacket);
packetHead GetPacketHead(const std::uint8_t* pPacket);

/// A PES packet's header as far as it is looked at, and how long all of it is: 0 when this is no
/// PES packet or a scrambled one.
constexpr std::size_t PES_HEAD_SIZE = 9;
std::size_t GetPesHeaderSize(const std::array<std::uint8_t, PES_HEAD_SIZE>& aHead);

/// A whole section of a table.
using tableSection = std::span<const std::uint8_t>;

constexpr std::size_t MAX_SECTION = 1024;

/// Puts sections together from the payload of packets.
class CSectionCollector {
public:
    /// A packet begins; what comes next is its payload. One of another PID breaks off a section
    /// that has not ended: it will be repeated.
    void BeginPacket(std::uint16_t nPid, bool bStart);

    /// Whether the next byte may belong to a section.
    bool IsCollecting() const { return m_bPointer || m_nToNext > 0 || m_bOpen; }

    /// The next byte. True when a section ends with it.
    bool Push(std::uint8_t byData);

    std::uint16_t GetPid() const { return m_nPid; }
    /// The last section, until the next Push.
    tableSection GetSection() const { return {m_aSection.data(), m_nWhole}; }

private:
    bool Append(std::uint8_t byData);

    std::uint16_t m_nPid = PID_NULL;
    bool m_bPointer = false;    ///< the next byte tells where a section begins
    std::size_t m_nToNext = 0;  ///< so many bytes on one begins; 0: none
    bool m_bOpen = false;       ///< in a section, or between two
    std::size_t m_nSize = 0;    ///< of this one so far
    std::size_t m_nWhole = 0;   ///< of the last one
    std::array<std::uint8_t, MAX_SECTION> m_aSection{};
};

/// Whether a section is the first of a PAT, or one of a PMT, undamaged and in force.
bool IsPat(tableSection stSection);
bool IsPmt(tableSection stSection);

/// A program as a PAT names it.
struct tsProgram {
    std::uint16_t nNumber;
    std::uint16_t nPid;  ///< of its PMT

    bool operator==(const tsProgram&) const = default;
};
std::size_t CountPrograms(tableSection stPat);
tsProgram GetProgram(tableSection stPat, std::size_t i);
/// Its place in the PAT; NO_PROGRAM when it is not there.
constexpr std::size_t NO_PROGRAM = PID_COUNT;
std::size_t FindProgram(tableSection stPat, const tsProgram& stProgram);

/// The number of a PMT's program.
std::uint16_t GetProgramNumber(tableSection stPmt);

/// A stream of video; ECodec::Unknown when there is none.
struct tsVideo {
    std::uint16_t nPid = PID_NULL;
    ECodec eCodec = ECodec::Unknown;

    bool operator==(const tsVideo&) const = default;
};

/// The first H.264 or H.265 stream of a PMT.
tsVideo GetVideo(tableSection stPmt);

#endif  // LOCALSTORAGE_STREAMPROBE_TRANSPORTPACKETS_H
