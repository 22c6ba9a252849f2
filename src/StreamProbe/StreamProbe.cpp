// The VEXANA_ calls: where packets lie, and what is kept from piece to piece.

#include "StreamProbe/StreamProbe.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "StreamProbe/StreamSplitter.h"

namespace {

// What is undecided when a piece arrives, and behind it what the piece leaves: packets that point
// into the first stay valid until the next piece. Not touched before it is needed.
constexpr std::size_t HOLD_SIZE = 2 * MAX_UNDECIDED;

}  // namespace

struct VEXANA_Stream {
public:
    bool Create(const char* pHead, std::size_t nHeadLen);
    int Input(const char* pData, std::size_t nSize);
    int Flush();
    int GetPacket(VEXANA_PACKET& stPacket);

private:
    struct freeMemory {
        void operator()(char* pMemory) const { std::free(pMemory); }
    };

    bool ReadToMark(frameMark& stMark);
    bool ReadOn();
    const char* At(std::uint64_t nPos) const;
    void Give(std::uint64_t nEnd, VEXANA_PACKET& stPacket);
    void KeepRest();
    void DropGiven();
    void Restart();

    CStreamSplitter m_objSplitter;
    ECodec m_eHint = ECodec::Unknown;
    bool m_bAllTaken = true;
    bool m_bEnded = false;

    // Positions in the stream: what the hold has, what the piece has, what was given out.
    std::unique_ptr<char, freeMemory> m_pHold;
    std::uint64_t m_nHoldPos = 0;
    std::size_t m_nHeld = 0;
    std::size_t m_nGiven = 0;  ///< bytes at the front of the hold that are of no more use
    const char* m_pPiece = nullptr;
    std::uint64_t m_nPiecePos = 0;
    std::size_t m_nPieceSize = 0;
    std::uint64_t m_nNext = 0;
    std::uint32_t m_nNextType = VEXANA_FRAME_OTHER;
};

bool VEXANA_Stream::Create(const char* pHead, std::size_t nHeadLen) {
    CStartCodeStream objHead;
    while (objHead.GetCursor() < nHeadLen) {
        objHead.Read(reinterpret_cast<const std::uint8_t*>(pHead) + objHead.GetCursor(),
                     nHeadLen - objHead.GetCursor());
    }
    objHead.Finish();
    m_eHint = objHead.GetCodec();
    m_objSplitter.SetHint(m_eHint);
    m_pHold.reset(static_cast<char*>(std::malloc(HOLD_SIZE)));
    return m_pHold != nullptr;
}

int VEXANA_Stream::Input(const char* pData, std::size_t nSize) {
    if (!m_bAllTaken || (pData == nullptr && nSize > 0)) return VEXANA_FAILED;
    DropGiven();
    m_pPiece = pData;
    m_nPieceSize = nSize;
    m_bAllTaken = false;
    return VEXANA_OK;
}

int VEXANA_Stream::Flush() {
    const int nResult = Input(nullptr, 0);
    m_bEnded = m_bEnded || nResult == VEXANA_OK;
    return nResult;
}

int VEXANA_Stream::GetPacket(VEXANA_PACKET& stPacket) {
    frameMark stMark{};
    while (!m_bAllTaken && ReadToMark(stMark)) {
        if (m_nNext < stMark.nPos) {
            Give(stMark.nPos, stPacket);
            return VEXANA_OK;
        }
        m_objSplitter.DropMark();
        m_nNextType = stMark.bKeyFrame ? VEXANA_FRAME_I : VEXANA_FRAME_OTHER;
    }
    const std::uint64_t nDecided = m_bAllTaken ? m_nNext : m_objSplitter.GetDecided();
    if (m_nNext < nDecided) {
        Give(nDecided, stPacket);
        return VEXANA_OK;
    }
    KeepRest();
    return VEXANA_NO_PACKET;
}

// Reads up to the next frame; false when there is none.
bool VEXANA_Stream::ReadToMark(frameMark& stMark) {
    while (!m_objSplitter.PeekMark(stMark)) {
        if (!ReadOn()) return false;
    }
    return true;
}

