#include "Streams.h"

#include <algorithm>
#include <memory>
#include <utility>

#include <gtest/gtest.h>

namespace {

// Takes every packet there is. `strPiece` is the piece just given.
void TakeAll(VEXANA_Handle hStream, const std::string& strPiece, StreamResult& stResult) {
    const char* pNext = nullptr;
    VEXANA_PACKET stPacket;
    while (VEXANA_GetOnePacketEx(hStream, stPacket) == VEXANA_OK) {
        ASSERT_GT(stPacket.nLength, 0u);
        const bool bInPiece =
            stPacket.pData >= strPiece.data() && stPacket.pData < strPiece.data() + strPiece.size();
        if (bInPiece) {
            EXPECT_TRUE(pNext == nullptr || pNext == stPacket.pData);
            pNext = stPacket.pData + stPacket.nLength;
        } else {
            stResult.nCopied += stPacket.nLength;
        }
        if (stPacket.nFrameType != VEXANA_FRAME_CONTINUE) {
            stResult.vecMark.push_back({stResult.strBytes.size(), stPacket.nFrameType});
        }
        stResult.strBytes.append(stPacket.pData, stPacket.nLength);
    }
}

struct DestroyAnalyser {
    void operator()(VEXANA_Handle hStream) const { VEXANA_Destroy(hStream); }
};
using OwnedAnalyser = std::unique_ptr<VEXANA_Stream, DestroyAnalyser>;

OwnedAnalyser MakeAnalyser(const std::string& strHead) {
    VEXANA_Handle hStream = nullptr;
    EXPECT_EQ(VEXANA_CreateStreamEx(strHead.data(), strHead.size(), &hStream), VEXANA_OK);
    return OwnedAnalyser(hStream);
}

StreamResult AnalyseWith(VEXANA_Handle hStream, const std::string& strStream,
                         const NextPiece& nextPiece) {
    StreamResult stResult;
    for (std::size_t i = 0; i < strStream.size();) {
        const std::string strPiece = strStream.substr(i, nextPiece());
        EXPECT_EQ(VEXANA_InputData(hStream, strPiece.data(), strPiece.size()), VEXANA_OK);
        TakeAll(hStream, strPiece, stResult);
        i += strPiece.size();
        stResult.nMaxHeld = std::max(stResult.nMaxHeld, i - stResult.strBytes.size());
    }
    EXPECT_EQ(VEXANA_Flush(hStream), VEXANA_OK);
    TakeAll(hStream, {}, stResult);
    return stResult;
}

std::string Nal(const std::vector<int>& vecByte) {
    return Bytes({0, 0, 0, 1}) + Bytes(vecByte);
}

std::string Length16(std::size_t nLength) {
    return Bytes({static_cast<int>(nLength >> 8), static_cast<int>(nLength & 0xFF)});
}

// A PES packet or header: start code, length, the rest.
std::string Unit(int nCode, const std::string& strRest) {
    return Bytes({0, 0, 1, nCode}) + Length16(strRest.size()) + strRest;
}

const std::string PES_HEADER = Bytes({0x80, 0x80, 5, 0x21, 0, 1, 0, 1});

}  // namespace

std::ostream& operator<<(std::ostream& os, const StreamMark& stMark) {
    return os << (stMark.nType == VEXANA_FRAME_I ? "I@" : "other@") << stMark.nPos;
}

StreamResult Analyse(const std::string& strStream, const NextPiece& nextPiece,
                     const std::string& strHead) {
    if (!strHead.empty()) return AnalyseWith(MakeAnalyser(strHead).get(), strStream, nextPiece);
    static const OwnedAnalyser pShared = MakeAnalyser({});
    return AnalyseWith(pShared.get(), strStream, nextPiece);
}

StreamResult AnalyseWhole(const std::string& strStream) {
    return Analyse(strStream, [&] { return strStream.size(); });
}

std::vector<std::size_t> KeyFrames(const StreamResult& stResult) {
    std::vector<std::size_t> vecPos;
    for (const StreamMark& stMark : stResult.vecMark) {
        if (stMark.nType == VEXANA_FRAME_I) vecPos.push_back(stMark.nPos);
    }
    return vecPos;
}

void ExpectSameHoweverCut(const std::string& strStream, std::size_t nMaxPiece) {
    const StreamResult stWhole = AnalyseWhole(strStream);
    ASSERT_EQ(stWhole.strBytes, strStream);
    for (std::size_t nPiece = 1; nPiece <= nMaxPiece; ++nPiece) {
        const StreamResult stCut = Analyse(strStream, [&] { return nPiece; });
        ASSERT_EQ(stCut.strBytes, strStream) << "pieces of " << nPiece;
        ASSERT_EQ(stCut.vecMark, stWhole.vecMark) << "pieces of " << nPiece;
    }
    for (std::size_t nSplit = 1; nSplit < strStream.size(); ++nSplit) {
        bool bFirst = true;
        const StreamResult stCut = Analyse(
            strStream, [&] { return std::exchange(bFirst, false) ? nSplit : strStream.size(); });
        ASSERT_EQ(stCut.strBytes, strStream) << "split at " << nSplit;
        ASSERT_EQ(stCut.vecMark, stWhole.vecMark) << "split at " << nSplit;
    }
}

