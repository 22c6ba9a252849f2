#include "Streams.h"

#include <algorithm>
#include <stdexcept>

namespace {

void Require(bool bGood, const char* szWhat) {
    if (!bGood) throw std::logic_error(szWhat);
}

/// Takes every packet there is of the piece just given.
void TakeAll(VEXANA_Handle hStream, const std::vector<char>& vPiece, StreamResult& stResult) {
    const char* const pBegin = vPiece.data();
    VEXANA_PACKET stPacket;
    while (VEXANA_GetOnePacketEx(hStream, stPacket) == VEXANA_OK) {
        Require(stPacket.nLength > 0, "an empty packet");
        const bool bCopied = stPacket.pData < pBegin || stPacket.pData >= pBegin + vPiece.size();
        if (bCopied) stResult.nCopied += stPacket.nLength;
        if (stPacket.nFrameType != MORE) {
            stResult.vMark.emplace_back(stResult.strBytes.size(), stPacket.nFrameType);
        }
        stResult.strBytes.append(stPacket.pData, stPacket.nLength);
    }
}

}  // namespace

StreamResult Analyse(const std::string& strStream, std::size_t nFirst, std::size_t nRest) {
    constexpr std::size_t MOST_HELD = std::size_t{4} << 20;
    static VEXANA_Handle hStream = nullptr;  // lives as long as the process
    const bool bThere = hStream || VEXANA_CreateStreamEx(nullptr, 0, &hStream) == VEXANA_OK;
    Require(bThere, "no analyser");
    StreamResult stResult;
    std::vector<char> vPiece;
    for (std::size_t i = 0, n = nFirst; i < strStream.size(); i += vPiece.size(), n = nRest) {
        n = std::min(n, strStream.size() - i);
        // Of its own size, so that AddressSanitizer sees who reads beyond it.
        vPiece = std::vector<char>(&strStream[i], &strStream[i] + n);
        Require(VEXANA_InputData(hStream, vPiece.data(), n) == VEXANA_OK, "input refused");
        TakeAll(hStream, vPiece, stResult);
        Require(i + n - stResult.strBytes.size() <= MOST_HELD, "too much is held");
    }
    Require(VEXANA_Flush(hStream) == VEXANA_OK, "flush refused");
    TakeAll(hStream, {}, stResult);
    return stResult;
}

std::vector<std::size_t> KeyFrames(const StreamMarks& vMark) {
    std::vector<std::size_t> vPos;
    for (const auto& [nPos, nType] : vMark) {
        if (nType == KEY) vPos.push_back(nPos);
    }
    return vPos;
}

std::vector<std::size_t> KeyFrames(const std::string& strStream) {
    return KeyFrames(Analyse(strStream).vMark);
}

std::string DifferenceWhenCut(const std::string& strStream, const std::vector<std::size_t>& vPiece,
                              std::size_t nCuts) {
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

std::string Bytes(const std::vector<int>& vByte) {
    return {vByte.begin(), vByte.end()};
}

std::string Nal(const std::vector<int>& vByte) {
    return Bytes({0, 0, 0, 1}) + Bytes(vByte);
}

std::string Unit(int nCode, const std::string& strRest) {
    const int nLength = static_cast<int>(strRest.size());
    return Bytes({0, 0, 1, nCode, nLength >> 8, nLength & 0xFF}) + strRest;
}

std::string Pes(int nCode, const std::string& strPayload) {
    return Unit(nCode, Bytes({0x80, 0x80, 5, 0x21, 0, 1, 0, 1}) + strPayload);
}

std::string Video(const std::string& strPayload) {
    return Pes(0xE0, strPayload);
}

std::string Map(int nStreamType) {
    return Unit(0xBC, Bytes({0xE0, 0xFF, 0, 0, 0, 8, 0x90, 0xC0, 0, 0, nStreamType, 0xE0, 0, 0, 1,
                             2, 3, 4}));
}

std::string Camera(const std::vector<Part>& vFrame, int nStreamType, std::size_t nPesSize) {
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
