#include "media/BareVideo.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr std::size_t LONGEST_GROUP = 600;

}  // namespace

bool CBareVideo::IsBare(const AVFormatContext& stFormat) {
    const std::string_view strName = stFormat.iformat->name;
    return strName == "h264" || strName == "hevc";
}

CBareVideo::CBareVideo(const AVCodecParameters& stParameters)
    : m_objParser(stParameters), m_nDelay(std::max(0, stParameters.video_delay)) {}

void CBareVideo::Push(AVPacket* pPacket) {
    if (!pPacket) return EndGroup();
    const codedFrame stFrame = m_objParser.Look(*pPacket);
    if (stFrame.bKey || m_vGroup.size() >= LONGEST_GROUP) EndGroup();
    avPointer<AVPacket> pOwn(av_packet_alloc());
    av_packet_move_ref(pOwn.get(), pPacket);
    m_vGroup.push_back(std::move(pOwn));
    m_vFrames.push_back(stFrame);
}

void CBareVideo::EndGroup() {
    const std::vector<std::size_t> vPlaces = DisplayPlaces(m_vFrames);
    for (std::size_t n = 0; n < m_vGroup.size(); ++n) {
        AVPacket& st = *m_vGroup[n];
        const auto nAhead = static_cast<std::int64_t>(vPlaces[n]) - static_cast<std::int64_t>(n);
        st.pts = st.dts + std::max<std::int64_t>(0, nAhead + m_nDelay) * st.duration;
        m_dqReady.push_back(std::move(m_vGroup[n]));
    }
    m_vGroup.clear();
    m_vFrames.clear();
}

bool CBareVideo::Pull(AVPacket& stPacket) {
    if (m_dqReady.empty()) return false;
    av_packet_move_ref(&stPacket, m_dqReady.front().get());
    m_dqReady.pop_front();
    return true;
}
