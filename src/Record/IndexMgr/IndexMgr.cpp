#include "IndexMgr/IndexMgr.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <set>
#include <utility>
#include <vector>

#include "FileSystem/FileSystem.h"
#include "IndexMgr/Index.h"
#include "IndexMgr/IndexLog.h"
#include "IndexMgr/KestrelIndex.h"
#include "IndexMgr/RecDirName.h"
#include "IndexMgr/RecordDir.h"
#include "Osl/Osl.h"
#include "RecordTree/Names.h"

/// One record directory. Exactly one of the two indexes is there, by the storage type.
struct CIndexMgr::Entry {
    explicit Entry(const std::string& strPath) : objDir(strPath) {}

    CRecordDir objDir;
    std::unique_ptr<CIndex> pIndex;
    std::unique_ptr<CKestrelIndex> pKestrel;
    const char* pReadUnder = nullptr;  // the record folder's name when pIndex was read
};

namespace {

std::string WithoutOneSlash(const std::string& strPath) {
    const bool bSlash = !strPath.empty() && strPath.back() == '/';
    return strPath.substr(0, strPath.size() - (bSlash ? 1 : 0));
}

}  // namespace

CIndexMgr::CIndexMgr() : CIndexMgr(STORAGE_TYPE_RECORD) {}

CIndexMgr::CIndexMgr(StorageType enumStorageType) : m_enumStorageType(enumStorageType) {}

CIndexMgr::~CIndexMgr() = default;

int CIndexMgr::Initialize(const std::list<std::string>& lsRecDir) {
    if (m_enumStorageType > STORAGE_TYPE_KESTREL) return 0;
    for (const std::string& strRecDir : lsRecDir) {
        const int nResult = AddDirectory(WithoutOneSlash(strRecDir));
        if (nResult != 0) return nResult;
    }
    return 0;
}

int CIndexMgr::AddDirectory(const std::string& strPath) {
    if (FindEntry(strPath)) return 0;
    std::unique_ptr<Entry> pEntry(new (std::nothrow) Entry(strPath));
    if (!pEntry) return 1;
    pEntry->objDir.Make();
    for (const auto& [strOther, pOther] : m_mIndex) {
        if (!pOther->objDir.IsSame(pEntry->objDir)) continue;
        m_vAliases.emplace_back(strPath, pOther.get());
        return 0;
    }
    if (!pEntry->objDir.IsPresent()) return 1;
    const int nResult = OpenIndex(*pEntry);
    if (nResult != 0) return nResult;
    m_mIndex.emplace(strPath, std::move(pEntry));
    return RereadSwitched();
}

int CIndexMgr::OpenIndex(Entry& entry) {
    if (m_enumStorageType == STORAGE_TYPE_KESTREL) {
        entry.pKestrel.reset(new (std::nothrow)
                                 CKestrelIndex(entry.objDir.GetPath(), &entry.objDir));
        return entry.pKestrel ? 0 : 1;
    }
    entry.pIndex.reset(new (std::nothrow) CIndex(&entry.objDir));
    if (!entry.pIndex) return 1;
    const int nResult = entry.pIndex->Initialize(entry.objDir.GetPath());
    entry.pReadUnder = RecDirName();
    return nResult;
}

// A directory that made the process switch to another record folder leaves the ones before it read
// under the wrong name: they are read again, and not flushed under the new one.
int CIndexMgr::RereadSwitched() {
    for (const auto& [strPath, pEntry] : m_mIndex) {
        if (!pEntry->pIndex || pEntry->pReadUnder == RecDirName()) continue;
        pEntry->pIndex->Abandon();
        const int nResult = OpenIndex(*pEntry);
        if (nResult != 0) return nResult;
    }
    return 0;
}

void CIndexMgr::Release() {
    for (const auto& [strPath, pEntry] : m_mIndex) {
        if (pEntry->pIndex) pEntry->pIndex->Release();
    }
    m_vAliases.clear();
    m_mIndex.clear();
}

// The directories are few; their names compare without trailing slashes.
CIndexMgr::Entry* CIndexMgr::FindEntry(std::string_view strRecDir) const {
    strRecDir = WithoutTrailingSlashes(strRecDir);
    for (const auto& [strPath, pEntry] : m_mIndex) {
        if (WithoutTrailingSlashes(strPath) == strRecDir) return pEntry.get();
    }
    for (const auto& [strPath, pEntry] : m_vAliases) {
        if (WithoutTrailingSlashes(strPath) == strRecDir) return pEntry;
    }
    return nullptr;
}

