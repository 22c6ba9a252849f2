// What the MPEG program stream and the transport stream have in common.

#ifndef LOCALSTORAGE_STREAMPROBE_SYSTEMLAYER_H
#define LOCALSTORAGE_STREAMPROBE_SYSTEMLAYER_H

#include <cstddef>
#include <cstdint>

#include "StreamProbe/Nal.h"

inline std::size_t Get16(const std::uint8_t* pData) {
    return static_cast<std::size_t>(pData[0]) << 8 | pData[1];
}

/// What a stream_type of a map names; Unknown for anything but H.264 and H.265.
constexpr ECodec GetTypeCodec(std::uint8_t byStreamType) {
    return byStreamType == 0x1B   ? ECodec::H264
           : byStreamType == 0x24 ? ECodec::H265
                                  : ECodec::Unknown;
}

#endif  // LOCALSTORAGE_STREAMPROBE_SYSTEMLAYER_H
