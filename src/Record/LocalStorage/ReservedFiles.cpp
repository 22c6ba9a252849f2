#include "LocalStorage/ReservedFiles.h"

#include <cstddef>
#include <exception>

namespace {

// Of the handles that a process may have, these are lent from its host.
constexpr std::size_t MOST_FILES = 64;

}  // namespace

bool CReservedFiles::Add(const std::string& strPath, OSL_FileHandle hFile) try {
    OSL_Guard guard(m_mtx);
    return m_mClosed.size() < MOST_FILES && m_mClosed.try_emplace(strPath, hFile).second;
} catch (const std::exception&) {
    return false;
}

void CReservedFiles::Take() {
    OSL_Guard guard(m_mtx);
    m_mTaken.merge(m_mClosed);
}

// Without the lock: nobody who closes a file waits for the disk.
void CReservedFiles::GiveBack() {
    for (;;) {
        Files::node_type file;
        {
            OSL_Guard guard(m_mtx);
            if (m_mTaken.empty()) return;
            file = m_mTaken.extract(m_mTaken.begin());
            m_pInHand = &file.key();
        }
        OSL_GiveBackSpace(file.mapped().Get());
        OSL_Guard guard(m_mtx);
        m_pInHand = nullptr;
        m_given.notify_all();
    }
}

void CReservedFiles::Leave(const std::string& strPath) {
    Files::node_type closed, taken;  // closed without the lock
    OSL_Guard guard(m_mtx);
    OSL_WaitLock lock{m_mtx};
    closed = m_mClosed.extract(strPath);
    taken = m_mTaken.extract(strPath);
    while (m_pInHand && *m_pInHand == strPath) m_given.wait(lock);
}
