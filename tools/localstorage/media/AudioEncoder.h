// Encodes sound of other kinds as AAC: PCM, G.711 and whatever else can be decoded.

#ifndef LOCALSTORAGE_TOOL_MEDIA_AUDIOENCODER_H
#define LOCALSTORAGE_TOOL_MEDIA_AUDIOENCODER_H

#include "media/Ffmpeg.h"

extern "C" {
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
}

class CAudioEncoder {
public:
    /// Throws CFailure when such sound can not be decoded.
    explicit CAudioEncoder(const AVCodecParameters& stParameters);

    const AVCodecParameters& Parameters() const { return *m_pParameters; }

    /// Takes a packet with its time in ticks; null: there are no more. False when there is nothing
    /// in it that can be used.
    bool Push(const AVPacket* pPacket);
    /// The next packet of AAC, with its times in ticks; false when another one must be pushed.
    bool Pull(AVPacket& stPacket);

private:
    struct resamplerFree {
        void operator()(SwrContext* p) const { swr_free(&p); }
    };
    struct fifoFree {
        void operator()(AVAudioFifo* p) const { av_audio_fifo_free(p); }
    };

    void OpenDecoder(const AVCodecParameters& stParameters);
    void OpenEncoder();
    bool Take(AVFrame& stFrame);
    bool EncodeNext();

    avPointer<AVCodecContext> m_pDecoder, m_pEncoder;
    avPointer<AVCodecParameters> m_pParameters;
    std::unique_ptr<SwrContext, resamplerFree> m_pResampler;
    std::unique_ptr<AVAudioFifo, fifoFree> m_pFifo;  ///< samples that make no whole frame yet
    avPointer<AVFrame> m_pFrame;
    std::int64_t m_nNext = 0;  ///< time of the sample behind the last one in the fifo, in samples
    bool m_bStarted = false, m_bEnding = false, m_bEnded = false;
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_AUDIOENCODER_H