CIndexMgr::CChange::CChange(const CIndexMgr& mgr, std::string_view strRecDir)
    : m_pIndex(mgr.FindIndex(strRecDir)) {
    if (m_pIndex) m_pIndex->BeginChange();
}

CIndexMgr::CChange::~CChange() {
    if (m_pIndex && std::uncaught_exceptions() == m_nExceptions) m_pIndex->EndChange();
}

bool CIndexMgr::ParseRecFilePath(const std::string& strRecFilePath, std::string& strPrevPath,
                                 indexLevel1Body& stLevel1, indexLevel2Body& stLevel2,
                                 indexLevel3Body& stLevel3) const {
    recFilePath stPath;
    if (!SplitRecFilePath(strRecFilePath, stPath) || stPath.strRecFolder != RecDirName()) {
        return false;
    }
    indexLevel1Body stDay;
    indexLevel2Body stChannel;
    if (!ConvertStrDateToIndexLevel1Body(stPath.strDay, stDay) ||
        !ConvertStrChannelToIndexLevel2Body(stPath.strChannel, stChannel) ||
        !ConvertStrRecFileToIndexLevel3Body(stPath.strFile, stLevel3)) {
        return false;
    }
    strPrevPath = stPath.strRecDir;
    stLevel1 = stDay;
    stLevel2 = stChannel;
    return true;
}

void CIndexMgr::WriteIndex(const std::string& strRecFilePath, IndexType enumIndexType) {
    if (m_enumStorageType != STORAGE_TYPE_RECORD) return;
    if (enumIndexType != INDEX_TYPE_ADD && enumIndexType != INDEX_TYPE_DELETE) return;
    std::string strPrevPath;
    indexLevel1Body stLevel1;
    indexLevel2Body stLevel2;
    indexLevel3Body stLevel3;
    const bool bParsed =
        ParseRecFilePath(strRecFilePath, strPrevPath, stLevel1, stLevel2, stLevel3);
    if (!bParsed) {
        WriteLog(LOG_LEVEL_DBG, INDEX_LOG_SOURCE, __LINE__,
                 "[wtb][CIndexMgr::WriteIndex] ParseRecFilePath fail, strRecFilePath [%s]",
                 strRecFilePath.c_str());
    }
    Entry* pEntry = bParsed ? FindEntry(strPrevPath) : nullptr;
    if (!pEntry) {
        WriteLog(LOG_LEVEL_DBG, INDEX_LOG_SOURCE, __LINE__,
                 "[wtb][CIndexMgr::WriteIndex] m_mIndex.find(strPrevPath) == m_mIndex.end(), "
                 "strPrevPath [%s]",
                 strPrevPath.c_str());
        return;
    }
    pEntry->pIndex->WriteIndex(stLevel1, stLevel2, stLevel3,
                               static_cast<CIndex::IndexType>(enumIndexType));
}

bool CIndexMgr::ForgetMissingFile(const std::string& strRecFilePath) {
    OSL_FINFO_S stInfo;
    recFilePath stPath;
    if (!SplitRecFilePath(strRecFilePath, stPath)) return false;
    const bool bMissing =
        OSL_GetFileInfo(strRecFilePath.c_str(), stInfo) != 0 && OSL_GetSystemLastError() == ENOENT;
    Entry* const pEntry = FindEntry(stPath.strRecDir);
    if (!bMissing || !pEntry || !pEntry->objDir.IsPresent()) return false;
    WriteIndex(strRecFilePath, INDEX_TYPE_DELETE);
    return true;
}

int CIndexMgr::QueryRecFile(const std::string& strChannel, RecFileType enumRecFileType,
                            const fileTimeInfo& stStart, const fileTimeInfo& stEnd,
                            std::list<std::string>& lsRecFile) {
    indexLevel2Body stChannel;
    if (m_enumStorageType != STORAGE_TYPE_RECORD ||
        !ConvertStrChannelToIndexLevel2Body(strChannel, stChannel)) {
        return 0;
    }
    int nFiles = 0;
    for (const auto& [strPath, pEntry] : m_mIndex) {
        std::list<std::string> lsFound;
        nFiles += pEntry->pIndex->QueryRecFile(stChannel, enumRecFileType, stStart, stEnd, lsFound);
        // Recordings that begin together stand in the order in which they came.
        if (!std::is_sorted(lsFound.begin(), lsFound.end())) lsFound.sort();
        lsRecFile.merge(lsFound);
    }
    return nFiles;
}

