// What a clip holds.

#ifndef LOCALSTORAGE_TESTS_TOOL_COUNTPACKETS_H
#define LOCALSTORAGE_TESTS_TOOL_COUNTPACKETS_H

#include <string>

#include "media/MediaInput.h"

inline std::size_t CountPackets(const std::string& strPath, EAudio eAudio) {
    const openMedia stMedia = OpenMedia(strPath, nullptr, {.eAudio = eAudio});
    const avPointer<AVPacket> pPacket(av_packet_alloc());
    std::size_t nPackets = 0;
    while (NextPacket(stMedia, *pPacket)) ++nPackets;
    return nPackets;
}

#endif  // LOCALSTORAGE_TESTS_TOOL_COUNTPACKETS_H
