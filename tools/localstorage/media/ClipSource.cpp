#include "media/ClipSource.h"

#include "media/FrameParser.h"

namespace {

double RateOf(const AVStream& stStream) {
    const AVRational st =
        stStream.r_frame_rate.num ? stStream.r_frame_rate : stStream.avg_frame_rate;
    return st.num > 0 && st.den > 0 ? av_q2d(st) : 0;
}

}  // namespace

clipFrames ScanFrames(const std::string& strPath, const BytesFunction& fnBytes,
                      const std::atomic<bool>& bStop) {
    const openMedia stMedia = OpenMedia(strPath, &bStop);
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
        st.vFrames.push_back(objParser.Look(*pPacket));
    }
    st.vPlaces = DisplayPlaces(st.vFrames);
    return st;
}
