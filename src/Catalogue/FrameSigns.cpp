#include "Catalogue/FrameSigns.h"

#include <algorithm>

#include "StreamProbe/ForEachUnit.h"
#include "StreamProbe/TransportPackets.h"

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t PACK = 0xBA, FIRST_VIDEO_ID = 0xE0, LAST_VIDEO_ID = 0xEF;

/// The packets of a transport stream that lie whole in a piece.
class CPackets {
public:
    explicit CPackets(Bytes stBytes) : m_stBytes(stBytes) {
        CSyncSearch objSearch;
        const auto it = std::find_if(stBytes.begin(), stBytes.end(),
                                     [&](std::uint8_t by) { return objSearch.Push(by); });
        if (it == stBytes.end()) return;
        m_stLayout = objSearch.GetLayout();
        m_nNext = static_cast<std::size_t>(it - stBytes.begin()) - objSearch.GetReach();
        m_bFound = true;
    }
    bool Found() const { return m_bFound; }
    /// Null at the end.
    const std::uint8_t* Next() {
        while (m_bFound && m_nNext + m_stLayout.GetSize() <= m_stBytes.size()) {
            const std::uint8_t* pPacket = &m_stBytes[m_nNext + m_stLayout.nBefore];
            m_nNext += m_stLayout.GetSize();
            if (*pPacket == TS_SYNC) return pPacket;
        }
        return nullptr;
    }

private:
    Bytes m_stBytes;
    packetLayout m_stLayout;
    std::size_t m_nNext = 0;
    bool m_bFound = false;
};

/// What a PES packet of video begins with.
struct pesHead {
    std::size_t nSize;
    std::optional<std::int64_t> nPts;
};

std::optional<pesHead> ReadPesHead(Bytes st) {
    constexpr std::size_t PTS_SIZE = 5;
    std::array<std::uint8_t, PES_HEAD_SIZE> aHead;
    if (st.size() < PES_HEAD_SIZE + PTS_SIZE) return std::nullopt;
    std::copy_n(st.begin(), PES_HEAD_SIZE, aHead.begin());
    pesHead stHead{GetPesHeaderSize(aHead), std::nullopt};
    const bool bVideo = st[3] >= FIRST_VIDEO_ID && st[3] <= LAST_VIDEO_ID;
    if (!bVideo || stHead.nSize == 0) return std::nullopt;
    const bool bPts = (st[7] & 0x80) != 0 && stHead.nSize >= PES_HEAD_SIZE + PTS_SIZE;
    if (!bPts) return stHead;
    const std::uint8_t* p = &st[PES_HEAD_SIZE];
    stHead.nPts = std::int64_t{p[0] >> 1 & 7} << 30 | std::int64_t{p[1]} << 22 |
                  std::int64_t{p[2] >> 1} << 15 | std::int64_t{p[3]} << 7 | p[4] >> 1;
    return stHead;
}

Bytes PayloadOf(const std::uint8_t* pPacket, const packetHead& stHead) {
    return {pPacket + stHead.nPayload, TS_PACKET_SIZE - stHead.nPayload};
}

std::vector<frameSign> FindInPackets(std::uint16_t nVideoPid, Bytes stBytes) {
    constexpr std::size_t FRONT = 4096;  // a stamp stands in front of a frame's first slice
    std::vector<frameSign> vFrames;
    std::vector<std::uint8_t> vFront;
    const auto Stamp = [&] {
        if (!vFrames.empty()) vFrames.back().tStamp = FindUtcStamp(vFront);
        vFront.clear();
    };
    CPackets objPackets(stBytes);
    while (const std::uint8_t* pPacket = objPackets.Next()) {
        const packetHead stHead = GetPacketHead(pPacket);
        if (stHead.nPid != nVideoPid || !stHead.bReadable) continue;
        Bytes stPayload = PayloadOf(pPacket, stHead);
        const auto stPes = stHead.bStart ? ReadPesHead(stPayload) : std::nullopt;
        if (stPes) {
            Stamp();
            vFrames.push_back({stPes->nPts, std::nullopt});
            stPayload = stPayload.subspan(std::min(stPes->nSize, stPayload.size()));
        }
        if (vFront.size() < FRONT) vFront.insert(vFront.end(), stPayload.begin(), stPayload.end());
    }
    Stamp();
    return vFrames;
}

std::vector<frameSign> FindInPacks(Bytes stBytes) {
    std::vector<frameSign> vFrames;
    ForEachUnit(stBytes, [&](Bytes stUnit) {
        const auto nFrom =
            static_cast<std::size_t>(stUnit.data() - stBytes.data()) - START_CODE_SIZE;
        const auto stPes = ReadPesHead(stBytes.subspan(nFrom));
        if (stPes && stPes->nPts) vFrames.push_back({stPes->nPts, std::nullopt});
        return true;
    });
    return vFrames;
}

std::vector<frameSign> FindUnits(ECodec eCodec, Bytes stBytes) {
    std::vector<frameSign> vFrames;
    std::optional<UtcTime> tStamp;
    ForEachUnit(stBytes, [&](Bytes stUnit) {
        const ENalRole eRole = GetNalRole(eCodec, NalHeadOf(stUnit));
        if (eRole == ENalRole::Front && !tStamp) tStamp = FindUtcStamp(stUnit);
        if (eRole == ENalRole::FirstSlice || eRole == ENalRole::FirstKey) {
            vFrames.push_back({std::nullopt, tStamp});
            tStamp.reset();
        }
        return true;
    });
    return vFrames;
}

/// The first PID with a PES packet of video.
std::optional<std::uint16_t> FindVideoPid(CPackets objPackets) {
    while (const std::uint8_t* pPacket = objPackets.Next()) {
        const packetHead stHead = GetPacketHead(pPacket);
        if (stHead.bStart && stHead.bReadable && ReadPesHead(PayloadOf(pPacket, stHead))) {
            return stHead.nPid;
        }
    }
    return std::nullopt;
}

}  // namespace

recordedForm RecogniseForm(Bytes stHead) {
    const CPackets objPackets(stHead);
    if (objPackets.Found()) {
        const auto nPid = FindVideoPid(objPackets);
        return nPid ? recordedForm{streamKind::TRANSPORT, *nPid, {}} : recordedForm{};
    }
    recordedForm stForm;
    ForEachUnit(stHead, [&](Bytes stUnit) {
        if (!stUnit.empty() && stUnit[0] == PACK) {
            stForm.eKind = streamKind::PROGRAM;
        } else if (!stUnit.empty() && stUnit[0] < FIRST_SYSTEM_CODE) {
            stForm.eCodec = RecogniseCodec(ECodec::Unknown, NalHeadOf(stUnit));
            if (stForm.eCodec != ECodec::Unknown) stForm.eKind = streamKind::RAW;
        }
        return stForm.eKind == streamKind::UNKNOWN;
    });
    return stForm;
}

std::vector<frameSign> FindFrames(const recordedForm& stForm, Bytes stBytes) {
    switch (stForm.eKind) {
        case streamKind::TRANSPORT:
            return FindInPackets(stForm.nVideoPid, stBytes);
        case streamKind::PROGRAM:
            return FindInPacks(stBytes);
        case streamKind::RAW:
            return FindUnits(stForm.eCodec, stBytes);
        case streamKind::UNKNOWN:
            break;
    }
    return {};
}
