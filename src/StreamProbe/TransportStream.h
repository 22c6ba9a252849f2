// The MPEG transport stream: packets of one size, each of one PID. A PAT names the programs and the
// PIDs of their PMTs, a PMT the streams of its program; the first program with H.264 or H.265
// counts, and all else passes through, as does what is damaged or scrambled.
//
// A frame begins at the PAT that stands directly in front of its packets (only other tables and
// packets without payload lie between), else at the packet in which its PES packet begins. A
// changed table takes effect where it stands.
//
// Where no sync byte stands although a packet should begin, bytes are missing or too many: packets
// are looked for again, and what stands between passes through. Whatever part of a frame is read
// behind a gap, that one or one in the counters of the video's packets, does not count: the next
// frame is the one that the next PES packet begins.

#ifndef LOCALSTORAGE_STREAMPROBE_TRANSPORTSTREAM_H
#define LOCALSTORAGE_STREAMPROBE_TRANSPORTSTREAM_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "StreamProbe/TransportPackets.h"
#include "StreamProbe/VideoFrames.h"

class CTransportStream final : public CVideoFrames {
public:
    CTransportStream() { ForgetPrograms(); }

    /// Whether packets were found.
    bool HasBegun() const { return m_bBegun; }

    /// Whether this is no transport stream, or none any more: no packets were found in the first 4
    /// KiB, or for a MiB. Then it has nothing to say about the bytes from GetDecided on, and reads
    /// no further.
    bool HasGivenUp() const;

private:
    enum class EState : std::uint8_t {
        Search,  ///< looking for packets
        Head,    ///< in the header of a packet
        Body     ///< behind it
    };

    /// What packets of a PID are.
    enum class EPid : std::uint8_t { Other, Quiet, Pat, Pmt, Video };

    /// Where in a PES packet of the video we are; None: nowhere that counts.
    enum class EPes : std::uint8_t { None, Header, Video };

    void ReadSome(const std::uint8_t* pData, std::size_t nSize) override;
    std::size_t GetOpen() const override;

    void Search(const std::uint8_t* pData, std::size_t nSize);
    void LoseSync();

    void BeginPacket(std::uint64_t nPos);
    bool SkipPackets(const std::uint8_t* pData, std::size_t nSize);
    void ReadHead(const std::uint8_t* pData, std::size_t nSize);
    void OnHead(const packetHead& stHead);
    bool OnPayload(const packetHead& stHead);
    void ReadBody(const std::uint8_t* pData, std::size_t nSize);

    void ReadTable(const std::uint8_t* pData, std::size_t nSize);
    void OnPat(tableSection stPat);
    void OnPmt(tableSection stPmt);
    void ForgetPrograms();
    void TakeVideo(std::size_t nProgram, const tsVideo& stVideo);

    bool OnVideoPacket(const packetHead& stHead);
    void ReadVideo(const std::uint8_t* pData, std::size_t nSize);
    void ReadPesHeader(std::uint8_t byData);
    void LosePes();

    EState m_eState = EState::Search;

    // Search.
    CSyncSearch m_objSearch;
    std::uint64_t m_nSearchFrom = 0;
    bool m_bBegun = false;

    // The packet.
    packetLayout m_stLayout;
    std::uint64_t m_nPacket = 0;
    std::size_t m_nHead = 0;      ///< bytes in m_aHead
    std::size_t m_nHeadSize = 0;  ///< bytes to collect there
    std::array<std::uint8_t, 4 + TS_HEAD_SIZE> m_aHead{};
    EPid m_ePid = EPid::Other;
    std::uint64_t m_nPayloadPos = 0;  ///< the packet's end when its payload does not matter
    std::uint64_t m_nPayloadEnd = 0;
    std::uint64_t m_nPacketEnd = 0;

    // Tables.
    CSectionCollector m_objTables;
    std::array<EPid, PID_COUNT> m_aPid{};
    std::array<std::uint8_t, MAX_SECTION> m_aPat{};  ///< the one in force
    std::size_t m_nPat = 0;
    std::size_t m_nProgram = NO_PROGRAM;  ///< its place in the PAT
    tsVideo m_stVideo;

    // Video.
    EPes m_ePes = EPes::None;
    std::uint8_t m_nCounter = 0;
    std::size_t m_nPes = 0;      ///< bytes of the header so far
    std::size_t m_nPesSize = 0;  ///< of the header, as far as it is known
    std::array<std::uint8_t, PES_HEAD_SIZE> m_aPes{};
};

#endif  // LOCALSTORAGE_STREAMPROBE_TRANSPORTSTREAM_H
