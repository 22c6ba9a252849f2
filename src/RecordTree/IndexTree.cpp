#include "RecordTree/IndexTree.h"

#include <iterator>
#include <utility>

#include "RecordTree/Names.h"

const indexChannel* indexDay::Find(std::string_view strChannel) const {
    const auto it = mByName.find(strChannel);
    return it == mByName.end() ? nullptr : &*it->second;
}

indexDay* CIndexTree::NewDay(const indexLevel1Body& stDay) {
    const auto [it, bNew] = m_mDays.try_emplace(stDay.stDate);
    if (!bNew) return nullptr;
    it->second.strName = GetDirName(stDay.stDate);
    it->second.nVersion = m_nVersion;
    m_nDaysVersion = m_nVersion;
    return &it->second;
}

indexChannel* CIndexTree::NewChannel(indexDay& day, const indexLevel2Body& stChannel) {
    std::string strName = GetDirName(stChannel);
    if (day.mByName.count(strName) > 0) return nullptr;
    indexChannel& channel = day.lsChannels.emplace_back();
    channel.stBody = stChannel;
    channel.strName = std::move(strName);
    channel.nVersion = m_nVersion;
    day.mByName.emplace(channel.strName, std::prev(day.lsChannels.end()));
    day.nVersion = m_nVersion;
    return &channel;
}

bool CIndexTree::Add(const indexLevel1Body& stDay, const indexLevel2Body& stChannel,
                     const indexLevel3Body& stFile) {
    const auto itDay = m_mDays.find(stDay.stDate);
    indexDay* pDay = itDay == m_mDays.end() ? nullptr : &itDay->second;
    indexChannel* pChannel = nullptr;
    if (pDay) {
        const auto itChannel = pDay->mByName.find(GetDirName(stChannel));
        if (itChannel != pDay->mByName.end()) pChannel = &*itChannel->second;
    }
    if (!pChannel) {
        NewVersion();
        if (!pDay) pDay = NewDay(stDay);
        pChannel = NewChannel(*pDay, stChannel);
    }
    if (!pChannel->objFiles.Change().Add(stFile)) return false;
    pChannel->nVersion = NewVersion();
    return true;
}

bool CIndexTree::Remove(const indexLevel1Body& stDay, const indexLevel2Body& stChannel,
                        const indexLevel3Body& stFile) {
    const auto itDay = m_mDays.find(stDay.stDate);
    if (itDay == m_mDays.end()) return false;
    const auto itChannel = itDay->second.mByName.find(GetDirName(stChannel));
    if (itChannel == itDay->second.mByName.end()) return false;
    indexChannel& channel = *itChannel->second;
    if (!channel.objFiles.Change().Remove(stFile)) return false;
    channel.nVersion = NewVersion();
    if (channel.objFiles->size() == 0) RemoveChannel(itDay, itChannel->second);
    return true;
}

void CIndexTree::RemoveChannel(Days::iterator itDay, std::list<indexChannel>::iterator itChannel) {
    indexDay& day = itDay->second;
    day.mByName.erase(itChannel->strName);
    day.lsChannels.erase(itChannel);
    day.nVersion = m_nVersion;
    if (day.lsChannels.empty()) {
        m_mDays.erase(itDay);
        m_nDaysVersion = m_nVersion;
    }
}

void CIndexTree::RemoveDay(const indexLevel1Body& stDay) {
    if (m_mDays.erase(stDay.stDate) > 0) m_nDaysVersion = NewVersion();
}

bool CIndexTree::Find(const dateInfo& stDate, std::string_view strChannel,
                      indexLevel3Body& stFile) const {
    const auto itDay = m_mDays.find(stDate);
    if (itDay == m_mDays.end()) return false;
    const indexChannel* pChannel = itDay->second.Find(strChannel);
    return pChannel && pChannel->objFiles->Find(stFile);
}

std::size_t CIndexTree::CountFiles() const {
    std::size_t nFiles = 0;
    for (const auto& [stDate, day] : m_mDays) {
        for (const indexChannel& channel : day.lsChannels) nFiles += channel.objFiles->size();
    }
    return nFiles;
}

indexSnapshot CIndexTree::TakeSnapshot(std::uint64_t nSince) const {
    indexSnapshot snapshot;
    snapshot.nVersion = m_nVersion;
    snapshot.bDays = m_nDaysVersion > nSince;
    for (const auto& [stDate, day] : m_mDays) {
        if (snapshot.bDays) snapshot.vDays.push_back({stDate});
        if (day.nVersion > nSince) {
            auto& channels = snapshot.vChannels.emplace_back();
            channels.strDay = day.strName;
            for (const indexChannel& channel : day.lsChannels) {
                channels.vBodies.push_back(channel.stBody);
            }
        }
        for (const indexChannel& channel : day.lsChannels) {
            if (channel.nVersion > nSince) {
                snapshot.vFiles.push_back({day.strName, channel.strName, channel.objFiles});
            }
        }
    }
    return snapshot;
}
