// The index of one record directory: its queries.

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <unordered_set>
#include <utility>

#include "FileSystem/FileSystem.h"
#include "FileSystem/ForEachEntry.h"
#include "IndexMgr/Index.h"
#include "Log/LogText.h"
#include "RecordTree/Names.h"

namespace {

// Makes the paths of the files of one channel folder, in one buffer.
class CPathMaker {
public:
    CPathMaker(const std::string& strDay, const std::string& strChannel)
        : m_strPath(strDay + "/" + strChannel + "/"), m_nFolder(m_strPath.size()) {
        m_strPath.resize(m_nFolder + REC_FILE_NAME_BUFFER);
    }

    void AddTo(std::list<std::string>& lsPath, const indexLevel3Body& stFile) {
        const std::size_t nName = FormatRecFileName(stFile, m_strPath.data() + m_nFolder);
        lsPath.emplace_back(m_strPath.data(), m_nFolder + nName);
    }

private:
    std::string m_strPath;
    const std::size_t m_nFolder;
};

int CountAdded(const std::list<std::string>& lsPath, std::size_t nBefore) {
    return static_cast<int>(lsPath.size() - nBefore);
}

// Appends the recordings in a day's folders that are not in `vFiles` yet. Folders that cannot be
// read have none to offer.
void AddUnlisted(const dayFolder& stDay, std::vector<recordPath>& vFiles) {
    std::unordered_set<std::string_view> setListed;
    for (const recordPath& stPath : vFiles) setListed.insert(stPath.strPath);
    std::vector<recordPath> vUnlisted;
    std::list<std::string> lsChannel, lsOther;
    if (!GetSubTargetList(stDay.Path(), lsChannel, lsOther)) {
        PassOverUnreadable("CIndex::ListDay", stDay.Path());
    }
    for (const std::string& strChannel : lsChannel) {
        const CChannelFolder folder(stDay, strChannel);
        const bool bWhole = ForEachEntry(folder.Path(), [&](const OSL_FIND_DATA& stData) {
            indexLevel3Body stFile;
            if (stData.wFileType == OSL_TYPE_DIR ||
                !ConvertStrRecFileToIndexLevel3Body(stData.szName, stFile)) {
                return;
            }
            recordPath stPath = folder.Recording(stFile);
            if (setListed.count(stPath.strPath) == 0) vUnlisted.push_back(std::move(stPath));
        });
        if (!bWhole) PassOverUnreadable("CIndex::ListDay", folder.Path());
    }
    std::move(vUnlisted.begin(), vUnlisted.end(), std::back_inserter(vFiles));
}

void LogNotReady(const char* pMethod, const char* pWhat, const std::string& strPrevRecPath) {
    LogText("[wtb][CIndex::%s] %s, m_strPrevRecPath [%s]", pMethod, pWhat, strPrevRecPath.c_str());
}

}  // namespace

int CIndex::QueryRecFile(const indexLevel2Body& stChannel, RecFileType enumRecFileType,
                         const fileTimeInfo& stStart, const fileTimeInfo& stEnd,
                         std::list<std::string>& lsRecFile) {
    if (!m_bInit) {
        LogNotReady("QueryRecFile", "not initialized", m_strPrevRecPath);
        return 0;
    }
    const std::size_t nBefore = lsRecFile.size();
    const std::string strFolder = GetRecordFolder() + "/";
    const std::string strChannel = GetDirName(stChannel);
    OSL_Guard guard(m_mutexIndex);
    const CIndexTree::Days& days = m_objTree.GetDays();
    for (auto it = days.lower_bound(stStart.GetDate());
         it != days.end() && it->first <= stEnd.GetDate(); ++it) {
        const indexChannel* pChannel = it->second.Find(strChannel);
        if (!pChannel) continue;
        CPathMaker paths(strFolder + it->second.strName, strChannel);
        pChannel->objFiles->ForEachInQuery(stStart, stEnd, [&](const indexLevel3Body& stFile) {
            if (VerifyRecFileType(stFile.enumRecFileType, enumRecFileType)) {
                paths.AddTo(lsRecFile, stFile);
            }
        });
    }
    return CountAdded(lsRecFile, nBefore);
}

bool CIndex::GetOldestDate(const PassedOverDays& setPassedOver, dayOffer& offer) {
    if (!m_bInit) {
        LogNotReady("GetOldestDate", "not initialized", m_strPrevRecPath);
        return false;
    }
    offer.stDay = {m_strPrevRecPath, m_pFolder, std::string(), dateInfo()};
    if (!FindOldestDay(setPassedOver, offer.stDay)) return false;
    OSL_FINFO_S stInfo;
    if (!GetFolderAttribute(offer.stDay.Tree(), offer.stDay.strDay, stInfo)) {
        if (OSL_GetSystemLastError() == ENOENT) {
            ForgetDay(offer.stDay.stDate);
        } else {
            PassOverUnreadable("CIndex::GetOldestDate", offer.stDay.Path());
        }
        return false;
    }
    offer.lTime = stInfo.tModify;
    return IsPresent();
}

// Fills in the first day of the index that is not passed over.
bool CIndex::FindOldestDay(const PassedOverDays& setPassedOver, dayFolder& stDay) {
    OSL_Guard guard(m_mutexIndex);
    if (m_objTree.IsEmpty()) {
        LogNotReady("GetOldestDate", "0 == m_lsIndexLevel1Body.size()", m_strPrevRecPath);
    }
    for (const auto& [stDate, day] : m_objTree.GetDays()) {
        stDay.strDay = day.strName;
        stDay.stDate = stDate;
        if (setPassedOver.count(stDay.Path()) == 0) return true;
    }
    return false;
}

// A day whose folder is gone leaves the index, unless the whole disk is gone.
void CIndex::ForgetDay(const dateInfo& stDate) {
    if (!IsPresent()) return;
    BeginChange();
    {
        OSL_Guard guard(m_mutexIndex);
        m_objTree.RemoveDay({stDate});
        ForgetMarkerWithFolder();
    }
    EndChange();
}

void CIndex::ListDay(const dayFolder& stDay, std::vector<recordPath>& vFiles) {
    AddListed(stDay, vFiles);
    AddUnlisted(stDay, vFiles);
}

void CIndex::AddListed(const dayFolder& stDay, std::vector<recordPath>& vFiles) {
    OSL_Guard guard(m_mutexIndex);
    const auto itDay = m_objTree.GetDays().find(stDay.stDate);
    if (itDay == m_objTree.GetDays().end()) return;
    for (const indexChannel& channel : itDay->second.lsChannels) {
        const CChannelFolder folder(stDay, channel.stBody);
        channel.objFiles->ForEach(
            [&](const indexLevel3Body& stFile) { vFiles.push_back(folder.Recording(stFile)); });
    }
}
