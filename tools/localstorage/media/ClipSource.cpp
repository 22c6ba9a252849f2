#include "media/ClipSource.h"

#include <algorithm>

#include "media/FrameParser.h"

namespace {

double RateOf(const AVStream& stStream) {
    const AVRational st =
        stStream.r_frame_rate.num ? stStream.r_frame_rate : stStream.avg_frame_rate;
    return st.num > 0 && st.den > 0 ? av_q2d(st) : 0;
}

}  // namespace

void clipFrames::CutToWholeGroups() {
    const auto itKey = std::find_if(vFrames.rbegin(), vFrames.rend(),
                                    [](const codedFrame& st) { return st.bKey; });
    vFrames.erase(itKey == vFrames.rend() ? vFrames.begin() : std::prev(itKey.base()),
                  vFrames.end());
    vPlaces = DisplayPlaces(vFrames);
}

clipFrames ScanFrames(const openMedia& stMedia, const BytesFunction& fnBytes) {
    const AVCodecParameters& stParameters = *stMedia.pStream->codecpar;
    clipFrames st;
    st.eCodec = stMedia.eCodec;
    st.nWidth = stParameters.width;
    st.nHeight = stParameters.height;
    st.fRate = RateOf(*stMedia.pStream);
    CFrameParser objParser(stParameters);
    const avPointer<AVPacket> pPacket(av_packet_alloc());
    while (NextPacket(stMedia, *pPacket)) {
        fnBytes(static_cast<std::size_t>(pPacket->size));
        const auto optStamp = StampOf(*pPacket, st.eCodec);
        if (optStamp) st.vStamped.push_back({st.vFrames.size(), *optStamp});
        st.vFrames.push_back(objParser.Look(*pPacket));
    }
    st.vPlaces = DisplayPlaces(st.vFrames);
    for (stampedFrame& stFrame : st.vStamped) stFrame.nPlace = st.vPlaces[stFrame.nPlace];
    return st;
}
