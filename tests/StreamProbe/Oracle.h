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

/// The frames of a file, in decoding order; empty when it cannot be read.
std::vector<OracleFrame> OracleFrames(const std::string& strPath);

#endif  // LOCALSTORAGE_TESTS_STREAMPROBE_ORACLE_H
