#include "media/Backlog.h"

#include <algorithm>
#include <utility>

#include "media/MediaInput.h"
#include "media/UtcClock.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// What comes later than this had to be waited for.
constexpr auto AT_ONCE = 5ms;
/// A camera with many small packets lets nobody wait: by then all that was there has been read.
constexpr auto LONGEST_READING = 200ms;
constexpr std::size_t MOST_BYTES = 32 << 20;
/// Stamps that tell more than this have jumped.
constexpr UtcTime::duration MOST_WAITING = 30s;

std::int64_t StampOf(const AVPacket& st) {
    return st.dts != AV_NOPTS_VALUE ? st.dts : st.pts;
}

}  // namespace

void CBacklog::Read(const ReadFunction& fnRead, const AVStream& stVideo) {
    m_stTimeBase = stVideo.time_base;
    try {
        Fill(fnRead, stVideo);
    } catch (...) {
        m_pBroken = std::current_exception();
    }
    StampBeginning(stVideo);
}

void CBacklog::Fill(const ReadFunction& fnRead, const AVStream& stVideo) {
    const auto tBegin = Clock::now();
    std::size_t nBytes = 0;
    for (bool bWaited = false; !bWaited && nBytes < MOST_BYTES;) {
        const auto tBefore = Clock::now();
        avPointer<AVPacket> pPacket(av_packet_alloc());
        if (!fnRead(*pPacket)) return;
        const auto tNow = Clock::now();
        bWaited = tNow - tBefore > AT_ONCE || tNow - tBegin > LONGEST_READING;
        nBytes += static_cast<std::size_t>(pPacket->size);
        if (pPacket->stream_index == stVideo.index && StampOf(*pPacket) != AV_NOPTS_VALUE) {
            m_nLast = StampOf(*pPacket);
            m_tLast = Now();
        }
        m_dqPackets.push_back(std::move(pPacket));
    }
}

/// FFmpeg loses the stamp of an RTSP camera's first picture; without one it would seem to have come
/// when it is handed out.
void CBacklog::StampBeginning(const AVStream& stVideo) {
    const auto IsVideo = [&](const auto& p) { return p->stream_index == stVideo.index; };
    auto it = std::find_if(m_dqPackets.begin(), m_dqPackets.end(), [&](const auto& p) {
        return IsVideo(p) && StampOf(*p) != AV_NOPTS_VALUE;
    });
    if (it == m_dqPackets.end()) return;
    std::int64_t nStamp = StampOf(**it);
    while (it != m_dqPackets.begin()) {
        if (!IsVideo(*--it)) continue;
        nStamp -= av_rescale_q(FrameLength(stVideo), {1, TICKS}, stVideo.time_base);
        (*it)->pts = (*it)->dts = nStamp;
    }
}

bool CBacklog::Next(AVPacket& stPacket) {
    if (m_dqPackets.empty()) {
        if (m_pBroken) std::rethrow_exception(std::exchange(m_pBroken, nullptr));
        return false;
    }
    av_packet_move_ref(&stPacket, m_dqPackets.front().get());
    m_dqPackets.pop_front();
    return true;
}

std::optional<UtcTime> CBacklog::ArrivalOf(const AVPacket& stVideo) const {
    const std::int64_t nStamp = StampOf(stVideo);
    if (m_nLast == AV_NOPTS_VALUE || nStamp == AV_NOPTS_VALUE) return std::nullopt;
    const UtcTime::duration nBefore(
        av_rescale_q(m_nLast - nStamp, m_stTimeBase, {1, AV_TIME_BASE}));
    if (nBefore <= 0s || nBefore > MOST_WAITING) return std::nullopt;
    return m_tLast - nBefore;
}
