// The sound of an input as it is stored: as it came, or as AAC where it came in a form that
// neither transport streams nor MP4 files hold.

#ifndef LOCALSTORAGE_TOOL_MEDIA_AUDIOTRACK_H
#define LOCALSTORAGE_TOOL_MEDIA_AUDIOTRACK_H

#include <cstdint>
#include <optional>

#include "media/AudioEncoder.h"

class CAudioTrack {
public:
    /// Throws CFailure when such sound can not be stored.
    explicit CAudioTrack(const AVCodecParameters& stParameters);

    /// Of what is stored.
    const AVCodecParameters& Parameters() const;

    /// Takes a packet, with its times in ticks, and leaves it empty; null: there are no more. False
    /// when it is of no use: the sound has a hole there.
    bool Push(AVPacket* pPacket);
    /// The next packet to store, later than the one before; false when another one must be pushed.
    bool Pull(AVPacket& stPacket);

private:
    const AVCodecParameters& m_stParameters;
    std::optional<CAudioEncoder> m_optEncoder;  ///< none: stored as it came
    avPointer<AVPacket> m_pWaiting;             ///< to be stored as it came; empty: none
    std::int64_t m_nLast = 0;                   ///< time of the packet pulled last
};

#endif  // LOCALSTORAGE_TOOL_MEDIA_AUDIOTRACK_H
