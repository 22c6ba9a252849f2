#include "LocalStorage/Disks.h"

#include <algorithm>
#include <numeric>

#include "LocalStorage/DiskChoice.h"
#include "Log/LogText.h"
#include "Osl/Osl.h"

void CDisks::Assign(const std::list<std::string>& lsRecDir, bool bCycWrite) {
    m_vRecDirs.clear();
    for (const std::string& strRecDir : lsRecDir) {
        const bool bTwice = std::count(m_vRecDirs.begin(), m_vRecDirs.end(), strRecDir) > 0;
        if (!bTwice) m_vRecDirs.push_back(strRecDir);
    }
    m_bCycWrite = bCycWrite;
    OSL_Guard guard(m_mtxDisks);
    m_vLooks.assign(m_vRecDirs.size(), diskLook());
    m_nCurrent = 0;
}

std::string CDisks::Current() const {
    return m_vRecDirs.empty() ? std::string() : m_vRecDirs[CurrentNumber()];
}

std::size_t CDisks::CurrentNumber() const {
    OSL_Guard guard(m_mtxDisks);
    return m_nCurrent;
}

bool CDisks::IsOnCurrent(const std::string& strPath) const {
    return NumberOf(strPath) == CurrentNumber();
}

// Of directories below one another the longest holds the file.
std::size_t CDisks::NumberOf(const std::string& strPath) const {
    std::size_t nFound = m_vRecDirs.size();
    for (std::size_t n = 0; n < m_vRecDirs.size(); ++n) {
        const std::string& strRecDir = m_vRecDirs[n];
        if (!strPath.starts_with(strRecDir) || strPath[strRecDir.size()] != '/') continue;
        if (nFound < m_vRecDirs.size() && strRecDir.size() < m_vRecDirs[nFound].size()) continue;
        nFound = n;
    }
    return nFound;
}

diskLook CDisks::CurrentLook() const {
    OSL_Guard guard(m_mtxDisks);
    return m_vLooks[m_nCurrent];
}

diskLook CDisks::LookAtCurrent() {
    return Look(CurrentNumber());
}

// The disk is asked without the lock, and what fails meanwhile is not forgotten.
diskLook CDisks::Look(std::size_t nDisk) {
    const auto getFailure = [&] {
        OSL_Guard guard(m_mtxDisks);
        return m_vLooks[nDisk].nFailure;
    };
    const int nFailure = getFailure();
    diskLook stLook = m_ask(m_vRecDirs[nDisk], nFailure);
    if (nFailure != 0 && stLook.nFailure == 0) {
        LogText("[wtb][CLocalStorage::RetryFailedDisks] disk can be written again, strRecDir [%s/]",
                m_vRecDirs[nDisk].c_str());
    }
    OSL_Guard guard(m_mtxDisks);
    if (m_vLooks[nDisk].nFailure != nFailure) stLook.nFailure = m_vLooks[nDisk].nFailure;
    return m_vLooks[nDisk] = stLook;
}

CDisks::Room CDisks::FindRoom() {
    std::vector<std::size_t> vOrder = InUse();
    const auto itCurrent = std::find(vOrder.begin(), vOrder.end(), CurrentNumber());
    std::rotate(vOrder.begin(), itCurrent, itCurrent + 1);
    return TakeFirstWithRoom(vOrder);
}

bool CDisks::ChooseAgain() {
    return TakeFirstWithRoom(InUse()) != Room::None;
}

CDisks::Room CDisks::TakeFirstWithRoom(const std::vector<std::size_t>& vOrder) {
    const auto it = std::find_if(vOrder.begin(), vOrder.end(),
                                 [this](std::size_t nDisk) { return !IsDiskFull(Look(nDisk)); });
    if (it == vOrder.end()) return Room::None;
    OSL_Guard guard(m_mtxDisks);
    return std::exchange(m_nCurrent, *it) == *it ? Room::Here : Room::Moved;
}

std::vector<std::size_t> CDisks::InUse() const {
    if (!m_bCycWrite) return {CurrentNumber()};
    std::vector<std::size_t> vNumbers(m_vRecDirs.size());
    std::iota(vNumbers.begin(), vNumbers.end(), std::size_t{0});
    return vNumbers;
}

std::uint64_t CDisks::UsableSpace() const {
    const std::vector<std::size_t> vInUse = InUse();
    OSL_Guard guard(m_mtxDisks);
    std::uint64_t nSum = 0;
    for (const std::size_t nDisk : vInUse) nSum += m_vLooks[nDisk].nUsableSpace.value_or(0);
    return nSum;
}

std::vector<std::string> CDisks::BeyondHelp() const {
    OSL_Guard guard(m_mtxDisks);
    std::vector<std::string> vRecDirs;
    for (std::size_t n = 0; n < m_vRecDirs.size(); ++n) {
        const bool bInUse = m_bCycWrite || n == m_nCurrent;
        if (!bInUse || !CanDeletingHelp(m_vLooks[n])) vRecDirs.push_back(m_vRecDirs[n]);
    }
    return vRecDirs;
}

void CDisks::NoteFailure(const std::string& strPath, int nError) {
    const std::size_t nDisk = NumberOf(strPath);
    if (!IsDiskError(nError) || nDisk == m_vRecDirs.size()) return;
    {
        OSL_Guard guard(m_mtxDisks);
        if (m_vLooks[nDisk].nFailure != 0) return;
        m_vLooks[nDisk].nFailure = nError;
    }
    char szError[128];
    LogText(
        "[wtb][CLocalStorage::NoteDiskFailure] disk counts as full until it can be written "
        "again, strPath [%s], error [%s]",
        strPath.c_str(), OSL_ErrorText(nError, szError, sizeof(szError)));
}
