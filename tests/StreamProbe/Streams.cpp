#include "Streams.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace {

void Require(bool bGood, const char* szWhat) {
    if (!bGood) throw std::logic_error(szWhat);
}

struct DestroyAnalyser {
    void operator()(VEXANA_Handle hStream) const { VEXANA_Destroy(hStream); }
};
using OwnedAnalyser = std::unique_ptr<VEXANA_Stream, DestroyAnalyser>;

OwnedAnalyser MakeAnalyser(const std::string& strHead) {
    VEXANA_Handle hStream = nullptr;
    const int nResult = VEXANA_CreateStreamEx(strHead.data(), strHead.size(), &hStream);
    Require(nResult == VEXANA_OK, "no analyser");
    return OwnedAnalyser(hStream);
}

/// Takes every packet there is of the piece just given.
void TakeAll(VEXANA_Handle hStream, const std::vector<char>& vecPiece, StreamResult& stResult) {
    const char* const pBegin = vecPiece.data();
    const char* pNext = nullptr;
    VEXANA_PACKET stPacket;
    while (VEXANA_GetOnePacketEx(hStream, stPacket) == VEXANA_OK) {
        Require(stPacket.nLength > 0, "an empty packet");
        const bool bCopied = stPacket.pData < pBegin || stPacket.pData >= pBegin + vecPiece.size();
        if (bCopied) stResult.nCopied += stPacket.nLength;
        Require(bCopied || !pNext || pNext == stPacket.pData, "packets that are no neighbours");
        if (!bCopied) pNext = stPacket.pData + stPacket.nLength;
        if (stPacket.nFrameType != VEXANA_FRAME_CONTINUE) {
            stResult.vecMark.push_back({stResult.strBytes.size(), stPacket.nFrameType});
        }
        stResult.strBytes.append(stPacket.pData, stPacket.nLength);
    }
}

}  // namespace

std::ostream& operator<<(std::ostream& os, const StreamMark& stMark) {
    return os << (stMark.nType == VEXANA_FRAME_I ? "I@" : "other@") << stMark.nPos;
}

StreamResult Analyse(const std::string& strStream, std::size_t nFirst, std::size_t nRest,
                     const std::string& strHead) {
    constexpr std::size_t MOST_HELD = std::size_t{4} << 20;
    static const OwnedAnalyser pShared = MakeAnalyser({});
    const OwnedAnalyser pOwn = strHead.empty() ? nullptr : MakeAnalyser(strHead);
    const VEXANA_Handle hStream = pOwn ? pOwn.get() : pShared.get();
    StreamResult stResult;
    std::vector<char> vecPiece;
    for (std::size_t i = 0, n = nFirst; i < strStream.size(); i += vecPiece.size(), n = nRest) {
        n = std::min(n, strStream.size() - i);
        // Of its own size, so that AddressSanitizer sees who reads beyond it.
        vecPiece = std::vector<char>(&strStream[i], &strStream[i] + n);
        Require(VEXANA_InputData(hStream, vecPiece.data(), n) == VEXANA_OK, "input refused");
        TakeAll(hStream, vecPiece, stResult);
        Require(i + n - stResult.strBytes.size() <= MOST_HELD, "too much is held");
    }
    Require(VEXANA_Flush(hStream) == VEXANA_OK, "flush refused");
    TakeAll(hStream, {}, stResult);
    return stResult;
}

std::vector<std::size_t> KeyFrames(const StreamMarks& vecMark) {
    std::vector<std::size_t> vecPos;
    for (const StreamMark& stMark : vecMark) {
        if (stMark.nType == VEXANA_FRAME_I) vecPos.push_back(stMark.nPos);
    }
    return vecPos;
}

std::vector<std::size_t> KeyFrames(const std::string& strStream) {
    return KeyFrames(Analyse(strStream).vecMark);
}

std::string DifferenceWhenCut(const std::string& strStream,
                              const std::vector<std::size_t>& vecPiece, std::size_t nCuts) {
    const StreamMarks vecWhole = Analyse(strStream).vecMark;
    const auto Differs = [&](std::size_t nFirst, std::size_t nRest) {
        const StreamResult stCut = Analyse(strStream, nFirst, nRest);
        return stCut.strBytes != strStream || stCut.vecMark != vecWhole;
    };
    if (Differs(WHOLE, WHOLE)) return "bytes lost or changed";
    for (const std::size_t nPiece : vecPiece) {
        if (Differs(nPiece, nPiece)) return "pieces of " + std::to_string(nPiece);
    }
    for (std::size_t n = 1; n < strStream.size(); n += 1 + strStream.size() / nCuts) {
        if (Differs(n, WHOLE)) return "cut at " + std::to_string(n);
    }
    return {};
}

std::string Bytes(const std::vector<int>& vecByte) {
    return {vecByte.begin(), vecByte.end()};
}

namespace nal {

std::string Nal(const std::vector<int>& vecByte) {
    return Bytes({0, 0, 0, 1}) + Bytes(vecByte);
}

}  // namespace nal

namespace ps {

std::string Unit(int nCode, const std::string& strRest) {
    const int nLength = static_cast<int>(strRest.size());
    return Bytes({0, 0, 1, nCode, nLength >> 8, nLength & 0xFF}) + strRest;
}

static std::string Pes(const std::string& strPayload) {
    return Bytes({0x80, 0x80, 5, 0x21, 0, 1, 0, 1}) + strPayload;
}

std::string Video(const std::string& strPayload) {
    return Unit(0xE0, Pes(strPayload));
}
std::string OpenVideo(const std::string& strPayload) {
    return Unit(0xE0, "") + Pes(strPayload);
}
std::string Mpeg1Video(const std::string& strPayload) {
    return Unit(0xE0, Bytes({0xFF, 0xFF, 0x60, 0x20, 0x21, 0, 1, 0, 1}) + strPayload);
}
std::string Audio(std::size_t nSize) {
    return Unit(0xC0, Pes(std::string(nSize, '\x55')));
}
std::string Map(int nStreamType) {
    return Unit(0xBC, Bytes({0xE0, 0xFF, 0, 0, 0, 8, 0x90, 0xC0, 0, 0, nStreamType, 0xE0, 0, 0, 1,
                             2, 3, 4}));
}

std::string Camera(const std::vector<Part>& vecFrame, int nStreamType, std::size_t nPesSize) {
    std::string strStream;
    for (const Part& stFrame : vecFrame) {
        strStream += PACK;
        if (stFrame.nType == KEY) strStream += SYSTEM_HEADER + Map(nStreamType);
        for (std::size_t n = 0; n < stFrame.strBytes.size(); n += nPesSize) {
            strStream += Video(stFrame.strBytes.substr(n, nPesSize));
        }
        strStream += Audio(160);
    }
    return strStream;
}

}  // namespace ps
