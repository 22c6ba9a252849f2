// What FFmpeg's libraries find in a stream: the oracle that the analyser is compared with.

#ifndef LOCALSTORAGE_TESTS_STREAMPROBE_ORACLE_H
#define LOCALSTORAGE_TESTS_STREAMPROBE_ORACLE_H

#include <cstddef>
#include <string>
#include <vector>

struct OracleFrame {
    std::size_t nPos;  ///< of the frame's first byte; in a program stream of its PES packet
    bool bKeyFrame;
    std::string strBytes;
};

/// The frames in decoding order; empty when the stream cannot be read.
std::vector<OracleFrame> OracleFrames(const std::string& strStream);

struct OraclePictures {
    int nPictures = 0;
    int nErrors = 0;          ///< decoding errors, and damaged pictures, from the first picture on
    int nErrorsInFront = 0;   ///< packets that cannot be decoded in front of the first picture
    bool bKeyPacket = false;  ///< the first packet is a key frame
    int nFirstKey = -1;       ///< which picture is the first key frame, -1 for none
};

/// Decodes the whole stream.
OraclePictures OracleDecode(const std::string& strStream);

#endif  // LOCALSTORAGE_TESTS_STREAMPROBE_ORACLE_H
