// Streams made by hand, and what the analyser makes of a stream that is cut in some way.

#ifndef LOCALSTORAGE_TESTS_STREAMPROBE_STREAMS_H
#define LOCALSTORAGE_TESTS_STREAMPROBE_STREAMS_H

#include <algorithm>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "StreamProbe/StreamProbe.h"

constexpr std::uint32_t KEY = VEXANA_FRAME_I, OTHER = VEXANA_FRAME_OTHER,
                        MORE = VEXANA_FRAME_CONTINUE;
constexpr std::size_t WHOLE = std::string::npos, MOST_HELD = std::size_t{4} << 20;

/// Where packets that begin something begin, and their types.
using StreamMarks = std::vector<std::pair<std::size_t, std::uint32_t>>;

struct StreamResult {
    std::string strBytes;     ///< all packets, one behind the other
    StreamMarks vMark;        ///< where they begin something
    std::size_t nCopied = 0;  ///< bytes that came out of the analyser's own memory
};

inline void Require(bool bGood, const char* szWhat) {
    if (!bGood) throw std::logic_error(szWhat);
}

/// Runs a stream through the analyser, flush included, in a first piece of `nFirst` bytes and
/// others of `nRest`. All share one analyser, since a flush leaves nothing behind. Throws when a
/// call fails, packets are empty or too much is held.
inline StreamResult Analyse(const std::string& strStream, std::size_t nFirst = WHOLE,
                            std::size_t nRest = WHOLE) {
    static VEXANA_Handle hStream = nullptr;  // lives as long as the process
    if (!hStream) VEXANA_CreateStreamEx(nullptr, 0, &hStream);
    StreamResult stResult;
    for (std::size_t nPos = 0, nSize = nFirst;; nSize = nRest) {
        const std::string_view strPiece = std::string_view(strStream).substr(nPos, nSize);
        // Of its own size, so that AddressSanitizer sees who reads beyond it.
        const std::vector<char> vPiece(strPiece.begin(), strPiece.end());
        const char *const pBegin = vPiece.data(), *const pEnd = pBegin + vPiece.size();
        nPos += vPiece.size();
        Require((vPiece.empty() ? VEXANA_Flush(hStream)
                                : VEXANA_InputData(hStream, pBegin, vPiece.size())) == VEXANA_OK,
                "refused");
        for (VEXANA_PACKET st; VEXANA_GetOnePacketEx(hStream, st) == VEXANA_OK;) {
            Require(st.nLength > 0, "an empty packet");
            if (st.pData < pBegin || st.pData >= pEnd) stResult.nCopied += st.nLength;
            if (st.nFrameType != MORE) {
                stResult.vMark.emplace_back(stResult.strBytes.size(), st.nFrameType);
            }
            stResult.strBytes.append(st.pData, st.nLength);
        }
        Require(nPos - stResult.strBytes.size() <= MOST_HELD, "too much is held");
        if (vPiece.empty()) return stResult;
    }
}

/// Where the key frames begin.
inline std::vector<std::size_t> KeyFrames(const StreamMarks& vMark) {
    std::vector<std::size_t> vPos;
    for (const auto& [nPos, nType] : vMark) {
        if (nType == KEY) vPos.push_back(nPos);
    }
    return vPos;
}

/// What comes out differently, bytes or marks, when the stream is cut into pieces of these sizes,
/// or in two at some 300 places, or everywhere in a short stream; empty when nothing does.
inline std::string DifferenceWhenCut(const std::string& strStream,
                                     const std::vector<std::size_t>& vPiece = {1, 2, 3, 5, 64},
                                     std::size_t nCuts = 300) {
    const StreamMarks vWhole = Analyse(strStream).vMark;
    const auto Differs = [&](std::size_t nFirst, std::size_t nRest) {
        const StreamResult stCut = Analyse(strStream, nFirst, nRest);
        return stCut.strBytes != strStream || stCut.vMark != vWhole;
    };
    if (Differs(WHOLE, WHOLE)) return "bytes lost or changed";
    for (const std::size_t nPiece : vPiece) {
        if (Differs(nPiece, nPiece)) return "pieces of " + std::to_string(nPiece);
    }
    for (std::size_t n = 1; n < strStream.size(); n += 1 + strStream.size() / nCuts) {
        if (Differs(n, WHOLE)) return "cut at " + std::to_string(n);
    }
    return {};
}

/// Part of a stream, and what begins with it (MORE for nothing).
struct Part {
    std::uint32_t nType;
    std::string strBytes;
};

inline std::string Bytes(const std::vector<int>& vByte) {
    return {vByte.begin(), vByte.end()};
}

// NAL units with a start code of 4 bytes, as short as they can be and still be what they are.
inline std::string Nal(const std::vector<int>& vByte) {
    return Bytes({0, 0, 0, 1}) + Bytes(vByte);
}
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
inline const std::string WHOLE_IDR = SPS + PPS + IDR, WHOLE_IDR5 = VPS5 + SPS5 + PPS5 + IDR5;

// Units of a program stream: start code, length, the rest.
inline std::string Unit(int nCode, const std::string& strRest) {
    const int nLength = static_cast<int>(strRest.size());
    return Bytes({0, 0, 1, nCode, nLength >> 8, nLength & 0xFF}) + strRest;
}
inline std::string Pes(int nCode, const std::string& strPayload) {
    return Unit(nCode, Bytes({0x80, 0x80, 5, 0x21, 0, 1, 0, 1}) + strPayload);
}
inline std::string Video(const std::string& strPayload) {
    return Pes(0xE0, strPayload);
}
inline std::string Map(int nStreamType) {
    return Unit(0xBC, Bytes({0xE0, 0xFF, 0, 0, 0, 8, 0x90, 0xC0, 0, 0, nStreamType, 0xE0, 0, 0, 1,
                             2, 3, 4}));
}
inline const std::string AUDIO = Pes(0xC0, std::string(160, '\x55'));
inline const std::string PACK =
    Bytes({0, 0, 1, 0xBA, 0x44, 0, 4, 0, 4, 1, 1, 0x89, 0xC3, 0xFD, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});

