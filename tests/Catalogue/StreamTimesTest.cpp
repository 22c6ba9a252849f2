// When a recording was taken, by its own bytes: streams made here, byte by byte.

#include <gtest/gtest.h>

#include "Catalogue/FrameRate.h"
#include "Catalogue/StreamTimes.h"
#include "Support/TempDir.h"

namespace {

using namespace std::chrono_literals;

const UtcTime BEGIN = UtcTime(1700000000s + 123ms);

std::string Text(const std::vector<std::uint8_t>& v) {
    return {v.begin(), v.end()};
}

/// An H.264 frame of so many bytes; a key frame with its stamp, if there is one.
std::string Frame(bool bKey, std::optional<UtcTime> tStamp, std::size_t nSize = 400) {
    std::string str;
    if (bKey) str += std::string("\0\0\0\1\x67\x42\0\x1e", 8) + std::string("\0\0\0\1\x68\xce", 6);
    if (tStamp) str += Text(MakeUtcStamp(ECodec::H264, *tStamp));
    str += std::string("\0\0\0\1", 4) + (bKey ? "\x65\x88" : "\x41\x9a");
    return str + std::string(nSize, '\x55');
}

std::string RawStream(int nFrames, bool bStamps, UtcTime::duration nStep) {
    std::string str;
    for (int n = 0; n < nFrames; ++n) {
        const bool bKey = n % 10 == 0;
        str += Frame(bKey, bKey && bStamps ? std::optional(BEGIN + n * nStep) : std::nullopt);
    }
    return str;
}

/// A frame as packets of a transport stream, filled up in the last one's adaptation field.
std::string Packets(const std::string& strFrame, std::int64_t nPts) {
    const auto Byte = [](std::int64_t n) { return static_cast<char>(n); };
    std::string strPes = std::string("\0\0\1\xE0\0\0\x80\x80\5", 9);
    strPes += {Byte(0x21 | (nPts >> 29 & 0xE)), Byte(nPts >> 22), Byte(nPts >> 14 | 1),
               Byte(nPts >> 7), Byte(nPts << 1 | 1)};
    strPes += strFrame;
    std::string str;
    for (std::size_t n = 0; n < strPes.size(); n += 184) {
        const std::string strPart = strPes.substr(n, 184);
        const std::size_t nFill = 184 - strPart.size();
        str += {'\x47', n == 0 ? '\x41' : '\1', '\0', nFill ? '\x30' : '\x10'};
        if (nFill) str += Byte(static_cast<std::int64_t>(nFill) - 1);
        if (nFill > 1) str += '\0' + std::string(nFill - 2, '\xFF');
        str += strPart;
    }
    return str;
}

constexpr std::int64_t TICKS = 9000;  // ten frames a second

std::string TransportStream(int nFrames, bool bStamps, std::int64_t nFirst) {
    std::string str;
    for (int n = 0; n < nFrames; ++n) {
        const bool bKey = n % 10 == 0;
        // Shown in another order than they stand: I P B P B ...
        const int nPlace = n % 10 == 0 ? n : n % 2 == 1 ? std::min(n + 1, n / 10 * 10 + 9) : n - 1;
        const auto tStamp = bKey && bStamps ? std::optional(BEGIN + n * 100ms) : std::nullopt;
        str += Packets(Frame(bKey, tStamp), (nFirst + nPlace * TICKS) % PTS_WRAP);
    }
    return str;
}

TEST(StreamTimes, BeginAndEndAreToldByTheBytes) {
    const CTempDir tmp;
    const std::string strRaw = RawStream(95, true, 66ms),
                      strTransport = TransportStream(95, true, 5);
    const std::string strLong =
        RawStream(10, true, 66ms) + Frame(false, {}, 300000) + RawStream(10, false, 66ms);
    const struct {
        const char* pName;
        std::string strBytes;
        bool bStamps;
        UtcTime::duration nEnd, nLength;  // behind BEGIN; 0: unknown
    } ROWS[] = {
        {"raw", strRaw, true, 95 * 66ms, 0ms},
        {"raw, cut in a frame", strRaw.substr(0, strRaw.size() - 100), true, 95 * 66ms, 0ms},
        {"raw, the only stamp far from the end", strLong, true, 21 * 40ms, 0ms},
        {"raw without stamps", RawStream(95, false, 66ms), false, 0ms, 0ms},
        {"packets", strTransport, true, 9500ms, 9500ms},
        {"packets, being written", strTransport.substr(0, strTransport.size() - 90), true, 9500ms,
         9500ms},
        {"packets whose times begin anew", TransportStream(95, true, PTS_WRAP - 20 * TICKS), true,
         9500ms, 9500ms},
        {"packets without stamps", TransportStream(95, false, 5), false, 0ms, 9500ms},
        {"packets whose times are put back",
         TransportStream(95, false, 5000 * TICKS) + TransportStream(400, false, 5), false, 0ms,
         0ms},
        {"packets, zeros behind", strTransport + std::string(4096, '\0'), true, 9500ms, 9500ms},
        {"no stream", std::string(20000, 'x'), false, 0ms, 0ms},
        {"nothing", "", false, 0ms, 0ms},
    };
    for (const auto& row : ROWS) {
        PutFile(tmp / "stream", row.strBytes);
        const streamTimes st = ReadStreamTimes(tmp / "stream", row.strBytes.size());
        EXPECT_EQ(st.tStart, row.bStamps ? std::optional(BEGIN) : std::nullopt) << row.pName;
        EXPECT_EQ(st.tEnd.value_or(BEGIN) - BEGIN, row.nEnd) << row.pName;
        EXPECT_EQ(st.nLength.value_or(0ms), row.nLength) << row.pName;
    }
}

/// As encoders write it.
std::string Set(const std::string& strHex) {
    std::string str("\0\0\0\1", 4);
    for (std::size_t n = 0; n < strHex.size(); n += 2) {
        str += static_cast<char>(std::stoi(strHex.substr(n, 2), nullptr, 16));
    }
    return str;
}

TEST(StreamTimes, ARawStreamIsAsLongAsItsFramesAtTheRateThatItStates) {
    const auto H264 = ECodec::H264, H265 = ECodec::H265;
    const struct {
        ECodec eCodec;
        double dRate;
        std::string strSet;
    } ROWS[] = {
        {H264, 30, "6742c00bd902c4ec0440000003004000000f03c50a92"},
        {H264, 30000 / 1001.0, "677a000dbcd9415087888fc04400000fa40003a9803c50a658"},
        {H264, 12.5, "67f4000c919b28283f6022000003000400000300641e28532c"},  // 4:4:4
        {H265, 15,
         "4201010408000003009e0800000300003c90014101e2cb2b349265780b7020200040000003004000000303"
         "c2"},
        {H265, 50,  // layers, scaling lists
         "4201010408000003009e0800000300003f90014901f39e7cb2b349272bc05b81010002000003000200000300"
         "6410"},
        {H264, 0, "6742001e"},
    };
    const auto rate = [](ECodec eCodec, const std::string& str) {
        return FrameRateOf(eCodec, {reinterpret_cast<const std::uint8_t*>(str.data()), str.size()})
            .value_or(0);
    };
    for (const auto& row : ROWS) {
        const std::string strSet = Set(row.strSet);
        EXPECT_NEAR(rate(row.eCodec, strSet), row.dRate, 1e-9) << row.strSet;
        for (std::size_t n = 0; n < (strSet.size() - 4) * 8; ++n) {  // whatever comes of it
            std::string strWrong = strSet;
            strWrong[n / 8] = static_cast<char>(strWrong[n / 8] ^ 1 << n % 8);
            rate(row.eCodec, strWrong);
            EXPECT_EQ(rate(row.eCodec, strSet.substr(0, n / 8)), 0) << "torn at " << n / 8;
        }
    }
    const CTempDir tmp;
    for (const auto& [strHead, nStep] :
         {std::pair(std::string(), 40ms), {Set(ROWS[2].strSet), 80ms}}) {
        const std::string strRaw = strHead + RawStream(95, false, 40ms);
        PutFile(tmp / "stream", strRaw);
        EXPECT_EQ(CountFrames(tmp / "stream", strRaw.size()), 95 * nStep);
    }
}

}  // namespace
