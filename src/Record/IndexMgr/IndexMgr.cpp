#include "IndexMgr/IndexMgr.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <set>
#include <utility>
#include <vector>

#include "FileSystem/FileSystem.h"
#include "IndexMgr/BackupFolder.h"
#include "IndexMgr/Index.h"
#include "IndexMgr/KestrelIndex.h"
#include "IndexMgr/RecDirName.h"
#include "IndexMgr/RecordDir.h"
#include "Log/LogText.h"
#include "Osl/Osl.h"
#include "RecordTree/Names.h"
#include "RecordTree/ReservedSpace.h"

/// One record directory, with the binary index or those of the client layout.
struct CIndexMgr::Entry {
    explicit Entry(const std::string& strPath) : objDir(strPath) {}

    CRecordDir objDir;
    std::unique_ptr<CIndex> pIndex;
    std::unique_ptr<CKestrelIndex> pRecordings, pPictures;

    COldestDays& GetDays(StoreFileType eKind) const {
        if (pIndex) return *pIndex;
        return eKind == STORE_FILE_IMAGE ? *pPictures : *pRecordings;
    }
};

CIndexMgr::CIndexMgr() : CIndexMgr(STORAGE_TYPE_RECORD) {}

CIndexMgr::CIndexMgr(StorageType enumStorageType)
    : m_enumStorageType(enumStorageType), m_pFolder(RECORD_FOLDER) {}

CIndexMgr::~CIndexMgr() = default;

int CIndexMgr::Initialize(const std::list<std::string>& lsRecDir) {
    if (m_enumStorageType > STORAGE_TYPE_KESTREL) return 0;
    for (const std::string& strRecDir : lsRecDir) {
        const int nResult = AddDirectory(strRecDir);
        if (nResult != 0) return nResult;
    }
    const int nResult = OpenIndexes();
    if (nResult == 0) BeginUse();
    return nResult;
}

// Before any file is opened: what a crash left reserved is given back.
void CIndexMgr::BeginUse() {
    for (const auto& [strPath, pEntry] : m_mIndex) {
        const std::optional<std::time_t> tCrashed = pEntry->objDir.BeginUse();
        if (!tCrashed) continue;
        const std::size_t nFiles = GiveBackReservedSpace(strPath + "/" + m_pFolder, *tCrashed);
        LogText(
            "[wtb][CIndexMgr::Initialize] the last run did not end, files that gave reserved space "
            "back [%zu], strRecDir [%s]",
            nFiles, strPath.c_str());
    }
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
    m_mIndex.emplace(strPath, std::move(pEntry));
    return 0;
}

// "RecordFile" comes first wherever there is one: what was recorded in "BackupFile" while it could
// not be used is moved into it. The client layout has no index that could be beyond repair.
int CIndexMgr::OpenIndexes() {
    const bool bClient = m_enumStorageType == STORAGE_TYPE_KESTREL;
    const bool bBackup = HasFolder(BACKUP_FOLDER);
    const bool bFresh = !bBackup && std::strcmp(RecDirName(), BACKUP_FOLDER) != 0;
    int nResult = 2;
    if (bClient || bFresh || HasFolder(RECORD_FOLDER)) {
        nResult = OpenBelow(RECORD_FOLDER, false);
        if (nResult == 0 && !MoveBackups()) nResult = 1;
        if (nResult == 2) nResult = SwitchToBackup(bBackup);
    } else {
        nResult = OpenBelow(BACKUP_FOLDER, true);
    }
    if (nResult != 0 || bClient) return nResult;
    SetRecDirName(m_pFolder);
    if (m_pFolder == BACKUP_FOLDER) {
        LogText(
            "[wtb][CIndexMgr::Initialize] BackupFile is used on all disks, what lies in RecordFile "
            "is neither found nor deleted");
    }
    return 0;
}

// A folder that nobody can tell of may be there.
bool CIndexMgr::HasFolder(const char* pFolder) const {
    return std::any_of(m_mIndex.begin(), m_mIndex.end(), [=](const auto& entry) {
        OSL_FINFO_S stInfo;
        return GetFolderAttribute(entry.first, pFolder, stInfo) ||
               OSL_GetSystemLastError() != ENOENT;
    });
}

int CIndexMgr::OpenBelow(const char* pFolder, bool bAllTheSame) {
    m_pFolder = pFolder;
    for (const auto& [strPath, pEntry] : m_mIndex) {
        OSL_FINFO_S stInfo;
        if (GetFolderAttribute(strPath, pFolder, stInfo) && stInfo.wFileType == OSL_TYPE_LINK) {
            LogText("[wtb][CIndexMgr::Initialize] the record folder is a link, strPath [%s/%s]",
                    strPath.c_str(), pFolder);
        }
        const int nResult = OpenIndex(*pEntry, bAllTheSame);
        if (nResult != 0) return nResult;
    }
    return 0;
}

// The indexes that were read under the other name are not flushed under the new one.
int CIndexMgr::SwitchToBackup(bool bAllTheSame) {
    LogText("[wtb][CIndexMgr::Initialize] RecordFile cannot be used, reason [%s]",
            m_strFault.c_str());
    for (const auto& [strPath, pEntry] : m_mIndex) {
        if (pEntry->pIndex) pEntry->pIndex->Abandon();
        pEntry->pIndex.reset();
    }
    return OpenBelow(BACKUP_FOLDER, bAllTheSame);
}