// Asks every directory that is not passed over for its oldest day, and the one that is chosen for
// its files.
template <typename GetOldest, typename QueryOldest>
int CIndexMgr::QueryOldestDay(const char* pMethod, const std::vector<std::string>& vPassedOver,
                              GetOldest getOldest, QueryOldest queryOldest,
                              std::string& strOldestDir, std::string& strOldestDate,
                              std::list<std::string>& lsFile) {
    std::set<const Entry*> setPassedOver;
    for (const std::string& strRecDir : vPassedOver) setPassedOver.insert(FindEntry(strRecDir));
    std::vector<dayOffer> vOffers;
    std::vector<Entry*> vEntries;
    for (const auto& [strPath, pEntry] : m_mIndex) {
        dayOffer offer;
        if (setPassedOver.count(pEntry.get()) > 0 || !getOldest(*pEntry, offer)) continue;
        vOffers.push_back(offer);
        vEntries.push_back(pEntry.get());
    }
    if (vOffers.empty()) {
        WriteLog(LOG_LEVEL_DBG, INDEX_LOG_SOURCE, __LINE__,
                 "[wtb][CIndexMgr::%s] 0 == lsOldestDate.size()", pMethod);
        return 0;
    }
    std::string strDayDir;
    const int nFiles = queryOldest(*vEntries[ChooseOldestDay(vOffers)], strDayDir, lsFile);
    const std::size_t nSlash = strDayDir.rfind('/');
    if (nSlash == std::string::npos) return 0;  // the day went away between the two questions
    strOldestDir = strDayDir.substr(0, nSlash);
    strOldestDate = strDayDir.substr(nSlash + 1);
    return nFiles;
}

int CIndexMgr::QueryOldestRecFile(std::string& strOldestDir, std::string& strOldestDate,
                                  std::list<std::string>& lsRecFile,
                                  const passedOver& stPassedOver) {
    const auto ask = [&](const char* pMethod, auto pIndex) {
        return QueryOldestDay(
            pMethod, stPassedOver.vRecDirs,
            [&](Entry& entry, dayOffer& offer) {
                return (entry.*pIndex)
                    ->GetOldestDate(offer.strDate, offer.lTime, stPassedOver.setDays);
            },
            [&](Entry& entry, std::string& strDayDir, std::list<std::string>& lsFile) {
                return (entry.*pIndex)->QueryOldestRecFile(strDayDir, lsFile, stPassedOver.setDays);
            },
            strOldestDir, strOldestDate, lsRecFile);
    };
    switch (m_enumStorageType) {
        case STORAGE_TYPE_RECORD:
            return ask("QueryOldestRecFileForRemoteBackup", &Entry::pIndex);
        case STORAGE_TYPE_KESTREL:
            return ask("QueryOldestRecFileForKESTREL", &Entry::pKestrel);
        default:
            return 0;
    }
}

int CIndexMgr::QueryOldestImgFile(std::string& strOldestDir, std::string& strOldestDate,
                                  std::list<std::string>& lsImgFile,
                                  const passedOver& stPassedOver) {
    if (m_enumStorageType != STORAGE_TYPE_KESTREL) return 0;
    return QueryOldestDay(
        "QueryOldestImgFileForKESTREL", stPassedOver.vRecDirs,
        [&](Entry& entry, dayOffer& offer) {
            return entry.pKestrel->GetOldestImgDate(offer.strDate, offer.lTime,
                                                    stPassedOver.setDays);
        },
        [&](Entry& entry, std::string& strDayDir, std::list<std::string>& lsFile) {
            return entry.pKestrel->QueryOldestImgFile(strDayDir, lsFile, stPassedOver.setDays);
        },
        strOldestDir, strOldestDate, lsImgFile);
}

CIndex* CIndexMgr::FindIndex(std::string_view strRecDir) const {
    const Entry* pEntry = FindEntry(strRecDir);
    return pEntry ? pEntry->pIndex.get() : nullptr;
}

bool CIndexMgr::IsDirPresent(const std::string& strRecDir) const {
    Entry* const pEntry = FindEntry(strRecDir);
    return !pEntry || pEntry->objDir.IsPresent();
}

bool CIndexMgr::IsOtherName(const std::string& strRecDir) const {
    return m_mIndex.count(WithoutOneSlash(strRecDir)) == 0 && FindEntry(strRecDir) != nullptr;
}
