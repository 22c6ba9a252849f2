// Streams made by hand, and what the analyser makes of a stream that is cut in some way.

#ifndef LOCALSTORAGE_TESTS_STREAMPROBE_STREAMS_H
#define LOCALSTORAGE_TESTS_STREAMPROBE_STREAMS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "StreamProbe/StreamProbe.h"

/// Where a packet that begins something begins, and its type.
struct StreamMark {
    std::size_t nPos;
    std::uint32_t nType;
    bool operator==(const StreamMark&) const = default;
};
std::ostream& operator<<(std::ostream& os, const StreamMark& stMark);

struct StreamResult {
    std::string strBytes;             ///< all packets, one behind the other
    std::vector<StreamMark> vecMark;  ///< where they begin something
    std::size_t nMaxHeld = 0;         ///< most bytes that were given in and not yet out
    std::size_t nCopied = 0;          ///< bytes that came out of the analyser's own memory
};

/// The size of the piece to give next.
using NextPiece = std::function<std::size_t()>;

/// Runs a stream through an analyser, flush included. Those without a header share one, since a
/// flush leaves nothing behind.
StreamResult Analyse(const std::string& strStream, const NextPiece& nextPiece,
                     const std::string& strHead = {});
StreamResult AnalyseWhole(const std::string& strStream);

/// The positions of the key frames of a result.
std::vector<std::size_t> KeyFrames(const StreamResult& stResult);

/// Fails the test unless the stream comes out as it went in, with the same marks, in pieces of 1 to
/// `nMaxPiece` bytes and split in two at every position.
void ExpectSameHoweverCut(const std::string& strStream, std::size_t nMaxPiece = 9);

/// Bytes from numbers: Bytes({0, 0, 1, 0x67}).
std::string Bytes(const std::vector<int>& vecByte);

/// NAL units with a start code of 4 bytes, as short as they can be and still be what they are.
namespace nal {
std::string Code3(const std::string& strNal);  ///< the same with a start code of 3 bytes
extern const std::string AUD, SPS, PPS, SEI, RECOVERY, GRADUAL, FILLER, PREFIX;
extern const std::string IDR, IDR_MORE, INTRA, P, PMORE;
extern const std::string VPS5, SPS5, PPS5, AUD5, SEI5, SUFFIX5, IDR5, CRA5, P5, P5_MORE;
}  // namespace nal

/// Units of a program stream.
namespace ps {
std::string Pack();
std::string Mpeg1Pack();
std::string SystemHeader();
std::string Map(int nStreamType);
std::string Video(const std::string& strPayload);
std::string OpenVideo(const std::string& strPayload);  ///< no length given
std::string Mpeg1Video(const std::string& strPayload);
std::string Audio(std::size_t nSize);
std::string Padding(std::size_t nSize);

/// As a camera sends it: each frame in a pack of its own (system header and map in front of key
/// frames), in PES packets of at most `nPesSize` payload bytes, then some sound.
std::string Camera(const std::vector<std::string>& vecFrame, const std::vector<bool>& vecKey,
                   int nStreamType, std::size_t nPesSize);
}  // namespace ps

#endif  // LOCALSTORAGE_TESTS_STREAMPROBE_STREAMS_H