// The splitter may go back into what is held. False when all was read; at the end of the stream,
// when all is decided.
bool VEXANA_Stream::ReadOn() {
    const std::uint64_t nPos = m_objSplitter.GetCursor(), nEnd = m_nPiecePos + m_nPieceSize;
    if (nPos < nEnd) {
        const bool bHeld = nPos < m_nPiecePos;
        m_objSplitter.Read(reinterpret_cast<const std::uint8_t*>(At(nPos)),
                           static_cast<std::size_t>((bHeld ? m_nPiecePos : nEnd) - nPos));
        return true;
    }
    if (!m_bEnded || m_objSplitter.GetDecided() == nEnd) return false;
    m_objSplitter.Finish();
    return true;
}

const char* VEXANA_Stream::At(std::uint64_t nPos) const {
    return nPos < m_nPiecePos ? m_pHold.get() + (nPos - m_nHoldPos)
                              : m_pPiece + (nPos - m_nPiecePos);
}

// A packet up to `nEnd`, or to the end of the hold when it begins there.
void VEXANA_Stream::Give(std::uint64_t nEnd, VEXANA_PACKET& stPacket) {
    const bool bHeld = m_nNext < m_nPiecePos;
    stPacket.pData = At(m_nNext);
    nEnd = bHeld ? std::min(nEnd, m_nPiecePos) : nEnd;
    stPacket.nLength = static_cast<std::size_t>(nEnd - m_nNext);
    stPacket.nFrameType = m_nNextType;
    m_nNext = nEnd;
    m_nNextType = VEXANA_FRAME_CONTINUE;
}

// Copies what is undecided of the piece behind what is held.
void VEXANA_Stream::KeepRest() {
    if (m_bAllTaken) return;
    m_bAllTaken = true;
    if (m_bEnded) {
        Restart();
        return;
    }
    const std::uint64_t nFrom = std::max(m_nNext, m_nPiecePos);
    const std::uint64_t nEnd = m_nPiecePos + m_nPieceSize;
    const auto nRest = static_cast<std::size_t>(nEnd - nFrom);
    m_nGiven = m_nNext < m_nPiecePos ? static_cast<std::size_t>(m_nNext - m_nHoldPos) : m_nHeld;
    if (nRest > 0) std::memcpy(m_pHold.get() + m_nHeld, m_pPiece + (nFrom - m_nPiecePos), nRest);
    m_nHeld += nRest;
    m_nPiecePos = nEnd;
    m_nPieceSize = 0;
}

void VEXANA_Stream::DropGiven() {
    m_nHeld -= m_nGiven;
    if (m_nGiven > 0) std::memmove(m_pHold.get(), m_pHold.get() + m_nGiven, m_nHeld);
    m_nGiven = 0;
    m_nHoldPos = m_nPiecePos - m_nHeld;
}

void VEXANA_Stream::Restart() {
    m_objSplitter = CStreamSplitter();
    m_objSplitter.SetHint(m_eHint);
    m_bEnded = false;
    m_nGiven = m_nHeld;
    m_nPiecePos = 0;
    m_nNext = 0;
    m_nNextType = VEXANA_FRAME_OTHER;
}

int VEXANA_CreateStreamEx(const char* pHead, std::size_t nHeadLen, VEXANA_Handle* pStream) {
    if (pStream == nullptr) return VEXANA_FAILED;
    std::unique_ptr<VEXANA_Stream> pNew(new (std::nothrow) VEXANA_Stream);
    if (pNew == nullptr || !pNew->Create(pHead, pHead == nullptr ? 0 : nHeadLen)) {
        *pStream = nullptr;
        return VEXANA_FAILED;
    }
    *pStream = pNew.release();
    return VEXANA_OK;
}

int VEXANA_InputData(VEXANA_Handle hStream, const char* pData, std::size_t nSize) {
    return hStream == nullptr ? VEXANA_FAILED : hStream->Input(pData, nSize);
}

int VEXANA_GetOnePacketEx(VEXANA_Handle hStream, VEXANA_PACKET& stPacket) {
    return hStream == nullptr ? VEXANA_NO_PACKET : hStream->GetPacket(stPacket);
}

int VEXANA_Flush(VEXANA_Handle hStream) {
    return hStream == nullptr ? VEXANA_FAILED : hStream->Flush();
}

void VEXANA_Destroy(VEXANA_Handle hStream) {
    delete hStream;
}