/// As a camera sends it: each frame in a pack of its own (system header and map in front of key
/// frames), in PES packets of at most `nPesSize` payload bytes, then some sound.
inline std::string Camera(const std::vector<Part>& vFrame, int nStreamType, std::size_t nPesSize) {
    const std::string strSystemHeader =
        Unit(0xBB, Bytes({0x80, 0x1B, 0x91, 0x04, 0xE1, 0x7F, 0xE0, 0xE0, 0x80}));
    std::string strStream;
    for (const Part& stFrame : vFrame) {
        strStream += PACK;
        if (stFrame.nType == KEY) strStream += strSystemHeader + Map(nStreamType);
        for (std::size_t n = 0; n < stFrame.strBytes.size(); n += nPesSize) {
            strStream += Video(stFrame.strBytes.substr(n, nPesSize));
        }
        strStream += AUDIO;
    }
    return strStream;
}

// A transport stream: packets of one PID (not counted yet) around a payload, the last filled up in
// front of it, or around bytes that need not begin anything.
inline std::string TsPackets(int nPid, const std::string& strPayload, bool bStart = true) {
    std::string strPackets;
    for (std::size_t n = 0; n == 0 || n < strPayload.size(); n += 184, bStart = false) {
        const std::string strPart = strPayload.substr(n, 184);
        const int nFill = 184 - static_cast<int>(strPart.size());
        std::string strField = Bytes({nFill - 1, 0}) + std::string(184, '\xFF');
        strField.resize(static_cast<std::size_t>(nFill));
        strPackets +=
            Bytes({0x47, (bStart ? 0x40 : 0) | nPid >> 8, nPid & 0xFF, nFill > 0 ? 0x30 : 0x10});
        strPackets += strField + strPart;
    }
    return strPackets;
}
inline std::string Table(int nTable, int nNumber, const std::string& strRest) {
    const int nLength = static_cast<int>(strRest.size()) + 9;
    std::string strTable = Bytes({nTable, 0xB0 | nLength >> 8, nLength & 0xFF, nNumber >> 8,
                                  nNumber & 0xFF, 0xC1, 0, 0}) +
                           strRest;
    std::uint32_t nCrc = 0xFFFFFFFF;
    for (const char ch : strTable) {
        nCrc ^= static_cast<std::uint32_t>(static_cast<unsigned char>(ch)) << 24;
        for (int n = 0; n < 8; ++n) nCrc = nCrc << 1 ^ (nCrc >> 31) * 0x04C11DB7;
    }
    for (int n = 24; n >= 0; n -= 8) strTable += static_cast<char>(nCrc >> n);
    return Bytes({0}) + strTable;  // behind the pointer to its beginning
}
/// Programs from number 1 on, by the PIDs of their PMTs.
inline std::string Pat(const std::vector<int>& vPmt = {0x100}) {
    std::string strPrograms;
    for (const int nPid : vPmt) {
        strPrograms +=
            Bytes({0, static_cast<int>(strPrograms.size()) / 4 + 1, 0xE0 | nPid >> 8, nPid & 0xFF});
    }
    return TsPackets(0, Table(0, 1, strPrograms));
}
/// With so many bytes of descriptors, and one stream behind some sound.
inline std::string PmtTable(int nType, int nPid, int nNumber = 1, std::size_t nDescriptors = 0) {
    return Table(
        2, nNumber,
        Bytes({0xE1, 0x01, 0xF0, static_cast<int>(nDescriptors)}) +
            std::string(nDescriptors, '\x11') +
            Bytes({0x0F, 0xE3, 0x01, 0xF0, 0, nType, 0xE0 | nPid >> 8, nPid & 0xFF, 0xF0, 0}));
}
inline std::string Pmt(int nType = 0x1B, int nPid = 0x201) {
    return TsPackets(0x100, PmtTable(nType, nPid));
}
inline std::string TsVideo(const std::string& strPayload, int nPid = 0x201) {
    return TsPackets(nPid, Video(strPayload));
}
inline std::string TsSound() {
    return TsPackets(0x301, AUDIO);
}
/// The same packets as they are sent: counted, and with so many bytes in front of and behind each.
class CTsWire {
public:
    CTsWire(std::size_t nFront, std::size_t nBehind) : m_nFront(nFront), m_nBehind(nBehind) {}

    std::string operator()(const std::string& strPackets) {
        std::string strWire;
        for (std::size_t n = 0; n < strPackets.size(); n += 188) {
            std::string strPacket = strPackets.substr(n, 188);
            int& nCounter = m_mCounter[strPacket.substr(1, 2)];
            strPacket[3] = static_cast<char>(strPacket[3] | (nCounter++ & 0x0F));
            strWire += std::string(m_nFront, '\x5A') + strPacket + std::string(m_nBehind, '\xA5');
        }
        return strWire;
    }

private:
    std::size_t m_nFront, m_nBehind;
    std::map<std::string, int> m_mCounter;
};

#endif  // LOCALSTORAGE_TESTS_STREAMPROBE_STREAMS_H
