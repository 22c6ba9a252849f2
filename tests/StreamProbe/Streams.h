// Streams made by hand, and what the analyser makes of a stream that is cut in some way.

#ifndef LOCALSTORAGE_TESTS_STREAMPROBE_STREAMS_H
#define LOCALSTORAGE_TESTS_STREAMPROBE_STREAMS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "StreamProbe/StreamProbe.h"

constexpr std::uint32_t KEY = VEXANA_FRAME_I, OTHER = VEXANA_FRAME_OTHER,
                        MORE = VEXANA_FRAME_CONTINUE;
constexpr std::size_t WHOLE = std::string::npos;

/// Where packets that begin something begin, and their types.
using StreamMarks = std::vector<std::pair<std::size_t, std::uint32_t>>;

struct StreamResult {
    std::string strBytes;     ///< all packets, one behind the other
    StreamMarks vMark;        ///< where they begin something
    std::size_t nCopied = 0;  ///< bytes that came out of the analyser's own memory
};

/// Runs a stream through the analyser, flush included, in a first piece of `nFirst` bytes and
/// others of `nRest`. All share one analyser, since a flush leaves nothing behind. Throws when a
/// call fails, packets are empty or more than 4 MiB are held.
StreamResult Analyse(const std::string& strStream, std::size_t nFirst = WHOLE,
                     std::size_t nRest = WHOLE);

/// Where the key frames begin.
std::vector<std::size_t> KeyFrames(const StreamMarks& vMark);
std::vector<std::size_t> KeyFrames(const std::string& strStream);

/// What comes out differently, bytes or marks, when the stream is cut into pieces of these sizes,
/// or in two at some 300 places, or everywhere in a short stream; empty when nothing does.
std::string DifferenceWhenCut(const std::string& strStream,
                              const std::vector<std::size_t>& vPiece = {1, 2, 3, 5, 64},
                              std::size_t nCuts = 300);

/// Part of a stream, and what begins with it (MORE for nothing).
struct Part {
    std::uint32_t nType;
    std::string strBytes;
};

/// Bytes from numbers: Bytes({0, 0, 1, 0x67}).
std::string Bytes(const std::vector<int>& vByte);

// NAL units with a start code of 4 bytes, as short as they can be and still be what they are.
std::string Nal(const std::vector<int>& vByte);
inline const std::string SPS = Nal({0x67, 0x64, 0x00, 0x1F, 0xAC, 0xD9});
inline const std::string PPS = Nal({0x68, 0xEB, 0xE3, 0xCB});
inline const std::string IDR = Nal({0x65, 0x88, 0x84, 0x21, 0xA0, 0x13, 0x77});
inline const std::string P = Nal({0x41, 0x9A, 0x24, 0x6C, 0x41, 0x7F, 0x55});
inline const std::string P_MORE = Nal({0x41, 0x04, 0x9A, 0x24, 0x6C, 0x41, 0x7F});
inline const std::string VPS5 = Nal({0x40, 0x01, 0x0C, 0x01, 0xFF, 0xFF, 0x01, 0x60});
inline const std::string SPS5 = Nal({0x42, 0x01, 0x01, 0x01, 0x60, 0x03, 0x7F});
inline const std::string PPS5 = Nal({0x44, 0x01, 0xC1, 0x73, 0xD1});
inline const std::string IDR5 = Nal({0x26, 0x01, 0xAF, 0x09, 0x40, 0xFD, 0x31});
inline const std::string P5 = Nal({0x02, 0x01, 0xD0, 0x09, 0x7E, 0x10, 0x61});
/// All that belongs to a key frame.
inline const std::string WHOLE_IDR = SPS + PPS + IDR;
inline const std::string WHOLE_IDR5 = VPS5 + SPS5 + PPS5 + IDR5;

// Units of a program stream.
std::string Unit(int nCode, const std::string& strRest);  ///< start code, length, the rest
std::string Pes(int nCode, const std::string& strPayload);
std::string Video(const std::string& strPayload);
std::string Map(int nStreamType);
inline const std::string AUDIO = Pes(0xC0, std::string(160, '\x55'));
inline const std::string PACK =
    Bytes({0, 0, 1, 0xBA, 0x44, 0, 4, 0, 4, 1, 1, 0x89, 0xC3, 0xFD, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});

/// As a camera sends it: each frame in a pack of its own (system header and map in front of key
/// frames), in PES packets of at most `nPesSize` payload bytes, then some sound.
std::string Camera(const std::vector<Part>& vFrame, int nStreamType, std::size_t nPesSize);

#endif  // LOCALSTORAGE_TESTS_STREAMPROBE_STREAMS_H
