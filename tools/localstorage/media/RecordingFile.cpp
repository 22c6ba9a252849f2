#include "media/RecordingFile.h"

#include <thread>

#include "base/Failure.h"

namespace {

constexpr int READ_SIZE = 64 << 10;
/// So late, at most, is noticed what was written.
constexpr auto LOOK_AGAIN = std::chrono::milliseconds(100);

}  // namespace

CRecordingFile::CRecordingFile(const std::string& strPath, GrowsFunction fnGrows,
                               const std::atomic<bool>& bStop)
    : m_objFile(strPath), m_fnGrows(std::move(fnGrows)), m_bStop(bStop) {
    m_pInput = MakeIo(READ_SIZE, this, {.fnRead = Read, .fnSeek = Grows() ? nullptr : Seek});
    if (!m_pInput) throw CFailure("no memory to open " + strPath);
}

int CRecordingFile::Read(void* pFile, std::uint8_t* pData, int nSize) noexcept {
    try {
        return static_cast<CRecordingFile*>(pFile)->ReadNext(
            {reinterpret_cast<char*>(pData), static_cast<std::size_t>(nSize)});
    } catch (const std::exception&) {
        return AVERROR(EIO);
    }
}

int CRecordingFile::ReadNext(std::span<char> stBuffer) {
    for (;;) {
        const bool bGrows = Grows();  // asked before: what is written until it ends is read
        const std::size_t nRead = m_objFile.Read(m_nAt, stBuffer);
        m_nAt += nRead;
        if (nRead > 0) return static_cast<int>(nRead);
        if (m_bStop) return AVERROR_EXIT;
        if (!bGrows) {
            EndWhereItEnds();  // FFmpeg reads again at an end, and would wait for each answer
            return AVERROR_EOF;
        }
        std::this_thread::sleep_for(LOOK_AGAIN);
    }
}

std::int64_t CRecordingFile::Seek(void* pFile, std::int64_t nTo, int nWhence) noexcept {
    auto& objFile = *static_cast<CRecordingFile*>(pFile);
    return SeekIn(objFile.m_objFile, objFile.m_nAt, nTo, nWhence);
}
