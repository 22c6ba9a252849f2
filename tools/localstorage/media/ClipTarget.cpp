#include "media/ClipTarget.h"

#include <filesystem>

#include "base/Failure.h"

namespace {

constexpr int BUFFER_SIZE = 64 << 10;

}  // namespace

CClipFile::~CClipFile() {
    if (!m_pFile) return;
    avio_closep(&m_pFile);
    std::error_code stError;
    std::filesystem::remove(m_strPart, stError);
}

AVIOContext* CClipFile::Open(int& nError) {
    nError = avio_open(&m_pFile, m_strPart.c_str(), AVIO_FLAG_WRITE);
    return m_pFile;
}

void CClipFile::Finish() {
    if (const int nResult = avio_closep(&m_pFile); nResult < 0) {
        throw CFailure("cannot write " + m_strPart + ": " + AvErrorText(nResult));
    }
    std::error_code stError;
    std::filesystem::rename(m_strPart, m_strPath, stError);
    if (stError) {
        throw CFailure("cannot rename " + m_strPart + " to " + m_strPath + ": " +
                       stError.message());
    }
}

int CClipStream::Take(void* pStream, std::uint8_t* pData, int nSize) noexcept {
    try {
        static_cast<CClipStream*>(pStream)->m_fnTake(
            {reinterpret_cast<const char*>(pData), static_cast<std::size_t>(nSize)});
        return nSize;
    } catch (const std::exception&) {
        return AVERROR(EPIPE);
    }
}

AVIOContext* CClipStream::Open(int& nError) {
    m_pOut = MakeIo(BUFFER_SIZE, this, {.fnWrite = Take});
    nError = m_pOut ? 0 : AVERROR(ENOMEM);
    return m_pOut.get();
}

void CClipStream::Finish() {
    avio_flush(m_pOut.get());
    if (m_pOut->error < 0) throw CFailure("cannot send the clip: " + AvErrorText(m_pOut->error));
}
