#include "media/TimeMender.h"

#include <algorithm>

namespace {

/// A stamp that lies further from where its track is than this has jumped.
constexpr std::int64_t MOST_AHEAD = 10 * TICKS, MOST_BEHIND = TICKS / 2;
/// So far apart the tracks of one stream may lie.
constexpr std::int64_t MOST_APART = 60 * TICKS;

/// Where counters end: those of transport streams, and those of RTP where video counts.
constexpr std::int64_t WRAPS[] = {std::int64_t{1} << 33, std::int64_t{1} << 32};

}  // namespace

bool CTimeMender::GoesOn(const track& stTrack, std::int64_t nTime) const {
    if (nTime < BEGIN / 2 || nTime < m_nHead - MOST_APART) return false;
    if (!stTrack.bStarted) return nTime <= m_nHead + MOST_APART;
    return nTime >= stTrack.nLast - MOST_BEHIND && nTime <= m_nHead + MOST_AHEAD;
}

std::int64_t CTimeMender::ExpectedOf(const track& stTrack) const {
    if (!m_bStarted) return BEGIN;
    return stTrack.bStarted ? stTrack.nLast + std::max<std::int64_t>(stTrack.nStep, 1) : m_nHead;
}

void CTimeMender::Take(std::int64_t nOffset) {
    m_nPrevious = m_nOffset;
    m_nOffset = nOffset;
}

/// What brings a stamp onto the time line.
std::int64_t CTimeMender::OffsetFor(const track& stTrack, std::int64_t nRaw,
                                    std::int64_t nArrived) {
    if (!m_bStarted) {
        m_nOffset = m_nPrevious = std::max<std::int64_t>(0, BEGIN - nRaw);
        return m_nOffset;
    }
    for (const std::int64_t nOffset : {m_nOffset, m_nPrevious}) {
        if (GoesOn(stTrack, nRaw + nOffset)) return nOffset;
    }
    const auto itWrap = std::find_if(std::begin(WRAPS), std::end(WRAPS), [&](std::int64_t n) {
        return GoesOn(stTrack, nRaw + m_nOffset + n);
    });
    const std::int64_t nWaited = m_nHead + (nArrived - m_nHeadArrived);
    Take(itWrap != std::end(WRAPS) ? m_nOffset + *itWrap
                                   : std::max(ExpectedOf(stTrack), nWaited) - nRaw);
    return m_nOffset;
}

packetTimes CTimeMender::Mend(std::size_t nTrack, const rawTimes& stRaw, std::int64_t nArrived) {
    track& stTrack = m_aTracks[nTrack];
    const std::optional<std::int64_t> optRaw = stRaw.optDecode ? stRaw.optDecode : stRaw.optShow;
    packetTimes st{0, ExpectedOf(stTrack)};
    if (optRaw) {
        const std::int64_t nOffset = OffsetFor(stTrack, *optRaw, nArrived);
        st.nShow = stRaw.optShow.value_or(*optRaw) + nOffset;
        // Without a decoding time, what is shown late may have to be decoded early.
        const bool bGuess = !stRaw.optDecode && stTrack.bStarted;
        st.nDecode = bGuess ? std::min(st.nShow, st.nDecode) : *optRaw + nOffset;
    }
    if (stTrack.bStarted) {
        st.nDecode = std::max(st.nDecode, stTrack.nLast + 1);
        stTrack.nStep = st.nDecode - stTrack.nLast;
    } else {
        stTrack.nStep = stRaw.nLength;
    }
    st.nShow = std::clamp(st.nShow, st.nDecode, st.nDecode + MOST_AHEAD);
    stTrack.bStarted = m_bStarted = true;
    stTrack.nLast = st.nDecode;
    if (st.nDecode >= m_nHead) {
        m_nHead = st.nDecode;
        m_nHeadArrived = nArrived;
    }
    return st;
}
