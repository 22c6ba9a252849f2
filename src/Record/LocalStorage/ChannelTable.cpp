#include "LocalStorage/ChannelTable.h"

#include <algorithm>

#include "LocalStorage/FileOpening.h"

namespace {

// A channel that began in this second counts as one second old.
std::uint32_t MeanRate(const recordChannel& channel, std::time_t tNow) {
    const auto tElapsed = std::max<std::time_t>(tNow - channel.tCreateTime, 1);
    return static_cast<std::uint32_t>((channel.nWrittenSize >> 10) /
                                      static_cast<std::uint64_t>(tElapsed));
}

}  // namespace

recordChannel::recordChannel(const std::string& strCamera, void* pHostUser)
    : strCameraID(strCamera), pUser(pHostUser) {}

recordChannel::~recordChannel() {
    if (hStream) VEXANA_Destroy(hStream);
}

CChannelClaim CChannelTable::ClaimUnhinted(const channelKeyView& key, std::size_t nHash) {
    {
        OSL_Guard guard(m_mtxChannel);
        const auto it = m_setOpen.find(key);
        if (it == m_setOpen.end()) return {*this, nullptr};
        HintOf(nHash).store(*it, std::memory_order_release);
        if (TryClaim(**it)) return {*this, *it};
    }
    return {*this, WaitForClaim(&key)};
}

// Looks the channel up anew after every wait: meanwhile it may be gone, and another in its place.
channelEntry* CChannelTable::WaitForClaim(const channelKeyView* pKey) {
    OSL_Guard guard(m_mtxChannel);
    OSL_WaitLock lock{m_mtxChannel};
    for (;;) {
        const auto it = pKey ? m_setOpen.find(*pKey) : m_setOpen.begin();
        if (it == m_setOpen.end()) return nullptr;
        channelEntry& entry = **it;
        if (entry.nClaim.exchange(channelEntry::AWAITED, std::memory_order_acquire) ==
            channelEntry::FREE) {
            return &entry;
        }
        m_cvUnclaimed.wait(lock);
    }
}

// Takes the mutex so that no waiter stands between its look and its sleep.
void CChannelTable::WakeWaiters() {
    OSL_Guard guard(m_mtxChannel);
    m_cvUnclaimed.notify_all();
}

channelEntry* CChannelTable::Find(const channelKeyView& key) const {
    OSL_Guard guard(m_mtxChannel);
    const auto it = m_setOpen.find(key);
    return it == m_setOpen.end() ? nullptr : *it;
}

CChannelClaim CChannelTable::ClaimAny() {
    return {*this, WaitForClaim(nullptr)};
}

// Of those that had a channel before, if there is one.
channelEntry& CChannelTable::GetFree() {
    if (m_vFree.empty()) {
        m_vFree.reserve(m_lsEntries.size() + 1);  // of all: removing a channel finds room
        m_vFree.push_back(&m_lsEntries.emplace_back());
    }
    return *m_vFree.back();
}

CChannelClaim CChannelTable::Insert(const channelKey& key, void* pUser, CRecordFile objRecFile,
                                    CProtectedFile& objProtected, std::time_t tNow) {
    OSL_Guard guard(m_mtxChannel);
    channelEntry& entry = GetFree();
    entry.key = key;
    entry.nHash.store(channelKeyHash()(key), std::memory_order_relaxed);
    recordChannel& channel = entry.channel.emplace(key.strCameraID, pUser);
    m_setOpen.insert(&entry);
    m_vFree.pop_back();
    channel.objRecFile = std::move(objRecFile);
    channel.strRecFilePath.swap(objProtected.m_strPath);
    channel.tCreateTime = tNow;
    return {*this, &entry};
}

void CChannelTable::Remove(channelEntry& entry) {
    {
        OSL_Guard guard(m_mtxChannel);
        m_setOpen.erase(&entry);
        m_cvUnclaimed.notify_all();
        OSL_Guard guardFiles(m_mtxFiles);
        ForgetFile(entry.channel->strRecFilePath);
    }
    entry.channel.reset();  // without the mutex: that closes files
    OSL_Guard guard(m_mtxChannel);
    m_vFree.push_back(&entry);
}

void CChannelTable::EndSwitch(recordChannel& channel, const std::string& strPath) {
    OSL_Guard guard(m_mtxFiles);
    ForgetFile(channel.strRecFilePath);
    channel.strRecFilePath.clear();
    if (!channel.objRecFile.IsOpen()) return;
    channel.strRecFilePath = strPath;
    m_setWriting.insert(strPath);
}

void CChannelTable::ForgetFile(const std::string& strPath) {
    const auto it = m_setWriting.find(strPath);
    if (it != m_setWriting.end()) m_setWriting.erase(it);
}

bool CChannelTable::IsWriting(const std::string& strPath) const {
    OSL_Guard guard(m_mtxFiles);
    return m_setWriting.count(strPath) > 0;
}

CProtectedFile::CProtectedFile(CChannelTable& table, const std::string& strPath)
    : m_table(table), m_strPath(strPath) {
    OSL_Guard guard(m_table.m_mtxFiles);
    m_table.m_setWriting.insert(m_strPath);
}

CProtectedFile::~CProtectedFile() {
    if (m_strPath.empty()) return;
    OSL_Guard guard(m_table.m_mtxFiles);
    m_table.ForgetFile(m_strPath);
}

CReservedChannel::CReservedChannel(CChannelTable& table, const channelKey& key)
    : m_table(table), m_key(key) {
    OSL_Guard guard(m_table.m_mtxChannel);
    m_bReserved = !m_table.m_setOpen.contains(m_key) && m_table.m_setReserved.insert(m_key).second;
}

CReservedChannel::~CReservedChannel() {
    if (!m_bReserved) return;
    OSL_Guard guard(m_table.m_mtxChannel);
    m_table.m_setReserved.erase(m_key);
}

std::uint32_t CChannelTable::WriteSpeed(std::time_t tNow) const {
    OSL_Guard guard(m_mtxChannel);
    std::uint32_t nSum = 0;
    for (const channelEntry* pEntry : m_setOpen) nSum += MeanRate(*pEntry->channel, tNow);
    return nSum;
}
