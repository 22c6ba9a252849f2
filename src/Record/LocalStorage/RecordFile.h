// A file that is recorded to: written, kept in few pieces, and made durable again and again.

#ifndef LOCALSTORAGE_RECORD_RECORDFILE_H
#define LOCALSTORAGE_RECORD_RECORDFILE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "LocalStorage/DiskSync.h"
#include "Osl/Osl.h"

/// Closes itself. One thread at a time.
class CRecordFile {
public:
    /// None.
    CRecordFile() = default;
    /// Takes over an open file. `pSynced` (may be null: it is not synced) is its place in the sync
    /// of its disk; `nReserveStep` bytes are reserved ahead whenever the last ones are used up (0:
    /// none).
    CRecordFile(OSL_FileHandle hFile, std::shared_ptr<CSyncedFile> pSynced,
                std::uint64_t nReserveStep);
    CRecordFile(CRecordFile&& other) noexcept;
    CRecordFile& operator=(CRecordFile&& other) noexcept;
    ~CRecordFile() { Close(); }

    bool IsOpen() const { return m_hFile != OSL_INVALID_FILE; }

    /// Appends; `nWritten` receives how many bytes came through, also on failure. False: see
    /// OSL_GetSystemLastError.
    bool Write(const char* pBuf, std::size_t nSize, std::size_t& nWritten) {
        if (nSize > m_nReserved) ReserveAhead();  // a block beyond it would lie apart
        const bool bDone = OSL_WriteFile(m_hFile, pBuf, nSize, &nWritten) == 0;
        if (m_pSynced) m_pSynced->NoteWritten();
        m_nReserved -= std::min<std::uint64_t>(nWritten, m_nReserved);
        return bDone;
    }

    /// Closes, and gives back what is reserved when the content is durable; nothing, when it is
    /// closed already. 0, or the system's error number.
    int Close();

private:
    void ReserveAhead();
    /// A handle to give back the space later; OSL_INVALID_FILE when there is nothing left to.
    OSL_FileHandle LeaveReserved();

    OSL_FileHandle m_hFile = OSL_INVALID_FILE;
    std::shared_ptr<CSyncedFile> m_pSynced;
    std::uint64_t m_nReserveStep = 0;
    std::uint64_t m_nReserved = 0;  // and not written yet
    bool m_bGiveBack = false;
};

#endif  // LOCALSTORAGE_RECORD_RECORDFILE_H
