// The index of one record directory: its queries.

#include <cerrno>
#include <unordered_set>

#include "FileSystem/FileSystem.h"
#include "FileSystem/ForEachEntry.h"
#include "IndexMgr/Index.h"
#include "IndexMgr/IndexLog.h"
#include "IndexMgr/RecDirName.h"
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

// Appends the recordings in a day's folders that are not in `lsRecFile` yet. Folders that cannot be
// read have none to offer.
void AddUnlisted(const std::string& strDayDir, std::list<std::string>& lsRecFile) {
    const std::unordered_set<std::string_view> setListed(lsRecFile.begin(), lsRecFile.end());
    std::list<std::string> lsChannel, lsOther;
    if (!GetSubTargetList(strDayDir, lsChannel, lsOther)) EndPassOnShortage();
    std::string strPath;
    for (const std::string& strChannel : lsChannel) {
        const std::string strFolder = strDayDir + "/" + strChannel;
        const bool bWhole = ForEachEntry(strFolder, [&](const OSL_FIND_DATA& stData) {
            if (stData.wFileType == OSL_TYPE_DIR || !VerifyRecFile(stData.szName)) return;
            strPath.assign(strFolder).append("/").append(stData.szName);
            if (setListed.count(strPath) == 0) lsRecFile.push_back(strPath);
        });
        if (!bWhole) EndPassOnShortage();
    }
}

void LogNotReady(const char* pMethod, const char* pWhat, const std::string& strPrevRecPath) {
    WriteLog(LOG_LEVEL_DBG, INDEX_LOG_SOURCE, __LINE__,
             "[wtb][CIndex::%s] %s, m_strPrevRecPath [%s]", pMethod, pWhat, strPrevRecPath.c_str());
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

bool CIndex::GetOldestDate(std::string& strDate, long& lTime, const PassedOverDays& setPassedOver) {
    if (!m_bInit) {
        LogNotReady("GetOldestDate", "not initialized", m_strPrevRecPath);
        return false;
    }
    const std::string strFolder = GetRecordFolder();
    indexLevel1Body stDay;
    if (!FindOldestDay(strFolder, setPassedOver, stDay)) return false;
    strDate = GetDirName(stDay.stDate);
    OSL_FINFO_S stInfo;
    if (!GetFolderAttribute(strFolder, strDate, stInfo)) {
        if (OSL_GetSystemLastError() == ENOENT) ForgetDay(stDay);
        return false;
    }
    lTime = stInfo.tModify;
    return IsPresent();
}

// The first day of the index that is not passed over.
bool CIndex::FindOldestDay(const std::string& strFolder, const PassedOverDays& setPassedOver,
                           indexLevel1Body& stDay) {
    OSL_Guard guard(m_mutexIndex);
    if (m_objTree.IsEmpty()) {
        LogNotReady("GetOldestDate", "0 == m_lsIndexLevel1Body.size()", m_strPrevRecPath);
    }
    for (const auto& [stDate, day] : m_objTree.GetDays()) {
        if (setPassedOver.count(strFolder + "/" + day.strName) > 0) continue;
        stDay.stDate = stDate;
        return true;
    }
    return false;
}

// A day whose folder is gone leaves the index, unless the whole disk is gone.
void CIndex::ForgetDay(const indexLevel1Body& stDay) {
    if (!IsPresent()) return;
    OSL_Guard guard(m_mutexIndex);
    MakeMarker();
    m_objTree.RemoveDay(stDay);
    ForgetMarkerWithFolder();
}

int CIndex::QueryOldestRecFile(std::string& strOldestDir, std::list<std::string>& lsRecFile,
                               const PassedOverDays& setPassedOver) {
    std::string strDate;
    long lTime = 0;
    if (!GetOldestDate(strDate, lTime, setPassedOver)) {
        LogNotReady("QueryOldestRecFile", "GetOldestDate fail", m_strPrevRecPath);
        return 0;
    }
    strOldestDir = GetRecordFolder() + "/" + strDate;
    const std::size_t nBefore = lsRecFile.size();
    AddListedOfDay(strDate, strOldestDir, lsRecFile);
    AddUnlisted(strOldestDir, lsRecFile);
    return CountAdded(lsRecFile, nBefore);
}

void CIndex::AddListedOfDay(const std::string& strDate, const std::string& strDayDir,
                            std::list<std::string>& lsRecFile) {
    OSL_Guard guard(m_mutexIndex);
    for (const auto& [stDate, day] : m_objTree.GetDays()) {
        if (day.strName != strDate) continue;
        for (const indexChannel& channel : day.lsChannels) {
            CPathMaker paths(strDayDir, channel.strName);
            channel.objFiles->ForEach(
                [&](const indexLevel3Body& stFile) { paths.AddTo(lsRecFile, stFile); });
        }
        return;
    }
}
