// The stream analyser: splits a camera's stream into packets and marks key frames.
//
// It knows H.264 and H.265 byte streams (Annex B), and the MPEG program stream and transport stream
// (packets of 188, 192 or 204 bytes) with either, and tells them apart by content. Pure bytes: no
// system calls, no clock, no threads of its own. One analyser serves one stream and one thread at a
// time.
//
// Use: give it a piece with VEXANA_InputData, then take packets with VEXANA_GetOnePacketEx until
// there is none, then the next piece. At the end VEXANA_Flush gives out what it still holds.
//
//   - Every byte of the input comes out once, in order, and nothing else does.
//   - A frame comes out as one packet or several: the first carries the frame's type, the rest
//     VEXANA_FRAME_CONTINUE. Where frames begin, and their types, never depends on how the input
//     was cut into pieces.
//   - A key frame begins at the first byte of everything that belongs to it: access-unit delimiter,
//     parameter sets, SEI; in a program stream its pack header; in a transport stream the PAT
//     directly in front of its packets, else the packet in which its PES packet begins. What begins
//     there decodes alone, without such a PAT once one comes. A picture behind an H.264 recovery
//     point is one too (an open group of pictures, or a gradual refresh, whose first pictures come
//     out incomplete). In both containers several frames that begin at one place count as one; see
//     VideoFrames.h. Of a transport stream's programs the first with video counts.
//   - Packets point into the caller's piece wherever they can, and lie one behind the other there,
//     so neighbours can be written together. Only what spans two pieces and is not yet decided (a
//     split start code, the parts in front of a frame, up to 4 KiB at the beginning that may become
//     a transport stream) is kept and copied: at most 4 MiB, after which it is passed through.

#ifndef LOCALSTORAGE_STREAMPROBE_STREAMPROBE_H
#define LOCALSTORAGE_STREAMPROBE_STREAMPROBE_H

#include <cstddef>
#include <cstdint>

using VEXANA_Handle = struct VEXANA_Stream*;

/// Types of packets.
enum VEXANA_FrameType : std::uint32_t {
    VEXANA_FRAME_CONTINUE = 0,  ///< goes on with what the packet before it began
    VEXANA_FRAME_I = 1,         ///< begins a key frame
    VEXANA_FRAME_OTHER = 2      ///< begins any other frame, or bytes that belong to none
};

struct VEXANA_PACKET {
    const char* pData = nullptr;
    std::size_t nLength = 0;
    std::uint32_t nFrameType = VEXANA_FRAME_CONTINUE;
};

constexpr int VEXANA_OK = 0;
constexpr int VEXANA_NO_PACKET = 1;  ///< all packets of this piece were taken
constexpr int VEXANA_FAILED = -1;

/// Makes an analyser. `pHead` is the stream's header as the host gives it (may be empty); where it
/// names the kind of the stream that is a hint, the content decides. All memory that the analyser
/// will ever need is reserved here, 8 MiB of addresses of which only what is used is touched.
/// VEXANA_FAILED: no memory (then `*pStream` is null), or a null `pStream`.
int VEXANA_CreateStreamEx(const char* pHead, std::size_t nHeadLen, VEXANA_Handle* pStream);

/// Gives the next piece; it must stay as it is until all its packets are taken. VEXANA_FAILED: null
/// handle, null data with a length, or packets of the piece before were not all taken.
int VEXANA_InputData(VEXANA_Handle hStream, const char* pData, std::size_t nSize);

/// Takes the next packet; VEXANA_NO_PACKET when there is none, or no handle. Its data is valid
/// until the next VEXANA_InputData, VEXANA_Flush or VEXANA_Destroy. Packets are never empty.
int VEXANA_GetOnePacketEx(VEXANA_Handle hStream, VEXANA_PACKET& stPacket);

/// Ends the stream: what is still held is decided as it stands and handed out by
/// VEXANA_GetOnePacketEx. The analyser then starts afresh with the next piece. VEXANA_FAILED: null
/// handle, or packets of the piece before were not all taken.
int VEXANA_Flush(VEXANA_Handle hStream);

void VEXANA_Destroy(VEXANA_Handle hStream);

#endif  // LOCALSTORAGE_STREAMPROBE_STREAMPROBE_H
