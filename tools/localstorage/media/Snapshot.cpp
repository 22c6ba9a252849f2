#include "media/Snapshot.h"

extern "C" {
#include <libswscale/swscale.h>
}

#include <cstring>

#include "base/Failure.h"

namespace {

constexpr int QUALITY = 3;  // of 2 (best) to 31

struct scalerFree {
    void operator()(SwsContext* p) const { sws_freeContext(p); }
};

void Require(int nResult, const char* pWhat) {
    if (nResult < 0) throw CFailure(std::string(pWhat) + ": " + AvErrorText(nResult));
}

avPointer<AVPacket> ToPacket(Bytes stBytes) {
    avPointer<AVPacket> pPacket(av_packet_alloc());
    Require(av_new_packet(pPacket.get(), static_cast<int>(stBytes.size())), "no memory");
    std::memcpy(pPacket->data, stBytes.data(), stBytes.size());
    pPacket->flags |= AV_PKT_FLAG_KEY;
    return pPacket;
}

avPointer<AVFrame> Decode(Bytes stKeyFrame, const AVCodecParameters& stParameters) {
    const AVCodec* pCodec = avcodec_find_decoder(stParameters.codec_id);
    if (!pCodec) throw CFailure("FFmpeg has no decoder for this stream");
    avPointer<AVCodecContext> pDecoder(avcodec_alloc_context3(pCodec));
    pDecoder->thread_count = 1;
    Require(avcodec_open2(pDecoder.get(), pCodec, nullptr), "cannot decode the stream");
    Require(avcodec_send_packet(pDecoder.get(), ToPacket(stKeyFrame).get()), "cannot decode");
    Require(avcodec_send_packet(pDecoder.get(), nullptr), "cannot decode");
    avPointer<AVFrame> pFrame(av_frame_alloc());
    Require(avcodec_receive_frame(pDecoder.get(), pFrame.get()), "the key frame gives no picture");
    return pFrame;
}

/// The picture in the one format that JPEG readers agree on: 4:2:0, full range.
avPointer<AVFrame> ToJpegFormat(const AVFrame& stFrame) {
    avPointer<AVFrame> pPicture(av_frame_alloc());
    pPicture->width = stFrame.width;
    pPicture->height = stFrame.height;
    pPicture->format = AV_PIX_FMT_YUVJ420P;
    Require(av_frame_get_buffer(pPicture.get(), 0), "no memory for the picture");
    const std::unique_ptr<SwsContext, scalerFree> pScaler(sws_getContext(
        stFrame.width, stFrame.height, AVPixelFormat(stFrame.format), stFrame.width, stFrame.height,
        AV_PIX_FMT_YUVJ420P, SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!pScaler) throw CFailure("the picture's format cannot be converted");
    Require(sws_scale(pScaler.get(), stFrame.data, stFrame.linesize, 0, stFrame.height,
                      pPicture->data, pPicture->linesize),
            "the picture cannot be converted");
    return pPicture;
}

std::vector<std::uint8_t> Encode(const AVFrame& stPicture) {
    const AVCodec* pCodec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    if (!pCodec) throw CFailure("FFmpeg has no JPEG encoder");
    avPointer<AVCodecContext> pEncoder(avcodec_alloc_context3(pCodec));
    pEncoder->width = stPicture.width;
    pEncoder->height = stPicture.height;
    pEncoder->pix_fmt = AV_PIX_FMT_YUVJ420P;
    pEncoder->color_range = AVCOL_RANGE_JPEG;
    pEncoder->time_base = {1, 1};
    pEncoder->thread_count = 1;
    pEncoder->flags |= AV_CODEC_FLAG_QSCALE;
    pEncoder->global_quality = QUALITY * FF_QP2LAMBDA;
    Require(avcodec_open2(pEncoder.get(), pCodec, nullptr), "cannot encode JPEG");
    Require(avcodec_send_frame(pEncoder.get(), &stPicture), "cannot encode JPEG");
    avPointer<AVPacket> pPacket(av_packet_alloc());
    Require(avcodec_receive_packet(pEncoder.get(), pPacket.get()), "cannot encode JPEG");
    return {pPacket->data, pPacket->data + pPacket->size};
}

}  // namespace

std::vector<std::uint8_t> MakeJpeg(Bytes stKeyFrame, const AVCodecParameters& stParameters) {
    const avPointer<AVFrame> pFrame = Decode(stKeyFrame, stParameters);
    const avPointer<AVFrame> pPicture = ToJpegFormat(*pFrame);
    pPicture->quality = QUALITY * FF_QP2LAMBDA;
    return Encode(*pPicture);
}
