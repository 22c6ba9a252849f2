// Divides a camera's stream into frames, whatever it turns out to be.
//
// It is a transport stream when packets are found in its first 4 KiB, which stay undecided until
// then, and else, or when it begins with a start code, one of start codes. After a MiB in which a
// transport stream had no packets it counts as one of start codes, too, and for good.

#ifndef LOCALSTORAGE_STREAMPROBE_STREAMSPLITTER_H
#define LOCALSTORAGE_STREAMPROBE_STREAMSPLITTER_H

#include <cstddef>
#include <cstdint>

#include "StreamProbe/StartCodeStream.h"
#include "StreamProbe/TransportStream.h"

/// The functions are those of CVideoFrames.
class CStreamSplitter {
public:
    void Read(const std::uint8_t* pData, std::size_t nSize);
    std::uint64_t GetCursor() const { return Frames().GetCursor(); }
    std::uint64_t GetDecided() const { return Frames().GetDecided(); }
    bool PeekMark(frameMark& stMark) const { return Frames().PeekMark(stMark); }
    void DropMark();

    /// Ends the stream as it stands; it may go back and have to be read and ended once more.
    void Finish();

    void SetHint(ECodec eCodec) { m_objStartCodes.SetHint(eCodec); }

private:
    const CVideoFrames& Frames() const {
        if (m_bStartCodes) return m_objStartCodes;
        return m_objTransport;
    }
    void TakeForStartCodes();

    CTransportStream m_objTransport;
    CStartCodeStream m_objStartCodes;
    bool m_bStartCodes = false;
    std::uint32_t m_nFirst = 0;  ///< the first bytes, as a number
};

#endif  // LOCALSTORAGE_STREAMPROBE_STREAMSPLITTER_H
