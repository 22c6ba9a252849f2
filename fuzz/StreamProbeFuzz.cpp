// Gives each input to the analyser whole and cut in many ways; aborts when anything but the size of
// the packets differs. One analyser serves all, so a flush must leave nothing behind.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "StreamProbe/StreamProbe.h"

namespace {

constexpr std::size_t MAX_CUT_EVERYWHERE = 300;

struct Outcome {
    std::string strBytes;
    std::vector<std::pair<std::size_t, std::uint32_t>> vecMark;
    bool operator==(const Outcome&) const = default;
};

void TakeAll(VEXANA_Handle hStream, Outcome& stOutcome) {
    VEXANA_PACKET stPacket;
    while (VEXANA_GetOnePacketEx(hStream, stPacket) == VEXANA_OK) {
        if (stPacket.nFrameType != VEXANA_FRAME_CONTINUE) {
            stOutcome.vecMark.emplace_back(stOutcome.strBytes.size(), stPacket.nFrameType);
        }
        stOutcome.strBytes.append(stPacket.pData, stPacket.nLength);
    }
}

VEXANA_Handle MakeAnalyser() {
    VEXANA_Handle hStream = nullptr;
    if (VEXANA_CreateStreamEx(nullptr, 0, &hStream) != VEXANA_OK) std::abort();
    return hStream;
}

// The first piece has `nFirst` bytes, the others `nRest`. Each is a block of memory of its own.
Outcome Run(const std::string& strInput, std::size_t nFirst, std::size_t nRest) {
    static const VEXANA_Handle hStream = MakeAnalyser();
    Outcome stOutcome;
    for (std::size_t i = 0, n = nFirst; i < strInput.size(); i += n, n = nRest) {
        n = std::min(n, strInput.size() - i);
        const std::unique_ptr<char[]> pPiece(new char[n]);
        strInput.copy(pPiece.get(), n, i);
        VEXANA_InputData(hStream, pPiece.get(), n);
        TakeAll(hStream, stOutcome);
    }
    VEXANA_Flush(hStream);
    TakeAll(hStream, stOutcome);
    return stOutcome;
}

void Check(bool bGood, const char* szWhat, std::size_t nCut) {
    if (!bGood) {
        std::fprintf(stderr, "%s, cut %zu\n", szWhat, nCut);
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string strInput(reinterpret_cast<const char*>(pData), nSize);
    const Outcome stWhole = Run(strInput, nSize, nSize);
    Check(stWhole.strBytes == strInput, "bytes lost or changed", 0);
    for (std::size_t nPiece : {1, 2, 3, 5, 64}) {
        Check(Run(strInput, nPiece, nPiece) == stWhole, "pieces differ", nPiece);
    }
    const std::size_t nStep = 1 + nSize / MAX_CUT_EVERYWHERE;
    for (std::size_t nCut = 1; nCut < nSize; nCut += nStep) {
        Check(Run(strInput, nCut, nSize) == stWhole, "halves differ", nCut);
    }
    return 0;
}