std::string Bytes(const std::vector<int>& vecByte) {
    return {vecByte.begin(), vecByte.end()};
}

namespace nal {

std::string Code3(const std::string& strNal) {
    return strNal.substr(1);
}

const std::string AUD = Nal({0x09, 0xF0});
const std::string SPS = Nal({0x67, 0x64, 0x00, 0x1F, 0xAC, 0xD9});
const std::string PPS = Nal({0x68, 0xEB, 0xE3, 0xCB});
const std::string SEI = Nal({0x06, 0x05, 0x02, 0x80, 0x80, 0x80});
const std::string RECOVERY = Nal({0x06, 0x01, 0x01, 0x22, 0x06, 0x01, 0xC4, 0x80});
const std::string GRADUAL = Nal({0x06, 0x06, 0x01, 0x46, 0x80});
const std::string FILLER = Nal({0x0C, 0xFF, 0xFF, 0x80});
const std::string PREFIX = Nal({0x6E, 0x40, 0x80, 0x80, 0x0F});
const std::string IDR = Nal({0x65, 0x88, 0x84, 0x21, 0xA0, 0x13, 0x77});
const std::string IDR_MORE = Nal({0x65, 0x04, 0x88, 0x84, 0x21, 0xA0, 0x13});
const std::string INTRA = Nal({0x41, 0x88, 0x99, 0x21, 0xA0, 0x13, 0x77});
const std::string P = Nal({0x41, 0x9A, 0x24, 0x6C, 0x41, 0x7F, 0x55});
const std::string PMORE = Nal({0x41, 0x04, 0x9A, 0x24, 0x6C, 0x41, 0x7F});

const std::string VPS5 = Nal({0x40, 0x01, 0x0C, 0x01, 0xFF, 0xFF, 0x01, 0x60});
const std::string SPS5 = Nal({0x42, 0x01, 0x01, 0x01, 0x60, 0x03, 0x7F});
const std::string PPS5 = Nal({0x44, 0x01, 0xC1, 0x73, 0xD1});
const std::string AUD5 = Nal({0x46, 0x01, 0x50});
const std::string SEI5 = Nal({0x4E, 0x01, 0x05, 0x01, 0x80, 0x80});
const std::string SUFFIX5 = Nal({0x50, 0x01, 0x84, 0x01, 0x80, 0x80});
const std::string IDR5 = Nal({0x26, 0x01, 0xAF, 0x09, 0x40, 0xFD, 0x31});
const std::string CRA5 = Nal({0x2A, 0x01, 0xAF, 0x09, 0x40, 0xFD, 0x31});
const std::string P5 = Nal({0x02, 0x01, 0xD0, 0x09, 0x7E, 0x10, 0x61});
const std::string P5_MORE = Nal({0x02, 0x01, 0x50, 0x09, 0x7E, 0x10, 0x61});

}  // namespace nal

namespace ps {

std::string Pack() {
    return Bytes({0, 0, 1, 0xBA, 0x44, 0, 4, 0, 4, 1, 1, 0x89, 0xC3, 0xFA, 0xFF, 0xFF});
}
std::string Mpeg1Pack() {
    return Bytes({0, 0, 1, 0xBA, 0x21, 0, 1, 0, 1, 0x80, 0x1B, 0x91});
}
std::string SystemHeader() {
    return Unit(0xBB, Bytes({0x80, 0x1B, 0x91, 0x04, 0xE1, 0x7F, 0xE0, 0xE0, 0x80}));
}
std::string Map(int nStreamType) {
    return Unit(0xBC, Bytes({0xE0, 0xFF, 0, 0, 0, 8, 0x90, 0xC0, 0, 0, nStreamType, 0xE0, 0, 0, 1,
                             2, 3, 4}));
}
std::string Video(const std::string& strPayload) {
    return Unit(0xE0, PES_HEADER + strPayload);
}
std::string OpenVideo(const std::string& strPayload) {
    return Bytes({0, 0, 1, 0xE0, 0, 0}) + PES_HEADER + strPayload;
}
std::string Mpeg1Video(const std::string& strPayload) {
    return Unit(0xE0, Bytes({0xFF, 0xFF, 0x60, 0x20, 0x21, 0, 1, 0, 1}) + strPayload);
}
std::string Audio(std::size_t nSize) {
    return Unit(0xC0, PES_HEADER + std::string(nSize, '\x55'));
}
std::string Padding(std::size_t nSize) {
    return Unit(0xBE, std::string(nSize, '\xFF'));
}

std::string Camera(const std::vector<std::string>& vecFrame, const std::vector<bool>& vecKey,
                   int nStreamType, std::size_t nPesSize) {
    std::string strStream;
    for (std::size_t i = 0; i < vecFrame.size(); ++i) {
        strStream += Pack() + (vecKey[i] ? SystemHeader() + Map(nStreamType) : std::string());
        for (std::size_t n = 0; n < vecFrame[i].size(); n += nPesSize) {
            strStream += Video(vecFrame[i].substr(n, nPesSize));
        }
        strStream += Audio(160);
    }
    return strStream;
}

}  // namespace ps
