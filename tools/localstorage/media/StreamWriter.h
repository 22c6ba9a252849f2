// What is stored of a stream: access units as the bytes of the container in which they are kept,
// with the UTC time in every key frame.

#ifndef LOCALSTORAGE_TOOL_MEDIA_STREAMWRITER_H
#define LOCALSTORAGE_TOOL_MEDIA_STREAMWRITER_H

#include <string>

#include "media/TransportWriter.h"
#include "media/UtcClock.h"

/// How a stream is kept.
struct streamForm {
    std::string strContainer = "ts";  ///< a transport stream; "es": video as the bare byte stream
    bool bAudio = true;               ///< in a transport stream only
    bool bStamps = true;

    bool operator==(const streamForm&) const = default;

    bool IsTransport() const { return strContainer == "ts"; }
    EAudio Audio() const { return IsTransport() && bAudio ? EAudio::Yes : EAudio::No; }
};

class CStreamWriter {
public:
    /// `optStart`: when the first picture was taken; none: as pictures arrive. Throws CFailure.
    CStreamWriter(const streamForm& stForm, const CMediaInput& objInput,
                  std::optional<UtcTime> optStart);

    /// What to store now that an access unit has arrived, valid until the next call; empty where
    /// there is nothing. Throws CFailure.
    Bytes Make(const accessUnit& stUnit);
    /// What has not been given out yet, valid until the next call; to be stored at the end.
    Bytes TakeRest();

private:
    Bytes Stamp(const accessUnit& stUnit);

    ECodec m_eCodec;
    bool m_bStamps;
    CUtcClock m_objClock;
    std::optional<CTransportWriter> m_optTransport;
    std::vector<std::uint8_t> m_vStamped;
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_STREAMWRITER_H
