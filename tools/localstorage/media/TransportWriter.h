// Packs video and sound into an MPEG transport stream in memory. The tables that tell what is in it
// (PAT and PMT) stand directly in front of every key frame, so that a file cut there plays alone.

#ifndef LOCALSTORAGE_TOOL_MEDIA_TRANSPORTWRITER_H
#define LOCALSTORAGE_TOOL_MEDIA_TRANSPORTWRITER_H

#include <vector>

#include "media/MediaInput.h"

class CTransportWriter {
public:
    /// `pSound` may be null. Throws CFailure.
    CTransportWriter(const AVCodecParameters& stVideo, const AVCodecParameters* pSound);

    /// The packets of one access unit, all of them, valid until the next call. Sound waits for the
    /// next picture, in front of which it lies: it comes in small pieces, and often. Empty while it
    /// waits. Throws CFailure.
    Bytes Pack(const accessUnit& stUnit);
    /// What still waits, valid until the next call.
    Bytes TakeRest();

private:
    struct outputFree {
        void operator()(AVFormatContext* p) const;
    };
    void AddTrack(const AVCodecParameters& stParameters);
    static int Collect(void* pWriter, std::uint8_t* pData, int nSize);

    avIo m_pOutput;
    std::unique_ptr<AVFormatContext, outputFree> m_pFormat;  ///< writes to it
    std::vector<std::uint8_t> m_vPacked;
    bool m_bTaken = false;  ///< what was packed
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_TRANSPORTWRITER_H
