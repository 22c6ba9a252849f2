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

recordChannel::~recordChannel() {
    if (hStream) VEXANA_Destroy(hStream);
}

// Looks the channel up anew after every wait: meanwhile it may be gone, and another in its place.
ChannelMap::value_type* CChannelTable::WaitForClaim(const channelKeyView* pKey) {
    OSL_Guard guard(m_mtxChannel);
    OSL_WaitLock lock{m_mtxChannel};
    for (;;) {
        const auto it = pKey ? m_mChannel.find(*pKey) : m_mChannel.begin();
        if (it == m_mChannel.end()) return nullptr;
        if (it->second.nClaim.exchange(CLAIM_AWAITED, std::memory_order_acquire) == CLAIM_FREE) {
            return &*it;
        }
        m_cvUnclaimed.wait(lock);
    }
}

// Takes the mutex so that no waiter stands between its look and its sleep.
void CChannelTable::WakeWaiters() {
    OSL_Guard guard(m_mtxChannel);
    m_cvUnclaimed.notify_all();
}

ChannelMap::value_type* CChannelTable::Find(const channelKeyView& key) {
    OSL_Guard guard(m_mtxChannel);
    const auto it = m_mChannel.find(key);
    return it == m_mChannel.end() ? nullptr : &*it;
}

CChannelClaim CChannelTable::ClaimAny() {
    return {*this, WaitForClaim(nullptr)};
}

recordChannel& CChannelTable::Insert(const channelKey& key, void* pUser, CRecordFile objRecFile,
                                     const std::string& strRecFilePath, std::time_t tNow) {
    OSL_Guard guard(m_mtxChannel);
    recordChannel& channel = m_mChannel.try_emplace(key, key.strCameraID, pUser).first->second;
    channel.objRecFile = std::move(objRecFile);
    channel.strRecFilePath = strRecFilePath;
    channel.tCreateTime = tNow;
    OSL_Guard guardFiles(m_mtxFiles);
    m_setWriting.insert(strRecFilePath);
    return channel;
}

void CChannelTable::Remove(const channelKey& key) {
    ChannelMap::node_type node;  // destroyed without the mutex: that closes files
    OSL_Guard guard(m_mtxChannel);
    node = m_mChannel.extract(m_mChannel.find(key));
    m_cvUnclaimed.notify_all();
    OSL_Guard guardFiles(m_mtxFiles);
    ForgetFile(node.mapped().strRecFilePath);
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
    OSL_Guard guard(m_table.m_mtxFiles);
    m_table.ForgetFile(m_strPath);
}

CReservedChannel::CReservedChannel(CChannelTable& table, const channelKey& key)
    : m_table(table), m_key(key) {
    OSL_Guard guard(m_table.m_mtxChannel);
    m_bReserved = !m_table.m_mChannel.contains(m_key) && m_table.m_setReserved.insert(m_key).second;
}

CReservedChannel::~CReservedChannel() {
    if (!m_bReserved) return;
    OSL_Guard guard(m_table.m_mtxChannel);
    m_table.m_setReserved.erase(m_key);
}

std::uint32_t CChannelTable::WriteSpeed(std::time_t tNow) const {
    OSL_Guard guard(m_mtxChannel);
    std::uint32_t nSum = 0;
    for (const auto& [key, channel] : m_mChannel) nSum += MeanRate(channel, tNow);
    return nSum;
}
