#include "LocalStorage/RecordFile.h"

#include <limits>
#include <utility>

CRecordFile::CRecordFile(OSL_FileHandle hFile, std::shared_ptr<CSyncedFile> pSynced,
                         std::uint64_t nReserveStep)
    : m_hFile(hFile), m_pSynced(std::move(pSynced)), m_nReserveStep(nReserveStep) {
    ReserveAhead();
}

CRecordFile::CRecordFile(CRecordFile&& other) noexcept {
    *this = std::move(other);
}

CRecordFile& CRecordFile::operator=(CRecordFile&& other) noexcept {
    if (this == &other) return *this;
    Close();
    m_hFile = std::exchange(other.m_hFile, OSL_INVALID_FILE);
    m_pSynced = std::move(other.m_pSynced);
    m_nReserveStep = other.m_nReserveStep;
    m_nReserved = other.m_nReserved;
    m_bGiveBack = other.m_bGiveBack;
    return *this;
}

// A disk that reserves nothing, or has nothing left to reserve, is not asked again for this file.
void CRecordFile::ReserveAhead() {
    const bool bReserved = m_nReserveStep > 0 && OSL_ReserveSpace(m_hFile, m_nReserveStep) == 0;
    m_nReserved = bReserved ? m_nReserveStep : std::numeric_limits<std::uint64_t>::max();
    m_bGiveBack |= bReserved;
}

// The file system keeps for the file what is not given back: now, or when the file was synced.
OSL_FileHandle CRecordFile::LeaveReserved() {
    if (!m_bGiveBack) return OSL_INVALID_FILE;
    const OSL_FileHandle hLater = m_pSynced ? OSL_DuplicateFile(m_hFile) : OSL_INVALID_FILE;
    if (hLater == OSL_INVALID_FILE) OSL_GiveBackSpace(m_hFile);
    return hLater;
}

int CRecordFile::Close() {
    if (!IsOpen()) return 0;
    const OSL_FileHandle hReserved = LeaveReserved();
    const int nResult = OSL_CloseFile(std::exchange(m_hFile, OSL_INVALID_FILE));
    const int nError = nResult == 0 ? 0 : OSL_GetSystemLastError();
    if (m_pSynced) m_pSynced->Close(hReserved);
    m_pSynced.reset();
    return nError;
}
