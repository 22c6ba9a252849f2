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

void CClipDownload::Prepare(AVFormatContext& st) {
    st.opaque = this;
    st.io_open = OpenAgain;
    st.io_close2 = CloseAgain;
}

AVIOContext* CClipDownload::Open(int& nError) {
    m_stOut.pIo = MakeIo(BUFFER_SIZE, &m_stOut, {.fnWrite = Write, .fnSeek = Seek});
    nError = m_stOut.pIo ? 0 : AVERROR(ENOMEM);
    return m_stOut.pIo.get();
}

int CClipDownload::OpenAgain(AVFormatContext* pFormat, AVIOContext** ppIo, const char*, int,
                             AVDictionary**) noexcept {
    place& st = static_cast<CClipDownload*>(pFormat->opaque)->m_stAgain;
    st.nAt = 0;
    st.pIo = MakeIo(BUFFER_SIZE, &st, {.fnRead = Read, .fnSeek = Seek});
    *ppIo = st.pIo.get();
    return st.pIo ? 0 : AVERROR(ENOMEM);
}

int CClipDownload::CloseAgain(AVFormatContext* pFormat, AVIOContext*) noexcept {
    static_cast<CClipDownload*>(pFormat->opaque)->m_stAgain.pIo.reset();
    return 0;
}

int CClipDownload::Read(void* pPlace, std::uint8_t* pData, int nSize) noexcept {
    try {
        auto& st = *static_cast<place*>(pPlace);
        const std::size_t nRead = st.objFile.Read(
            st.nAt, {reinterpret_cast<char*>(pData), static_cast<std::size_t>(nSize)});
        st.nAt += nRead;
        return nRead > 0 ? static_cast<int>(nRead) : AVERROR_EOF;
    } catch (const std::exception&) {
        return AVERROR(EIO);
    }
}

int CClipDownload::Write(void* pPlace, std::uint8_t* pData, int nSize) noexcept {
    auto& st = *static_cast<place*>(pPlace);
    try {
        st.objFile.Write(st.nAt,
                         {reinterpret_cast<const char*>(pData), static_cast<std::size_t>(nSize)});
        st.nAt += static_cast<std::uint64_t>(nSize);
        return nSize;
    } catch (const CFailure& error) {
        st.strFault = error.what();
        return AVERROR(EIO);
    }
}

std::int64_t CClipDownload::Seek(void* pPlace, std::int64_t nTo, int nWhence) noexcept {
    auto& st = *static_cast<place*>(pPlace);
    return SeekIn(st.objFile, st.nAt, nTo, nWhence);
}

void CClipDownload::Finish() {
    avio_flush(m_stOut.pIo.get());
    if (m_stOut.pIo->error < 0) {
        throw CFailure("cannot write " + m_strName + ": " + AvErrorText(m_stOut.pIo->error));
    }
}
