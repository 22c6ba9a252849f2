#include "media/Backlog.h"

#include <utility>

#include "media/MediaInput.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// What comes later than this had to be waited for.
constexpr auto AT_ONCE = 5ms;
/// Of two the container may have held back one that came before reading began.
constexpr int PICTURES_WAITED_FOR = 2;
/// A camera with many small packets lets nobody wait: by then all that was there has been read.
constexpr auto LONGEST_READING = 3000ms;
constexpr std::size_t MOST_BYTES = 32 << 20;
/// Stamps that tell more than this have jumped.
constexpr UtcTime::duration MOST_WAITING = 30s;

std::int64_t StampOf(const AVPacket& st) {
    return st.dts != AV_NOPTS_VALUE ? st.dts : st.pts;
}

/// From one picture to the next, by their stamps where they have any.
UtcTime::duration Gap(const AVPacket& stFirst, const AVPacket& stSecond, const AVStream& stVideo) {
    const std::int64_t nFirst = StampOf(stFirst), nSecond = StampOf(stSecond);
    if (nFirst != AV_NOPTS_VALUE && nSecond != AV_NOPTS_VALUE) {
        const UtcTime::duration nGap(
            av_rescale_q(nSecond - nFirst, stVideo.time_base, {1, AV_TIME_BASE}));
        if (nGap >= 0s && nGap <= MOST_WAITING) return nGap;
    }
    return UtcTime::duration(av_rescale(FrameLength(stVideo), AV_TIME_BASE, TICKS));
}

}  // namespace

void CBacklog::Read(const ReadFunction& fnRead, const AVStream& stVideo) {
    try {
        Fill(fnRead, stVideo);
    } catch (...) {
        m_pBroken = std::current_exception();
    }
    TellTimes(stVideo);
}

void CBacklog::Fill(const ReadFunction& fnRead, const AVStream& stVideo) {
    const auto tEnd = Clock::now() + LONGEST_READING;
    std::size_t nBytes = 0;
    for (int nWaited = 0; nWaited < PICTURES_WAITED_FOR && nBytes < MOST_BYTES;) {
        const auto tBefore = Clock::now();
        if (tBefore > tEnd) return;
        avPointer<AVPacket> pPacket(av_packet_alloc());
        const std::optional<UtcTime> optCame = fnRead(*pPacket);
        if (!optCame) return;
        nBytes += static_cast<std::size_t>(pPacket->size);
        const bool bPicture = pPacket->stream_index == stVideo.index;
        if (bPicture && Clock::now() - tBefore > AT_ONCE) ++nWaited;
        m_dqEntries.push_back({std::move(pPacket), *optCame});
    }
}

/// All but the last picture came before they were read.
void CBacklog::TellTimes(const AVStream& stVideo) {
    const entry* pNext = nullptr;
    for (auto it = m_dqEntries.rbegin(); it != m_dqEntries.rend(); ++it) {
        if (it->pPacket->stream_index != stVideo.index) continue;
        if (pNext) it->tCame = pNext->tCame - Gap(*it->pPacket, *pNext->pPacket, stVideo);
        pNext = &*it;
    }
}

std::optional<UtcTime> CBacklog::Next(AVPacket& stPacket) {
    if (m_dqEntries.empty()) {
        if (m_pBroken) std::rethrow_exception(std::exchange(m_pBroken, nullptr));
        return std::nullopt;
    }
    const entry stEntry = std::move(m_dqEntries.front());
    m_dqEntries.pop_front();
    av_packet_move_ref(&stPacket, stEntry.pPacket.get());
    return stEntry.tCame;
}
