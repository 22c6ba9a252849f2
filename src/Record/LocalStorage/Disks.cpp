#include "LocalStorage/Disks.h"

#include <algorithm>
#include <numeric>

#include "LocalStorage/DiskChoice.h"
#include "Log/LogText.h"
#include "Osl/Osl.h"

void CDisks::Assign(const std::list<std::string>& lsRecDir, bool bCycWrite) {
    m_vRecDirs.clear();
    m_vAskers.clear();
    for (const std::string& strRecDir : lsRecDir) {
        const bool bTwice = std::count(m_vRecDirs.begin(), m_vRecDirs.end(), strRecDir) > 0;
        if (bTwice) continue;
        m_vAskers.push_back(m_makeAsker(strRecDir));
        m_vRecDirs.push_back(strRecDir);
    }
    m_bCycWrite = bCycWrite;
    OSL_Guard guard(m_mtxDisks);
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

std::string CDisks::DirectoryOf(const std::string& strPath) const {
    const std::size_t nDisk = NumberOf(strPath);
    return nDisk == m_vRecDirs.size() ? std::string() : m_vRecDirs[nDisk];
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
    return m_vAskers[CurrentNumber()]->LastLook();
}

diskLook CDisks::LookAtCurrent() {
    CDiskAsker& asker = *m_vAskers[CurrentNumber()];
    asker.Await(asker.Ask(), CDiskAsker::Clock::now() + m_patience);
    return asker.LastLook();
}

CDisks::Asked CDisks::AskInUse(Prefer ePrefer) {
    Asked vAsked;
    for (const std::size_t nDisk : InUse(ePrefer)) {
        vAsked.emplace_back(m_vAskers[nDisk].get(), m_vAskers[nDisk]->Ask());
    }
    return vAsked;
}

void CDisks::Ask(Prefer ePrefer) {
    const auto end = CDiskAsker::Clock::now() + m_patience;
    for (const auto& [pAsker, nQuestion] : AskInUse(ePrefer)) {
        pAsker->Await(nQuestion, end);
        if (!IsDiskFull(pAsker->LastLook())) return;
    }
}

void CDisks::AskOthers() {
    for (std::size_t n = 0; !m_bCycWrite && n < m_vAskers.size(); ++n) {
        if (n != CurrentNumber()) m_vAskers[n]->Ask();
    }
}

void CDisks::AwaitAll() {
    for (const auto& [pAsker, nQuestion] : AskInUse(Prefer::First)) {
        pAsker->Await(nQuestion, CDiskAsker::Clock::time_point::max());
    }
}

CDisks::Room CDisks::Choose(Prefer ePrefer) {
    for (const std::size_t nDisk : InUse(ePrefer)) {
        if (IsDiskFull(m_vAskers[nDisk]->LastLook())) continue;
        OSL_Guard guard(m_mtxDisks);
        return std::exchange(m_nCurrent, nDisk) == nDisk ? Room::Here : Room::Moved;
    }
    return Room::None;
}

bool CDisks::ChooseAgain() {
    Ask(Prefer::First);
    return Choose(Prefer::First) != Room::None;
}

bool CDisks::HasAnother(const std::string& strRecDir) const {
    const std::vector<std::size_t> vInUse = InUse(Prefer::First);
    return std::any_of(vInUse.begin(), vInUse.end(), [&](std::size_t nDisk) {
        return m_vRecDirs[nDisk] != strRecDir && !m_vAskers[nDisk]->LastLook().bSilent;
    });
}

std::vector<std::size_t> CDisks::InUse(Prefer ePrefer) const {
    const std::size_t nCurrent = CurrentNumber();
    if (!m_bCycWrite) return {nCurrent};
    std::vector<std::size_t> vNumbers(m_vRecDirs.size());
    std::iota(vNumbers.begin(), vNumbers.end(), std::size_t{0});
    if (ePrefer == Prefer::Current) {
        std::rotate(vNumbers.begin(), vNumbers.begin() + static_cast<std::ptrdiff_t>(nCurrent),
                    vNumbers.begin() + static_cast<std::ptrdiff_t>(nCurrent) + 1);
    }
    return vNumbers;
}

std::uint64_t CDisks::UsableSpace() const {
    std::uint64_t nSum = 0;
    for (const std::size_t nDisk : InUse(Prefer::First)) {
        nSum += m_vAskers[nDisk]->LastLook().nUsableSpace.value_or(0);
    }
    return nSum;
}

std::vector<std::string> CDisks::BeyondHelp() const {
    const std::size_t nCurrent = CurrentNumber();
    std::vector<std::string> vRecDirs;
    for (std::size_t n = 0; n < m_vRecDirs.size(); ++n) {
        const bool bInUse = m_bCycWrite || n == nCurrent;
        if (!bInUse || !CanDeletingHelp(m_vAskers[n]->LastLook())) {
            vRecDirs.push_back(m_vRecDirs[n]);
        }
    }
    return vRecDirs;
}

std::shared_ptr<const std::atomic<std::int64_t>> CDisks::LastSilence(
    const std::string& strRecDir) const {
    const auto it = std::find(m_vRecDirs.begin(), m_vRecDirs.end(), strRecDir);
    return m_vAskers[static_cast<std::size_t>(it - m_vRecDirs.begin())]->LastSilence();
}

void CDisks::NoteFailure(const std::string& strPath, int nError) {
    const std::size_t nDisk = NumberOf(strPath);
    if (!IsDiskError(nError) || nDisk == m_vRecDirs.size()) return;
    if (!m_vAskers[nDisk]->NoteFailure(nError)) return;
    char szError[128];
    LogText(
        "[wtb][CLocalStorage::NoteDiskFailure] disk counts as full until it can be written "
        "again, strPath [%s], error [%s]",
        strPath.c_str(), OSL_ErrorText(nError, szError, sizeof(szError)));
}