// False when the process lacks handles or memory for it.
bool CIndexMgr::MoveBackups() {
    return std::all_of(m_mIndex.begin(), m_mIndex.end(), [this](const auto& entry) {
        return CBackupFolder(*this, entry.first, m_enumStorageType == STORAGE_TYPE_KESTREL)
            .MoveToRecordFolder();
    });
}

int CIndexMgr::OpenIndex(Entry& entry, bool bAllTheSame) {
    if (m_enumStorageType == STORAGE_TYPE_KESTREL) {
        const auto make = [&](StoreFileType eKind) {
            return std::make_unique<CKestrelIndex>(entry.objDir.GetPath(), eKind, &entry.objDir);
        };
        entry.pRecordings = make(STORE_FILE_RECORD);
        entry.pPictures = make(STORE_FILE_IMAGE);
        return 0;
    }
    entry.pIndex.reset(new (std::nothrow) CIndex(&entry.objDir));
    if (!entry.pIndex) return 1;
    const int nResult = entry.pIndex->Initialize(
        entry.objDir.GetPath(), m_pFolder,
        bAllTheSame ? CIndex::BeyondRepair::IsReadAllTheSame : CIndex::BeyondRepair::IsRefused);
    m_strFault = entry.pIndex->Fault();
    if (nResult != 0) {
        LogText("[wtb][CIndexMgr::Initialize] index fail, strPath [%s], reason [%s]",
                entry.objDir.GetPath().c_str(), m_strFault.c_str());
    }
    return nResult;
}

void CIndexMgr::Release() {
    for (const auto& [strPath, pEntry] : m_mIndex) {
        if (pEntry->pIndex) pEntry->pIndex->Release();
        pEntry->objDir.EndUse();
    }
    m_vAliases.clear();
    m_mIndex.clear();
}

CIndexMgr::Entry* CIndexMgr::FindEntry(std::string_view strRecDir) const {
    const auto it = m_mIndex.find(strRecDir);
    if (it != m_mIndex.end()) return it->second.get();
    for (const auto& [strPath, pEntry] : m_vAliases) {
        if (strPath == strRecDir) return pEntry;
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

void CIndexMgr::WriteIndex(const recordPath& stPath, IndexType eIndexType) {
    if (m_enumStorageType != STORAGE_TYPE_RECORD) return;
    if (eIndexType != INDEX_TYPE_ADD && eIndexType != INDEX_TYPE_DELETE) return;
    if (!stPath.stEntry) {
        LogText("[wtb][CIndexMgr::WriteIndex] no index holds it, strRecFilePath [%s]",
                stPath.strPath.c_str());
        return;
    }
    Entry* const pEntry = FindEntry(stPath.RecDir());
    if (!pEntry) {
        LogText(
            "[wtb][CIndexMgr::WriteIndex] m_mIndex.find(strPrevPath) == m_mIndex.end(), "
            "strPrevPath [%s]",
            std::string(stPath.RecDir()).c_str());
        return;
    }
    pEntry->pIndex->WriteIndex(stPath.stEntry->stDay, stPath.stEntry->stChannel,
                               stPath.stEntry->stFile, static_cast<CIndex::IndexType>(eIndexType));
}

bool CIndexMgr::ForgetMissingFile(const recordPath& stPath) {
    const bool bMissing = IsGone(stPath.strPath);
    Entry* const pEntry = FindEntry(stPath.RecDir());
    if (!bMissing || !pEntry || !pEntry->objDir.IsPresent()) return false;
    WriteIndex(stPath, INDEX_TYPE_DELETE);
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

bool CIndexMgr::QueryOldestRecFile(oldestDay& day, const passedOver& stPassedOver) {
    const char* const pMethod = m_enumStorageType == STORAGE_TYPE_KESTREL
                                    ? "QueryOldestRecFileForKESTREL"
                                    : "QueryOldestRecFileForRemoteBackup";
    return QueryOldestDay(STORE_FILE_RECORD, pMethod, stPassedOver, day);
}

bool CIndexMgr::QueryOldestImgFile(oldestDay& day, const passedOver& stPassedOver) {
    if (m_enumStorageType != STORAGE_TYPE_KESTREL) return false;
    return QueryOldestDay(STORE_FILE_IMAGE, "QueryOldestImgFileForKESTREL", stPassedOver, day);
}

// Asks every directory that is not passed over for its oldest day, and the one that is chosen for
// its files.
bool CIndexMgr::QueryOldestDay(StoreFileType eKind, const char* pMethod,
                               const passedOver& stPassedOver, oldestDay& day) {
    std::set<const Entry*> setLeft;
    for (const std::string& strRecDir : stPassedOver.vRecDirs) {
        setLeft.insert(FindEntry(strRecDir));
    }
    std::vector<dayOffer> vOffers;
    std::vector<COldestDays*> vDays;
    for (const auto& [strPath, pEntry] : m_mIndex) {
        COldestDays& days = pEntry->GetDays(eKind);
        dayOffer offer;
        if (setLeft.count(pEntry.get()) > 0) continue;
        if (!days.GetOldestDate(stPassedOver.setDays, offer)) continue;
        vOffers.push_back(std::move(offer));
        vDays.push_back(&days);
    }
    if (vOffers.empty()) {
        LogText("[wtb][CIndexMgr::%s] 0 == lsOldestDate.size()", pMethod);
        return false;
    }
    const std::size_t nChosen = ChooseOldestDay(vOffers);
    day.stDay = vOffers[nChosen].stDay;
    vDays[nChosen]->ListDay(day.stDay, day.vFiles);
    return true;
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
    return m_mIndex.count(strRecDir) == 0 && FindEntry(strRecDir) != nullptr;
}
